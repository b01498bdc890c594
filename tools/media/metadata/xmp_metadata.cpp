#include "media/metadata/xmp_metadata.h"

#include "media/xmp.h"

void addXmp([[maybe_unused]] const ByteRange& packet, [[maybe_unused]] Metadata& metadata) {
#ifdef KELVANE_XMP
    constexpr uint64_t most = 4 << 20;
    if (packet.size() > most)
        return;
    const std::string text = packet.bytes(0, packet.size());
    if (text.find("BurstID") == std::string::npos) // in most pictures, which spares the parser
        return;
    if (const auto parsed = XmpPacket::parse(text))
        if (std::string id = parsed->get("http://ns.google.com/photos/1.0/camera/", "BurstID");
            !id.empty())
            metadata.burstId = std::move(id);
#endif
}

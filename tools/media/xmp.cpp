#include "media/xmp.h"

#include <new>
#include <stdexcept>

#include <exempi/xmp.h>

namespace {

struct StringDeleter {
    void operator()(XmpStringPtr text) const { xmp_string_free(text); }
};
using StringPointer = std::unique_ptr<_XmpString, StringDeleter>;

void start() {
    static const bool started = xmp_init();
    if (!started)
        throw std::bad_alloc();
}

std::string textOf(const StringPointer& text) {
    return {xmp_string_cstr(text.get()), xmp_string_len(text.get())};
}

} // namespace

void XmpPacket::Deleter::operator()(_Xmp* packet) const { xmp_free(packet); }

XmpPacket::XmpPacket() {
    start();
    packet_.reset(xmp_new_empty());
}

std::optional<XmpPacket> XmpPacket::parse(const std::string& text) {
    // Of any other XML the toolkit would make an empty packet.
    if (text.find("http://www.w3.org/1999/02/22-rdf-syntax-ns#") == std::string::npos)
        return std::nullopt;
    start();
    XmpPacket packet(xmp_new(text.data(), text.size()));
    return packet.packet_ ? std::optional(std::move(packet)) : std::nullopt;
}

std::string XmpPacket::get(const char* space, const char* name) const {
    const StringPointer value(xmp_string_new());
    return xmp_get_property(packet_.get(), space, name, value.get(), nullptr) ? textOf(value) : "";
}

void XmpPacket::set(const char* space, const char* name, const std::string& value) {
    if (!xmp_set_property(packet_.get(), space, name, value.c_str(), 0))
        throw std::logic_error(std::string("XMP refuses ") + name + " " + value);
}

std::string XmpPacket::text() const {
    const StringPointer text(xmp_string_new());
    if (!xmp_serialize(packet_.get(), text.get(),
                       XMP_SERIAL_OMITPACKETWRAPPER | XMP_SERIAL_USECOMPACTFORMAT, 0))
        throw std::logic_error("XMP cannot be written");
    return textOf(text);
}

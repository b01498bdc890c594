#include "contact_sheet.h"

#include "colour_picture.h"
#include "error.h"

namespace {

constexpr int32_t thumbnailSide = 400; // twice what the page shows, for dense screens
constexpr int thumbnailQuantiser = 4;

} // namespace

void ContactSheet::offer(const AVFrame& frame, const std::string& name, PhaseTimes& times) {
    const size_t index = next_++;
    if (capacity_ == 0 || index % step_ != 0)
        return;
    if (thumbnails_.size() == capacity_) {
        step_ *= 2;
        std::erase_if(thumbnails_, [&](const auto& entry) { return entry.first % step_ != 0; });
        if (index % step_ != 0)
            return;
    }
    add(index, frame, name, times);
}

void ContactSheet::add(size_t index, const AVFrame& frame, const std::string& name,
                       PhaseTimes& times) {
    try {
        const BgrPicture picture =
            ColourPicture::of(frame, name, times).thumbnail(thumbnailSide, times);
        thumbnails_[index] = {picture.width, picture.height,
                              encodeJpeg(picture.view(), thumbnailQuantiser)};
    } catch (const BadPicture&) {
        // A frame whose luma can be measured but whose colours cannot be shown has no thumbnail.
    }
}

#include "csv.h"

#include "report.h"
#include "text.h"

namespace {

// RFC 4180: a field with a separator, a quote or a line break is quoted, and its quotes doubled.
std::string quoted(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos)
        return field;
    std::string text = "\"";
    for (const char c : field)
        text.append(c == '"' ? 2 : 1, c);
    text += '"';
    return text;
}

constexpr const char* frameHead = "index,name,number,time,width,height,blur";

std::string frameFields(const Measurement& measured, size_t i) {
    const MeasuredFrame& frame = measured.frames[i];
    return std::to_string(i) + "," + quoted(frame.name) + "," +
           std::to_string(frameNumber(measured, i)) + "," +
           (frame.seconds ? fixed(*frame.seconds, 6) : "") + "," +
           std::to_string(frame.blur.width) + "," + std::to_string(frame.blur.height) + "," +
           std::to_string(frame.blur.score);
}

std::string movingFields(const MovingObject& object) {
    if (!object.found)
        return ",,,,,";
    std::string text;
    for (const int64_t value :
         {int64_t{object.rect.left}, int64_t{object.rect.top}, int64_t{object.rect.right},
          int64_t{object.rect.bottom}, object.area})
        text.append(1, ',').append(std::to_string(value));
    return text;
}

} // namespace

std::string pickCsv(std::span<const Burst> bursts, bool numbered) {
    const bool moving = bursts.front().moving.has_value();
    std::string text = std::string(numbered ? "burst," : "") + frameHead + ",chosen,best";
    text += moving ? ",left,top,right,bottom,area\n" : "\n";
    for (size_t b = 0; b < bursts.size(); ++b) {
        const Burst& burst = bursts[b];
        for (size_t i = 0; i < burst.measured.frames.size(); ++i) {
            if (numbered)
                text += std::to_string(b + 1) + ",";
            text += frameFields(burst.measured, i) + (burst.isChosen(i) ? ",1" : ",0") +
                    (burst.isBest(i) ? ",1" : ",0");
            if (moving)
                text += movingFields(burst.moving->ofFrames[i]);
            text += "\n";
        }
    }
    return text;
}

std::string blurCsv(const Measurement& measured) {
    std::string text = std::string(frameHead) + "\n";
    for (const size_t i : measured.order)
        text += frameFields(measured, i) + "\n";
    return text;
}

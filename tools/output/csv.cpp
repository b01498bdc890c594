#include "output/report.h"
#include "output/term_values.h"

#include <fmt/format.h>

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

constexpr const char* frameHead = "index,name,number,time,width,height,blur,detail";

std::string frameFields(const Measurement& measured, size_t i) {
    const MeasuredFrame& frame = measured.frames[i];
    const std::string seconds = frame.seconds ? fmt::format("{:.6f}", *frame.seconds) : "";
    return fmt::format("{},{},{},{},{},{},{},{:.2f}", i, quoted(frame.name),
                       frameNumber(measured, i), seconds, frame.blur.width, frame.blur.height,
                       frame.blur.score, frame.detail);
}

std::string movingFields(const MovingObject& object) {
    if (!object.found)
        return ",,,,,";
    const __tag_rect& rect = object.rect;
    return fmt::format(",{},{},{},{},{}", rect.left, rect.top, rect.right, rect.bottom,
                       object.area);
}

std::string termFields(const Terms& terms) {
    std::string text;
    for (const TermValue& term : termValues(terms))
        text += fmt::format(",{}", term.value);
    return text;
}

std::string termHead() {
    std::string text;
    for (const TermValue& term : termValues({}))
        text += fmt::format(",term_{}", term.key);
    return text;
}

} // namespace

std::string pickCsv(std::span<const Burst> bursts, bool numbered) {
    const bool moving = bursts.front().moving.has_value();
    std::string text = fmt::format("{}{},chosen,best{}{}\n", numbered ? "burst," : "", frameHead,
                                   moving ? ",left,top,right,bottom,area" : "", termHead());
    for (size_t b = 0; b < bursts.size(); ++b) {
        const Burst& burst = bursts[b];
        for (size_t i = 0; i < burst.measured.frames.size(); ++i) {
            if (numbered)
                text += fmt::format("{},", b + 1);
            text += fmt::format("{},{:d},{:d}", frameFields(burst.measured, i), burst.isChosen(i),
                                burst.isBest(i));
            if (moving)
                text += movingFields(burst.moving->ofFrames[i]);
            text += termFields(burst.terms[i]) + "\n";
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

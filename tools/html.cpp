#include "html.h"

#include "text.h"

#include <new>

extern "C" {
#include <libavutil/base64.h>
}

std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : oneLine(text)) {
        switch (c) {
        case '&': html += "&amp;"; break;
        case '<': html += "&lt;"; break;
        case '>': html += "&gt;"; break;
        case '"': html += "&quot;"; break;
        case '\'': html += "&#39;"; break;
        default: html += c;
        }
    }
    return html;
}

std::string base64(std::string_view bytes) {
    std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
    if (av_base64_encode(text.data(), static_cast<int>(text.size()),
                         reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<int>(bytes.size())) == nullptr)
        throw std::bad_alloc();
    text.pop_back(); // its terminator
    return text;
}

std::string fill(std::string_view form, const std::map<std::string_view, std::string>& values) {
    std::string text;
    for (;;) {
        const size_t open = form.find("{{");
        text += form.substr(0, open);
        if (open == std::string_view::npos)
            return text;
        const size_t close = form.find("}}", open);
        text += values.at(form.substr(open + 2, close - open - 2));
        form.remove_prefix(close + 2);
    }
}

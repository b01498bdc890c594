#include "output/html.h"

#include "base/text.h"
#include "page_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>

extern "C" {
#include <libavutil/base64.h>
}

namespace fs = std::filesystem;

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

std::string pathFrom(const std::string& folder, const std::string& file) {
    const fs::path path = fs::absolute(file).lexically_normal();
    return path.lexically_relative(fs::absolute(folder).lexically_normal()).generic_string();
}

std::string linkFrom(const std::string& folder, const std::string& file) {
    std::string link;
    for (const char c : pathFrom(folder, file)) {
        const bool plain = (c >= '0' && c <= '9') || (lowercase(c) >= 'a' && lowercase(c) <= 'z') ||
                           std::string_view("-._~/").find(c) != std::string_view::npos;
        link += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return link;
}

std::string grouped(int64_t number) {
    std::string digits = std::to_string(number);
    const size_t first = number < 0 ? 1 : 0;
    for (size_t i = digits.size(); i > first + 3; i -= 3)
        digits.insert(i - 3, 1, ',');
    return digits;
}

std::string fill(std::string_view form, const Values& values) {
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

std::string part(std::string_view name, const Values& values) {
    const std::string_view parts = pageParts;
    const std::string head = fmt::format("<!-- {} -->\n", name);
    const size_t at = parts.find(head);
    if (at == std::string_view::npos)
        throw std::logic_error(fmt::format("the page has no part {}", name));
    const size_t start = at + head.size();
    const size_t end = std::min(parts.find("\n<!-- ", start), parts.size() - 1);
    return fill(parts.substr(start, end - start), values);
}

std::string lines(std::string_view name, const Values& values) { return part(name, values) + "\n"; }

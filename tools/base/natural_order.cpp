#include "base/natural_order.h"

#include "base/text.h"

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The digits at `position` without leading zeros; `position` moves past them.
std::string_view takeNumber(std::string_view text, size_t& position) {
    while (position < text.size() && text[position] == '0')
        ++position;
    const size_t start = position;
    while (position < text.size() && isDigit(text[position]))
        ++position;
    return text.substr(start, position - start);
}

} // namespace

bool naturalLess(std::string_view a, std::string_view b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const std::string_view first = takeNumber(a, i), second = takeNumber(b, j);
            if (first.size() != second.size())
                return first.size() < second.size();
            if (first != second)
                return first < second;
        } else {
            const char first = lowercase(a[i++]), second = lowercase(b[j++]);
            if (first != second)
                return static_cast<unsigned char>(first) < static_cast<unsigned char>(second);
        }
    }
    if (i < a.size() || j < b.size())
        return i == a.size();
    return a < b;
}

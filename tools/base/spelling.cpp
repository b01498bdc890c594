#include "base/spelling.h"

#include "base/text.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

std::string_view withoutDashes(std::string_view name) {
    return name.substr(std::min(name.find_first_not_of('-'), name.size()));
}

// Edit distance with exchanges of neighbours (Damerau 1964), as optimal string alignment.
size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> before, above(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        before = std::exchange(above, row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, changed});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

std::string nearestName(std::string_view typed, std::span<const std::string> names) {
    const std::string word = lowercase(withoutDashes(typed));
    size_t least = std::max<size_t>(1, word.size() / 3) + 1;
    std::string nearest;
    for (const std::string& name : names)
        if (const size_t distance = editDistance(word, withoutDashes(name));
            distance < std::min(least, word.size())) {
            least = distance;
            nearest = name;
        }
    return nearest;
}

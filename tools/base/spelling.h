#pragma once

#include <span>
#include <string>
#include <string_view>

// The name that was probably meant, or nothing when none is near: at most one letter in three may
// be wrong, missing, added, or exchanged with its neighbour. Leading dashes and capitals do not
// count.
std::string nearestName(std::string_view typed, std::span<const std::string> names);

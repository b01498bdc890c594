#pragma once

#include <map>
#include <string>
#include <string_view>

// Text for HTML, between tags and in quoted attributes; control characters are replaced.
std::string escaped(std::string_view text);

std::string base64(std::string_view bytes);

// Puts a value in the place of each "{{name}}" of a template.
std::string fill(std::string_view form, const std::map<std::string_view, std::string>& values);

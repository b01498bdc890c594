// The pieces that pages are put together from.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// Text for HTML, between tags and in quoted attributes; control characters are replaced.
std::string escaped(std::string_view text);

std::string base64(std::string_view bytes);

// The path of `file` as seen from `folder`.
std::string pathFrom(const std::string& folder, const std::string& file);

// The same as a link, percent-encoded: names need not be UTF-8.
std::string linkFrom(const std::string& folder, const std::string& file);

// "1,234,567".
std::string grouped(int64_t number);

using Values = std::map<std::string_view, std::string>;

// Puts a value in the place of each "{{name}}" of a template.
std::string fill(std::string_view form, const Values& values);

// A part of tools/page/parts.html, without the line feed at its end.
std::string part(std::string_view name, const Values& values);

// The same as lines of their own.
std::string lines(std::string_view name, const Values& values);

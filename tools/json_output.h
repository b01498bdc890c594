#pragma once

#include "kelvane/kelvane.h"

#include <nlohmann/json.hpp>

#include <string>

using OrderedJson = nlohmann::ordered_json;

// What every JSON output starts with.
OrderedJson jsonHead(const char* command);

OrderedJson toJson(const __tag_rect& rect);

std::string printJson(const OrderedJson& json);

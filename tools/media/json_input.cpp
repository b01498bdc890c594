#include "media/json_input.h"

#include "base/error.h"

#include <algorithm>

using Json = nlohmann::json;

Json parseJson(const std::string& text, const std::string& source) {
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw InputError(source, fmt::format("not valid JSON at byte {}", error.byte));
    } catch (const Json::out_of_range&) {
        throw InputError(source, "not valid JSON: a number is out of range");
    }
}

void JsonNode::fail(const std::string& reason) const {
    throw InputError(source_, path_.empty() ? reason : path_ + ": " + reason);
}

void JsonNode::checkKeys(std::initializer_list<std::string_view> known) const {
    if (!json_.is_object())
        fail("must be an object");
    for (const auto& entry : json_.items())
        if (std::find(known.begin(), known.end(), entry.key()) == known.end())
            fail(fmt::format("unknown key \"{}\"", entry.key()));
}

JsonNode JsonNode::get(const char* key) const {
    if (!has(key))
        fail(fmt::format("\"{}\" is missing", key));
    return {json_.at(key), source_, path_.empty() ? key : path_ + "." + key};
}

std::vector<JsonNode> JsonNode::elements() const {
    if (!json_.is_array())
        fail("must be an array");
    std::vector<JsonNode> nodes;
    for (size_t i = 0; i < json_.size(); ++i)
        nodes.emplace_back(json_[i], source_, fmt::format("{}[{}]", path_, i));
    return nodes;
}

int64_t JsonNode::integer(int64_t low, int64_t high) const {
    if (!json_.is_number_integer())
        fail("must be an integer");
    const bool fits = !json_.is_number_unsigned() || json_.get<uint64_t>() <= INT64_MAX;
    if (!fits || json_.get<int64_t>() < low || json_.get<int64_t>() > high)
        fail(fmt::format("must be {} to {}", low, high));
    return json_.get<int64_t>();
}

bool JsonNode::boolean() const {
    if (!json_.is_boolean())
        fail("must be true or false");
    return json_.get<bool>();
}

std::string JsonNode::string() const {
    if (!json_.is_string())
        fail("must be a string");
    return json_.get<std::string>();
}

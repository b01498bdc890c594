#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

nlohmann::json parseJson(const std::string& text, const std::string& source);

// One value of JSON input with its path for messages, such as "frames[2].faces[0].code". `source`
// is the file or line that holds it. What is not as asked for is thrown as InputError.
class JsonNode {
public:
    JsonNode(const nlohmann::json& json, const std::string& source, std::string path)
        : json_(json), source_(source), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string& reason) const;

    // Refuses anything but an object with no other keys.
    void checkKeys(std::initializer_list<std::string_view> known) const;

    bool has(const char* key) const { return json_.contains(key); }
    JsonNode get(const char* key) const;
    std::vector<JsonNode> elements() const;
    int64_t integer(int64_t low, int64_t high) const;
    bool boolean() const;
    std::string string() const;

private:
    const nlohmann::json& json_;
    const std::string& source_;
    std::string path_;
};

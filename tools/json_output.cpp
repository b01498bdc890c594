#include "json_output.h"

OrderedJson jsonHead(const char* command) {
    _tag_VERSION_INFO version = {};
    DRAV_GetVersion(&version);
    return {{"schema", 1}, {"library", version.version}, {"command", command}};
}

OrderedJson toJson(const __tag_rect& rect) {
    return OrderedJson::array({rect.left, rect.top, rect.right, rect.bottom});
}

// File names need not be UTF-8; JSON has to be.
std::string printJson(const OrderedJson& json) {
    return json.dump(2, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

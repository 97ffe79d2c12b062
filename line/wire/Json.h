// The JSON objects that the tool writes.
#ifndef ZELLINE_WIRE_JSON_H
#define ZELLINE_WIRE_JSON_H

#include <nlohmann/json.hpp>
#include <string>

namespace zelline {

using Json = nlohmann::ordered_json;

// The object in one line; bytes that are no UTF-8 become the replacement character.
inline std::string JsonLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zelline

#endif

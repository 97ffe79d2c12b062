// Text answers into the buffers of the libraries' callers.
#ifndef SIMSET_PLATFORM_COPYTEXT_H
#define SIMSET_PLATFORM_COPYTEXT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "simset/base/Status.h"

namespace simset {

// Copies the text "value" of `reply` into `buffer` of `size` bytes, NUL-terminated and cut to fit. Returns the
// reply's status, with the buffer untouched unless that is 0.
inline std::int32_t CopyText(const nlohmann::json& reply, char* buffer, std::size_t size) {
    const auto status = reply.at("status").get<std::int32_t>();
    if (status != kOk) {
        return status;
    }
    if (buffer == nullptr || size == 0 || !reply.contains("value") || !reply["value"].is_string()) {
        return kBadRequest;
    }
    const auto& text = reply["value"].get_ref<const std::string&>();
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
    return kOk;
}

}  // namespace simset

#endif

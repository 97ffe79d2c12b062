#include <utility>

#include "factory_aux/FactoryAux.h"
#include "simset/base/Status.h"
#include "simset/platform/Client.h"
#include "simset/platform/CopyText.h"

using simset::Ask;
using simset::AskStatus;

std::int32_t init_factory_aux() {
    return AskStatus({{"op", "meta-init"}});
}

std::int32_t readMetaData(_FAC_META_DATA item, std::int32_t* value) {
    const auto reply = Ask({{"op", "meta-read"}, {"item", static_cast<std::int32_t>(item)}, {"text", false}});
    const auto status = reply["status"].get<std::int32_t>();
    if (status != simset::kOk) {
        return status;
    }
    if (value == nullptr || !reply.contains("value") || !reply["value"].is_number_integer()) {
        return simset::kBadRequest;
    }
    *value = reply["value"].get<std::int32_t>();
    return simset::kOk;
}

std::int32_t writeMetaData(_FAC_META_DATA item, std::int32_t value) {
    return AskStatus({{"op", "meta-write"}, {"item", static_cast<std::int32_t>(item)}, {"value", value}});
}

std::int32_t readStrMetaData(_FAC_META_DATA item, char* buffer, std::size_t size) {
    return simset::CopyText(Ask({{"op", "meta-read"}, {"item", static_cast<std::int32_t>(item)}, {"text", true}}),
                            buffer, size);
}

std::int32_t writeStrMetaData(_FAC_META_DATA item, const std::string& text) {
    return AskStatus({{"op", "meta-write"}, {"item", static_cast<std::int32_t>(item)}, {"value", text}});
}

std::int32_t writeKeys(const std::list<std::string>& files, KEY key) {
    nlohmann::json request{{"op", "keys-write"},
                           {"key", static_cast<std::int32_t>(key)},
                           {"files", files},
                           {"data", nlohmann::json::array()}};
    // The store is another process in another mount namespace: it gets the bytes, not the path.
    for (const auto& file : files) {
        request["data"].push_back(file.empty() ? nlohmann::json(nullptr) : simset::FileInHex(file));
    }
    return AskStatus(request);
}

std::int32_t checkKeyFile(KEY key) {
    return AskStatus({{"op", "keys-check"}, {"key", static_cast<std::int32_t>(key)}});
}

std::int32_t createAccessRouteFile() {
    return AskStatus({{"op", "access-route"}});
}

#include "simset/core/services/KeyStore.h"

#include <fmt/format.h>
#include <zlib.h>

#include <map>

#include "simset/base/Errors.h"
#include "simset/base/Status.h"
#include "simset/wire/Wire.h"

namespace simset {

namespace {

using nlohmann::json;

const std::map<int, std::string> kTypes = {
    {0, "netflix"},   {1, "hdcp2"}, {2, "widevine"},  {3, "ciplus"},
    {4, "ciplusecp"}, {5, "hdcp1"}, {6, "playready"}, {8, "youtube"},
};
constexpr int kPlayReady = 6;
constexpr int kYouTube = 8;
constexpr std::size_t kOwnKeyBytes = 1024;

std::string BlobName(const std::string& type) {
    return "key " + type;
}

// The content of a key that the set has a source of its own for: always the same, and not zeros.
std::string OwnKey(int key) {
    std::string bytes;
    std::uint32_t value = static_cast<std::uint32_t>(key);
    while (bytes.size() < kOwnKeyBytes) {
        value = value * 1664525U + 1013904223U;
        bytes.push_back(static_cast<char>(value >> 24U));
    }
    return bytes;
}

// The bytes of all files one after the other; nothing unless every file was there and had content.
std::optional<std::string> Content(int key, const json& files, const json& data) {
    if (files.empty() || files.size() != data.size()) {
        return std::nullopt;
    }
    if (files.size() == 1 && files[0].get_ref<const std::string&>().empty()) {
        return key == kPlayReady || key == kYouTube ? std::optional<std::string>(OwnKey(key)) : std::nullopt;
    }
    std::string content;
    for (const auto& hex : data) {
        const auto bytes = hex.is_string() ? FromHex(hex.get_ref<const std::string&>()) : std::nullopt;
        if (!bytes || bytes->empty()) {
            return std::nullopt;
        }
        content += *bytes;
    }
    return content;
}

}  // namespace

std::uint32_t Digest(const std::string& bytes) {
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

std::string CredentialBlob(const std::string& type) {
    return "credential " + type;
}

Reply KeyStore::Write(const Request& request) {
    const int key = request.at("key").get<int>();
    const json& files = request.at("files");
    const std::int32_t judged = Judge("write", key);
    const std::int32_t taken = m_shared.faults.Take("keys", std::to_string(key), "write");
    const std::int32_t fault = taken != kOk ? taken : judged;
    return m_shared.Stored("keys", {{"call", "write"}, {"key", key}, {"files", files}}, [&] {
        const auto type = kTypes.find(key);
        if (fault != kOk || type == kTypes.end()) {
            return fault != kOk ? fault : kUnknownKey;
        }
        const auto content = Content(key, files, request.at("data"));
        if (!content) {
            return kRefused;
        }
        m_shared.state.PutBlob(BlobName(type->second), {*content, Digest(*content), EncodeLine(files)});
        return kOk;
    });
}

Reply KeyStore::Check(const Request& request) {
    const int key = request.at("key").get<int>();
    std::int32_t status = m_shared.faults.Take("keys", std::to_string(key), "check");
    if (const std::int32_t judged = Judge("check", key); status == kOk) {
        status = judged;
    }
    const auto type = kTypes.find(key);
    if (status == kOk) {
        const auto blob = type == kTypes.end() ? std::nullopt : m_shared.state.GetBlob(BlobName(type->second));
        if (!blob) {
            status = kNotInstalled;
        } else if (Digest(blob->bytes) != blob->digest) {
            status = kRefused;
        }
    }
    return m_shared.Traced("keys", {{"call", "check"}, {"key", key}}, status);
}

// The status that a call about `key` gets for what it broke.
std::int32_t KeyStore::Judge(const char* call, int key) const {
    if (const auto broken = m_order.Use()) {
        m_shared.violate(broken->rule, call, broken->expected, {{"key", key}});
        return kNotStarted;
    }
    if (kTypes.count(key) == 0) {
        m_shared.violate("unknown-key-type", call, "a key type that the set installs", {{"key", key}});
        return kUnknownKey;
    }
    return kOk;
}

json KeyStore::List() const {
    json list = json::array();
    const auto blobs = m_shared.state.LoadBlobs();
    for (const auto& [number, type] : kTypes) {
        const auto blob = blobs.find(BlobName(type));
        if (blob != blobs.end()) {
            list.push_back({{"type", type},
                            {"key", number},
                            {"size", blob->second.bytes.size()},
                            {"crc32", fmt::format("{:08x}", Digest(blob->second.bytes))},
                            {"files", DecodeLine(blob->second.note).value_or(json::array())}});
        }
    }
    return list;
}

void KeyStore::Clear() {
    m_shared.state.EraseBlobs();
}

std::optional<int> KeyStore::Number(const std::string& nameOrNumber) {
    for (const auto& [number, type] : kTypes) {
        if (nameOrNumber == type || nameOrNumber == std::to_string(number)) {
            return number;
        }
    }
    return std::nullopt;
}

std::vector<std::string> KeyStore::Names() {
    std::vector<std::string> names;
    for (const auto& [number, type] : kTypes) {
        (void)number;
        names.push_back(type);
    }
    return names;
}

}  // namespace simset

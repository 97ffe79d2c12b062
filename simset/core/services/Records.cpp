#include "simset/core/services/Records.h"

#include "simset/base/Errors.h"
#include "simset/base/Numbers.h"
#include "simset/base/Status.h"
#include "simset/core/services/Catalogue.h"
#include "simset/wire/Wire.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr char kFlashSection[] = "flash";
constexpr char kMetaSection[] = "meta";
constexpr int kProjectId = 0;
constexpr int kCustomerModel = 6;
constexpr int kMac = 8;
constexpr int kMaxItem = 255;

bool IsItem(int item) {
    return item >= 0 && item <= kMaxItem;
}

}  // namespace

Flash::Flash(Shared& shared) : m_shared(shared), m_values(shared.state.Load(kFlashSection)) {
    m_values.emplace("ZelFacMode", "1");  // a set leaves the board line for the factory line
}

Reply Flash::Get(const Request& request) {
    const auto name = request.at("name").get<std::string>();
    json row{{"call", "get"}, {"name", name}};
    const std::int32_t status = m_shared.faults.Take("flash", name, "any");
    if (status == kOk) {
        row["value"] = Value(name);
    }
    Reply reply = m_shared.Traced("flash", std::move(row), status);
    if (status == kOk) {
        reply["value"] = Value(name);
    }
    return reply;
}

Reply Flash::Put(const Request& request) {
    const auto name = request.at("name").get<std::string>();
    const auto value = request.at("value").get<std::string>();
    const std::int32_t status = m_shared.faults.Take("flash", name, "any");
    return m_shared.Stored("flash", {{"call", "set"}, {"name", name}, {"value", value}}, [&] {
        if (status == kOk) {
            Assign(name, value);
        }
        return status;
    });
}

std::string Flash::Value(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string() : found->second;
}

void Flash::Assign(const std::string& name, const std::string& value) {
    m_shared.state.Put(kFlashSection, name, value);
    m_values[name] = value;
}

Metadata::Metadata(Shared& shared) : m_shared(shared) {
    for (const auto& [name, text] : shared.state.Load(kMetaSection)) {
        const int item = ParseNumber<int>(name).value_or(-1);
        auto value = DecodeLine(text);
        if (IsItem(item) && value && Fits(IsText(item) ? Kind::Text : Kind::Integer, *value)) {
            m_values[item] = std::move(*value);
        }
    }
}

bool Metadata::IsText(int item) {
    return item == kCustomerModel || item == kMac;
}

Reply Metadata::Init(const Request&) {
    return m_shared.Traced("meta", {{"call", "init"}}, m_shared.faults.Take("meta", "init", "any"));
}

Reply Metadata::Read(const Request& request) {
    const int item = request.at("item").get<int>();
    std::int32_t status = m_shared.faults.Take("meta", std::to_string(item), "any");
    if (status == kOk && (!IsItem(item) || request.at("text").get<bool>() != IsText(item))) {
        status = kWrongKind;
    }
    json row{{"call", "read"}, {"item", item}};
    if (status != kOk) {
        return m_shared.Traced("meta", std::move(row), status);
    }
    row["value"] = Value(item);
    Reply reply = m_shared.Traced("meta", std::move(row), kOk);
    reply["value"] = Value(item);
    return reply;
}

Reply Metadata::Write(const Request& request) {
    const int item = request.at("item").get<int>();
    const json& value = request.at("value");
    std::int32_t status = m_shared.faults.Take("meta", std::to_string(item), "any");
    if (status == kOk && (!IsItem(item) || !Fits(IsText(item) ? Kind::Text : Kind::Integer, value))) {
        status = kWrongKind;
    }
    return m_shared.Stored("meta", {{"call", "write"}, {"item", item}, {"value", value}}, [&] {
        if (status == kOk) {
            Assign(item, value);
        }
        return status;
    });
}

Reply Metadata::CreateAccessRoute(const Request&) {
    return m_shared.Traced("meta", {{"call", "createAccessRouteFile"}, {"value", Value(kProjectId)}},
                           m_shared.faults.Take("meta", "access-route", "any"));
}

json Metadata::Value(int item) const {
    const auto found = m_values.find(item);
    if (found != m_values.end()) {
        return found->second;
    }
    return IsText(item) ? json("") : json(0);
}

void Metadata::Assign(int item, const json& value) {
    m_shared.state.Put(kMetaSection, std::to_string(item), EncodeLine(value));
    m_values[item] = value;
}

}  // namespace simset

#include "simset/core/Records.h"

#include <charconv>

#include "simset/core/Catalogue.h"
#include "simset/core/Middleware.h"
#include "simset/core/Status.h"
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

Flash::Flash(Set& set) : m_set(set), m_values(set.state.Load(kFlashSection)) {
    m_values.emplace("ZelFacMode", "1");  // a set leaves the board line for the factory line
}

Reply Flash::Get(const Request& request) {
    const auto name = request.at("name").get<std::string>();
    json row{{"who", "flash"}, {"call", "get"}, {"name", name}};
    Reply reply{{"status", m_set.faults.Take("flash", name, "any")}};
    if (reply["status"] == kOk) {
        reply["value"] = Value(name);
        row["value"] = reply["value"];
    }
    row["status"] = reply["status"];
    m_set.trace(std::move(row));
    return reply;
}

Reply Flash::Put(const Request& request) {
    const auto name = request.at("name").get<std::string>();
    const auto value = request.at("value").get<std::string>();
    json row{{"who", "flash"}, {"call", "set"}, {"name", name}, {"value", value}};
    std::int32_t status = m_set.faults.Take("flash", name, "any");
    if (status == kOk) {
        try {
            Assign(name, value);
        } catch (const StateError&) {
            row["status"] = kNotKept;
            m_set.trace(std::move(row));
            throw;
        }
    }
    row["status"] = status;
    m_set.trace(std::move(row));
    return {{"status", status}};
}

std::string Flash::Value(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string() : found->second;
}

void Flash::Assign(const std::string& name, const std::string& value) {
    m_set.state.Put(kFlashSection, name, value);
    m_values[name] = value;
}

Metadata::Metadata(Set& set) : m_set(set) {
    for (const auto& [name, text] : set.state.Load(kMetaSection)) {
        int item = -1;
        std::from_chars(name.data(), name.data() + name.size(), item);
        auto value = DecodeLine(text);
        if (IsItem(item) && value && Fits(IsText(item) ? Kind::kText : Kind::kInteger, *value)) {
            m_values[item] = std::move(*value);
        }
    }
}

bool Metadata::IsText(int item) {
    return item == kCustomerModel || item == kMac;
}

Reply Metadata::Traced(json row, std::int32_t status) {
    row["who"] = "meta";
    row["status"] = status;
    m_set.trace(std::move(row));
    return {{"status", status}};
}

Reply Metadata::Init(const Request&) {
    return Traced({{"call", "init"}}, m_set.faults.Take("meta", "init", "any"));
}

Reply Metadata::Read(const Request& request) {
    const int item = request.at("item").get<int>();
    std::int32_t status = m_set.faults.Take("meta", std::to_string(item), "any");
    if (status == kOk && (!IsItem(item) || request.at("text").get<bool>() != IsText(item))) {
        status = kWrongKind;
    }
    json row{{"call", "read"}, {"item", item}};
    if (status != kOk) {
        return Traced(std::move(row), status);
    }
    row["value"] = Value(item);
    Reply reply = Traced(std::move(row), kOk);
    reply["value"] = Value(item);
    return reply;
}

Reply Metadata::Write(const Request& request) {
    const int item = request.at("item").get<int>();
    const json& value = request.at("value");
    std::int32_t status = m_set.faults.Take("meta", std::to_string(item), "any");
    if (status == kOk && (!IsItem(item) || !Fits(IsText(item) ? Kind::kText : Kind::kInteger, value))) {
        status = kWrongKind;
    }
    json row{{"call", "write"}, {"item", item}, {"value", value}};
    if (status == kOk) {
        try {
            Assign(item, value);
        } catch (const StateError&) {
            Traced(std::move(row), kNotKept);
            throw;
        }
    }
    return Traced(std::move(row), status);
}

Reply Metadata::CreateAccessRoute(const Request&) {
    return Traced({{"call", "createAccessRouteFile"}, {"value", Value(kProjectId)}},
                  m_set.faults.Take("meta", "access-route", "any"));
}

json Metadata::Value(int item) const {
    const auto found = m_values.find(item);
    if (found != m_values.end()) {
        return found->second;
    }
    return IsText(item) ? json("") : json(0);
}

void Metadata::Assign(int item, const json& value) {
    m_set.state.Put(kMetaSection, std::to_string(item), EncodeLine(value));
    m_values[item] = value;
}

}  // namespace simset

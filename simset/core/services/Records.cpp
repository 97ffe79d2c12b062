#include "simset/core/services/Records.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "simset/base/Errors.h"
#include "simset/base/Numbers.h"
#include "simset/base/Status.h"
#include "simset/core/catalogue/Catalogue.h"
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
// The project id, country, region, language, logo, customer model and the MAC address.
constexpr std::array<int, 7> kItems = {kProjectId, 1, 2, 3, 4, kCustomerModel, kMac};

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
    const std::int32_t known = Judge("get", name);
    const std::int32_t fault = m_shared.faults.Take("flash", name, "any");
    const std::int32_t status = fault != kOk ? fault : known;
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
    const std::int32_t known = Judge("set", name);
    const std::int32_t fault = m_shared.faults.Take("flash", name, "any");
    const std::int32_t status = fault != kOk ? fault : known;
    return m_shared.Stored("flash", {{"call", "set"}, {"name", name}, {"value", value}}, [&] {
        if (status == kOk) {
            Assign(name, value);
        }
        return status;
    });
}

const std::set<std::string>& Flash::Names() {
    static const std::set<std::string> kNames = {"FactoryOK", "FactoryOpenState", "UARTOnOff", "ZelFacMode",
                                                 "brand",     "db_table",         "macaddr",   "normal_start"};
    return kNames;
}

std::int32_t Flash::Judge(const char* call, const std::string& name) const {
    if (Names().count(name) != 0) {
        return kOk;
    }
    m_shared.violate("unknown-flash-variable", call, fmt::format("one of {}", fmt::join(Names(), ", ")),
                     {{"name", name}});
    return kUnknownKey;
}

std::string Flash::Value(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string() : found->second;
}

void Flash::Assign(const std::string& name, const std::string& value) {
    m_shared.state.Put(kFlashSection, name, value);
    m_values[name] = value;
}

Metadata::Metadata(Shared& shared, AuxiliaryOrder& order) : m_shared(shared), m_order(order) {
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
    const std::int32_t status = m_shared.faults.Take("meta", "init", "any");
    if (const auto broken = m_order.Init(status)) {
        m_shared.violate(broken->rule, "init", broken->expected, json::object());
    }
    return m_shared.Traced("meta", {{"call", "init"}}, status);
}

Reply Metadata::Read(const Request& request) {
    const int item = request.at("item").get<int>();
    std::int32_t status = m_shared.faults.Take("meta", std::to_string(item), "any");
    if (const std::int32_t judged = Judge("read", item); status == kOk) {
        status = judged;
    }
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
    if (const std::int32_t judged = Judge("write", item); status == kOk) {
        status = judged;
    }
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
    std::int32_t status = m_shared.faults.Take("meta", "access-route", "any");
    if (const std::int32_t judged = Judge("createAccessRouteFile", kProjectId); status == kOk) {
        status = judged;
    }
    return m_shared.Traced("meta", {{"call", "createAccessRouteFile"}, {"value", Value(kProjectId)}}, status);
}

// The status that a call about `item` gets for what it broke.
std::int32_t Metadata::Judge(const char* call, int item) const {
    if (const auto broken = m_order.Use()) {
        m_shared.violate(broken->rule, call, broken->expected, {{"item", item}});
        return kNotStarted;
    }
    if (std::find(kItems.begin(), kItems.end(), item) == kItems.end()) {
        m_shared.violate("unknown-metadata-item", call, fmt::format("one of {}", fmt::join(kItems, ", ")),
                         {{"item", item}});
        return kUnknownKey;
    }
    return kOk;
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

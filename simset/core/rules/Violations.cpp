#include "simset/core/rules/Violations.h"

#include <utility>

namespace simset {

using nlohmann::json;

namespace {

constexpr char kViolation[] = "violation";

}  // namespace

json Violations::Row(const std::string& rule, const std::string& call, const std::string& expected, json details) {
    json row = details.is_object() ? std::move(details) : json::object();
    row["who"] = kViolation;
    row["rule"] = rule;
    row["call"] = call;
    row["expected"] = expected;
    return row;
}

bool Violations::IsOne(const json& row) {
    return row.is_object() && row.value("who", "") == kViolation && row.contains("rule") && row.contains("call") &&
           row.contains("expected");
}

void Violations::Add(const json& row) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_count;
    if (m_lines.size() == kMaxRows) {
        return;
    }
    nlohmann::ordered_json line;
    for (const char* first : {"rule", "call", "expected"}) {
        line[first] = row.at(first);
    }
    for (const auto& [name, value] : row.items()) {
        if (name != "who") {
            line[name] = value;
        }
    }
    m_lines.push_back(line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n');
}

std::size_t Violations::Count() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

std::string Violations::Lines() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string lines;
    for (const auto& line : m_lines) {
        lines += line;
    }
    return lines;
}

}  // namespace simset

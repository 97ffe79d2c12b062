#include "simset/base/Status.h"
#include "simset/core/services/Model.h"

namespace simset {

using nlohmann::json;

Reply Model::OpenIterator(const Request& request) {
    const auto id = IdOf(request, "conn");
    const auto found = m_connections.find(id);
    const json& selection = request.at("selection");
    if (found == m_connections.end() || found->second.info->kind != Kind::Table) {
        return m_shared.Traced(kWho, {{"call", "iterator"}},
                               found == m_connections.end() ? kNotConnected : kWrongKind);
    }
    const std::string name(found->second.info->key);
    const std::int32_t status = m_shared.faults.Take("model", name, "operate");
    if (status == kOk) {
        m_iterators[IdOf(request, "iterator")] = Iterator{id, name, selection, 0};
        if (const auto refusal = JudgeNeed(*found->second.info)) {
            Refuse(*found->second.info, "iterator", *refusal, json::object());
        }
    }
    Done(id, found->second, status);
    return m_shared.Traced(kWho, {{"call", "iterator"}, {"key", name}, {"selection", selection}}, status);
}

Reply Model::Count(const Request& request) {
    const auto id = IdOf(request, "iterator");
    const auto found = m_iterators.find(id);
    if (found == m_iterators.end() || m_connections.count(found->second.connection) == 0) {
        return m_shared.Traced(kWho, {{"call", "count"}}, kNotConnected);
    }
    const std::int32_t status = m_shared.faults.Take("model", found->second.key, "count");
    json row{{"call", "count"}, {"key", found->second.key}};
    if (status == kOk) {
        const std::size_t count = SelectedRows(found->second).size();
        row["value"] = count;
        Notify(id, {{"event", "count"}, {"count", count}});
    }
    Done(found->second.connection, m_connections.at(found->second.connection), status);
    return m_shared.Traced(kWho, std::move(row), status);
}

Reply Model::Rows(const Request& request) {
    const auto id = IdOf(request, "iterator");
    const auto wanted = request.at("count").get<std::int64_t>();
    const auto found = m_iterators.find(id);
    if (found == m_iterators.end() || m_connections.count(found->second.connection) == 0) {
        return m_shared.Traced(kWho, {{"call", "rows"}, {"count", wanted}}, kNotConnected);
    }
    Iterator& iterator = found->second;
    std::int32_t status = m_shared.faults.Take("model", iterator.key, "rows");
    if (status == kOk && wanted < 0) {
        status = kOutOfRange;
    }
    if (status == kOk) {
        const json all = SelectedRows(iterator);
        json chunk = json::array();
        while (iterator.position < all.size() && static_cast<std::int64_t>(chunk.size()) < wanted) {
            chunk.push_back(all[iterator.position++]);
        }
        Notify(id, {{"event", "rows"}, {"rows", std::move(chunk)}});
    }
    Done(iterator.connection, m_connections.at(iterator.connection), status);
    return m_shared.Traced(kWho, {{"call", "rows"}, {"key", iterator.key}, {"count", wanted}}, status);
}

Reply Model::CloseIterator(const Request& request) {
    m_iterators.erase(IdOf(request, "iterator"));
    return {{"status", kOk}};
}

json Model::SelectedRows(const Iterator& iterator) const {
    if (!m_presetLoaded) {
        return json::array();
    }
    const json& table = m_values.at(iterator.key);
    if (table.is_array()) {
        return table;
    }
    // Rows by tuner: the last entry of the selection names the one that is meant; without one all rows are.
    const std::string tuner =
        iterator.selection.empty() ? std::string() : iterator.selection.back().at(2).get<std::string>();
    json rows = json::array();
    for (const auto& [name, rowsOfTuner] : table.items()) {
        if (tuner.empty() || tuner == name) {
            rows.insert(rows.end(), rowsOfTuner.begin(), rowsOfTuner.end());
        }
    }
    return rows;
}

}  // namespace simset

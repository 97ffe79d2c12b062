#include "simset/core/state/TraceLog.h"

namespace simset {

TraceLog::TraceLog(const std::filesystem::path& file, std::size_t maxRows) : m_maxRows(maxRows) {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(file, ignored);
    if (!ignored && size > kMaxFileBytes) {
        std::filesystem::rename(file, file.string() + ".old", ignored);
    }
    m_file.reset(std::fopen(file.c_str(), "ae"));
}

void TraceLog::Append(std::int64_t milliseconds, const nlohmann::json& row) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    // Kept in the order in which people read it: number, time, who, call, arguments, status.
    nlohmann::ordered_json line{{"seq", m_next++}, {"ms", milliseconds}};
    for (const char* first : {"who", "call"}) {
        if (row.contains(first)) {
            line[first] = row[first];
        }
    }
    for (const auto& [name, value] : row.items()) {
        if (name != "seq" && name != "ms" && name != "status") {
            line[name] = value;
        }
    }
    if (row.contains("status")) {
        line["status"] = row["status"];
    }
    m_rows.push_back(line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n');
    if (m_file) {
        std::fputs(m_rows.back().c_str(), m_file.get());
        std::fflush(m_file.get());
    }
    if (m_rows.size() > m_maxRows) {
        m_rows.pop_front();
        ++m_dropped;
    }
}

std::string TraceLog::Lines() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return LinesLocked();
}

std::string TraceLog::TakeLines() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string lines = LinesLocked();
    m_rows.clear();
    m_dropped = 0;
    return lines;
}

std::string TraceLog::LinesLocked() const {
    std::string lines;
    if (m_dropped > 0) {
        lines = nlohmann::json{{"who", "trace"}, {"call", "dropped"}, {"count", m_dropped}}.dump() + '\n';
    }
    for (const auto& row : m_rows) {
        lines += row;
    }
    return lines;
}

}  // namespace simset

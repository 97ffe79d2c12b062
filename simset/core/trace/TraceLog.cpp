#include "simset/core/trace/TraceLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

namespace simset {

namespace {

constexpr std::uintmax_t kFirstLook = 64U << 10U;  // bytes of the file's end in which the last row is looked for
constexpr std::size_t kTornText = 200;             // bytes of a torn row that are kept

// The number at the beginning of a row; nothing when it is not there whole.
std::optional<std::uint64_t> NumberOf(const std::string& line) {
    constexpr char kStart[] = "{\"seq\":";
    constexpr std::size_t kLength = sizeof kStart - 1;
    std::uint64_t number = 0;
    if (line.compare(0, kLength, kStart) != 0) {
        return std::nullopt;
    }
    const char* const end = line.data() + line.size();
    const auto result = std::from_chars(line.data() + kLength, end, number);
    return result.ec == std::errc() && result.ptr != end ? std::optional(number) : std::nullopt;
}

}  // namespace

TraceLog::TraceLog(const std::filesystem::path& file, const TraceBounds& bounds,
                   std::function<void(const std::string& line)> problem)
    : m_path(file), m_bounds(bounds), m_problem(std::move(problem)) {
    const auto endOf = [](const std::string& path) {
        const Descriptor old(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat info {};
        return old && ::fstat(old.Get(), &info) == 0
                   ? ReadEnd(old.Get(), static_cast<std::uintmax_t>(info.st_size))
                   : End();
    };
    const End end = endOf(m_path.string());
    m_last = end.last != 0 ? end.last : endOf(m_path.string() + ".old").last;
    m_before = m_last;
    OpenFile();
    if (!end.torn.empty() && m_file) {
        // A reader of the file finds whole rows alone; what was torn stands in one of its own.
        const off_t whole = ::lseek(m_file.Get(), 0, SEEK_END) - static_cast<off_t>(end.torn.size());
        if (::ftruncate(m_file.Get(), whole) == 0) {
            m_last = std::max(m_last + 1, NumberOf(end.torn).value_or(0));
            m_before = m_last;
            Append(0, {{"who", "trace"}, {"call", "torn"}, {"text", end.torn.substr(0, kTornText)}});
        }
    }
    m_cleared = m_before;
}

TraceLog::~TraceLog() {
    TellLost(0);
}

TraceLog::End TraceLog::ReadEnd(int file, std::uintmax_t size) {
    End end;
    for (std::uintmax_t look = std::min(size, kFirstLook); look > 0; look = std::min(size, look * 4)) {
        std::string text(look, '\0');
        const ssize_t got = ::pread(file, text.data(), text.size(), static_cast<off_t>(size - look));
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        std::size_t stop = text.rfind('\n');
        end.torn = stop == std::string::npos ? text : text.substr(stop + 1);
        while (stop != std::string::npos) {
            const std::size_t before = stop == 0 ? std::string::npos : text.rfind('\n', stop - 1);
            if (before == std::string::npos && look < size) {
                break;  // the row begins further ahead
            }
            const std::size_t start = before == std::string::npos ? 0 : before + 1;
            if (const auto number = NumberOf(text.substr(start, stop - start))) {
                end.last = *number;
                return end;
            }
            stop = before;
        }
        if (look == size) {
            break;
        }
    }
    return end;
}

void TraceLog::OpenFile() {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(m_path, ignored);
    if (!ignored && size > m_bounds.fileBytes) {
        std::filesystem::rename(m_path, m_path.string() + ".old", ignored);
    }
    m_file.Reset(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
}

std::uint64_t TraceLog::Append(std::int64_t milliseconds, const nlohmann::json& row) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    TellLost(milliseconds);
    TraceRow numbered = Numbered(milliseconds, row);
    const std::uint64_t number = numbered.seq;
    if (m_firstLost == 0 && !Write(numbered)) {
        m_firstLost = number;
        if (m_problem) {
            m_problem("the trace cannot be written to " + m_path.string() + ": " + std::strerror(errno) +
                      "; from row " + std::to_string(number) + " on it is kept in memory only");
        }
    }
    Keep(std::move(numbered));
    m_changed.notify_all();
    return number;
}

void TraceLog::TellLost(std::int64_t milliseconds) {
    if (m_firstLost == 0) {
        return;
    }
    TraceRow lost = Numbered(
        milliseconds,
        {{"who", "trace"}, {"call", "lost"}, {"first", m_firstLost}, {"count", m_last + 1 - m_firstLost}});
    if (Write(lost)) {
        m_firstLost = 0;
        Keep(std::move(lost));
    }
}

TraceRow TraceLog::Numbered(std::int64_t milliseconds, const nlohmann::json& row) const {
    // Kept in the order in which people read it: number, time, who, call, arguments, status.
    const std::uint64_t number = m_last + 1;
    nlohmann::ordered_json line{{"seq", number}, {"ms", milliseconds}};
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
    return {number, line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)};
}

void TraceLog::Keep(TraceRow row) {
    m_last = row.seq;
    m_bytes += row.line.size();
    m_rows.push_back(std::move(row));
    while (m_rows.size() > 1 && (m_rows.size() > m_bounds.rows || m_bytes > m_bounds.bytes)) {
        m_bytes -= m_rows.front().line.size();
        m_rows.pop_front();
    }
}

// Writes a row whole or not at all.
bool TraceLog::Write(const TraceRow& row) {
    if (!m_file) {
        OpenFile();
    }
    const std::string line = row.line + '\n';
    const ssize_t put = m_file ? ::write(m_file.Get(), line.data(), line.size()) : -1;
    if (put != static_cast<ssize_t>(line.size())) {
        if (put > 0) {
            if (::ftruncate(m_file.Get(), ::lseek(m_file.Get(), 0, SEEK_CUR) - put) != 0) {
                m_file.Reset();
            }
            errno = ENOSPC;  // what a short write to a file means
        }
        return false;
    }
    if (::lseek(m_file.Get(), 0, SEEK_CUR) > static_cast<off_t>(m_bounds.fileBytes)) {
        OpenFile();
    }
    return true;
}

std::vector<TraceRow> TraceLog::Await(std::uint64_t since, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this, since] { return m_closed || m_last > since; });
    const auto first = std::partition_point(m_rows.begin(), m_rows.end(),
                                            [since](const TraceRow& row) { return row.seq <= since; });
    return {first, m_rows.end()};
}

std::uint64_t TraceLog::Last() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_last;
}

std::uint64_t TraceLog::Cleared() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_cleared;
}

void TraceLog::Clear(std::uint64_t last) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_cleared = std::max(m_cleared, last);
}

void TraceLog::Recall() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_rows.clear();
    m_bytes = 0;
    std::optional<std::uint64_t> first;
    std::uint64_t beforeRun = 0;
    bool reboots = false;
    for (const std::string& path : {m_path.string() + ".old", m_path.string()}) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            const auto number = NumberOf(line);
            if (!number) {
                continue;
            }
            first = first ? first : number;
            if (line.find(R"(,"who":"power","call":"on")") != std::string::npos && !reboots) {
                beforeRun = *number - 1;
            }
            if (line.find(R"(,"who":"power",)") != std::string::npos) {
                reboots = line.find(R"(,"who":"power","call":"reboot")") != std::string::npos;
            }
            Keep({*number, std::move(line)});
        }
    }
    m_before = first.value_or(m_last + 1) - 1;
    m_cleared = std::max(beforeRun, m_before);
}

void TraceLog::Close() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = true;
    }
    m_changed.notify_all();
}

bool TraceLog::Closed() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed;
}

}  // namespace simset

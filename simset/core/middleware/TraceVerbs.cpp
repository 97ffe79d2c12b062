#include "simset/core/middleware/TraceVerbs.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "simset/base/Numbers.h"
#include "simset/core/trace/RowMatch.h"

namespace simset {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookAfterCaller{500};  // a caller that has gone is noticed after that
constexpr double kMostSeconds = 86400;

std::optional<std::uint64_t> Since(const Arguments& arguments) {
    const auto text = arguments.Option("--since");
    const auto number = text ? ParseNumber<std::uint64_t>(*text) : std::nullopt;
    if (text && !number) {
        throw ControlError("--since wants the number of a row, 0 for all");
    }
    return number;
}

// The rows that match as text; `since` becomes the number of the last row. Says how many are missing before them.
std::string Take(const std::vector<TraceRow>& rows, const std::optional<RowMatch>& match, std::uint64_t& since) {
    std::string text;
    if (!rows.empty() && rows.front().seq > since + 1) {
        text =
            fmt::format("{{\"who\":\"trace\",\"call\":\"dropped\",\"count\":{}}}\n", rows.front().seq - since - 1);
    }
    for (const TraceRow& row : rows) {
        if (!match || match->Holds(row)) {
            text += row.line + '\n';
        }
        since = row.seq;
    }
    return text;
}

}  // namespace

const std::vector<Verb<TraceVerbs>>& TraceVerbs::Verbs() {
    static const std::vector<Verb<TraceVerbs>> kVerbs = {
        {{"trace", "[--clear] [--follow] [--since SEQ] [--match MATCH] [--last]",
          "what happened, as JSON lines: rows after number SEQ, those that match,\nthe last one alone, and with "
          "--follow also what comes; MATCH: terms\nmember=GLOB (\"…\" round blanks) and words, all of which hold",
          false},
         &TraceVerbs::Trace},
        {{"wait", "MATCH [--timeout S] [--since SEQ]",
          "until a row matches, then prints it: one that comes from now on,\nor any after number SEQ; fails after "
          "S seconds, or when the set goes off",
          false, When::On},
         &TraceVerbs::Wait},
    };
    return kVerbs;
}

bool TraceVerbs::Have(const Words& words) {
    const auto& verbs = Verbs();
    return std::any_of(verbs.begin(), verbs.end(),
                       [&words](const VerbForm& form) { return !words.empty() && words.front() == form.verb; });
}

std::string TraceVerbs::Trace(const Arguments& arguments) {
    const auto text = arguments.Option("--match");
    const auto match = text ? std::optional<RowMatch>(*text) : std::nullopt;
    std::uint64_t since = std::max(Since(arguments).value_or(m_trace.Cleared()), m_trace.Before());
    std::vector<TraceRow> rows = m_trace.Await(since, std::chrono::milliseconds(0));
    if (arguments.Has("--last") && !rows.empty()) {
        since = rows.back().seq - 1;
        rows.erase(rows.begin(), rows.end() - 1);
    }
    std::string out = Take(rows, match, since);
    if (arguments.Has("--clear")) {
        m_trace.Clear(since);
    }
    if (!arguments.Has("--follow")) {
        return out;
    }
    while (arguments.caller.print(out)) {
        rows = m_trace.Await(since, kLookAfterCaller);
        if (rows.empty() && m_trace.Closed()) {
            break;
        }
        out = Take(rows, match, since);
    }
    return {};
}

std::string TraceVerbs::Wait(const Arguments& arguments) {
    const RowMatch match(arguments[0]);
    std::uint64_t since = Since(arguments).value_or(m_trace.Last());
    const auto text = arguments.Option("--timeout");
    const auto seconds = text ? ParseNumber<double>(*text, 0.0, kMostSeconds) : std::nullopt;
    if (text && !seconds) {
        throw ControlError("--timeout wants seconds from 0 to 86400");
    }
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(seconds.value_or(kMostSeconds)));
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const auto limit =
            seconds ? std::clamp(left, std::chrono::milliseconds(0), kLookAfterCaller) : kLookAfterCaller;
        const std::vector<TraceRow> rows = m_trace.Await(since, limit);
        for (const TraceRow& row : rows) {
            if (match.Holds(row)) {
                return row.line + '\n';
            }
            since = row.seq;
        }
        if (rows.empty() && m_trace.Closed()) {
            throw ControlError(fmt::format("the set went off before a row matched {}", arguments[0]));
        }
        if (seconds && Clock::now() >= end) {
            throw ControlError(fmt::format("no row matched {} within {} s", arguments[0], *text));
        }
    } while (arguments.caller.print(""));
    return {};
}

}  // namespace simset

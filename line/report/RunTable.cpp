#include "report/RunTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "report/Report.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kWhatAt = kNameWidth + 33;
constexpr std::size_t kWhatWidth = 100 - kWhatAt;

// Columns that a printable text takes: characters from Hangul on take two.
std::size_t Columns(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const std::size_t size = std::max<std::size_t>(CharacterSize(text), 1);
        columns += static_cast<unsigned char>(text[0]) >= 0xE1 ? 2 : 1;
        text.remove_prefix(size);
    }
    return columns;
}

// The characters of a printable text that fit into `width` columns.
std::string Fitting(std::string_view text, std::size_t width) {
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t size = std::max<std::size_t>(CharacterSize(text.substr(end)), 1);
        if (Columns(text.substr(0, end + size)) > width) {
            break;
        }
        end += size;
    }
    return std::string(text.substr(0, end));
}

// In exactly `width` columns.
std::string Clip(const std::string& text, std::size_t width) {
    const std::string shown = Columns(text) <= width ? text : Fitting(text, width - 3) + "...";
    return shown + std::string(width - std::min(width, Columns(shown)), ' ');
}

// Words in lines of at most `width`, broken at blanks.
std::vector<std::string> Wrap(const std::string& text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t at = 0;
    while (at < text.size()) {
        const auto end = std::min(text.find(' ', at), text.size());
        std::string word = text.substr(at, end - at);
        at = end + 1;
        while (Columns(word) > width) {
            lines.push_back(Fitting(word, width));
            word.erase(0, lines.back().size());
        }
        if (!lines.back().empty() && Columns(lines.back()) + 1 + Columns(word) > width) {
            lines.emplace_back();
        }
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    if (lines.size() > 1 && lines.front().empty()) {
        lines.erase(lines.begin());
    }
    return lines;
}

std::string TableRow(std::size_t number, const StepResult& step) {
    const auto what = Wrap(Printable(step.words), kWhatWidth);
    std::string row =
        fmt::format("{:>3}  {}  {:<7}  {:>5}  {:>6.2f} s  {}", number, Clip(Printable(step.name), kNameWidth),
                    StateWord(step.state), step.burst == 0 ? std::string() : fmt::to_string(step.burst),
                    Seconds(step.elapsed), what.front());
    for (std::size_t i = 1; i < what.size(); ++i) {
        row += fmt::format("\n{:{}}{}", "", kWhatAt, what[i]);
    }
    return row;
}

}  // namespace

void RunTable::RunBegins(const PlanResult& planned) {
    if (!m_console.json) {
        m_console.out << planned.name << "\n\n"
                      << fmt::format("{:>3}  {:<{}}  {:<7}  {:>5}  {:>8}  {}", "#", "Step", kNameWidth, "Result",
                                     "Burst", "Time", "What")
                      << std::endl;
    }
}

void RunTable::StepEnded(std::size_t number, const StepResult& result) {
    m_console.Result(StepJson(result), TableRow(number + 1, result));
}

void RunTable::RunEnded(const PlanResult& result) {
    m_console.Result(SummaryJson(result),
                     fmt::format("\n{}: {} of {} steps passed, {} failed, {:.1f} s", Verdict(result.status),
                                 CountOf(result, StepState::Passed), result.steps.size(),
                                 CountOf(result, StepState::Failed), Seconds(result.elapsed)));
}

}  // namespace zelline

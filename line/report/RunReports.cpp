#include "report/RunReports.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

namespace zelline {
namespace {

// The text as a part of a file's name.
std::string NamePart(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](unsigned char c) { return c < 0x80 && std::isalnum(c) == 0 && c != '-' && c != '_' && c != '+'; }, '_');
    return text.empty() ? "none" : text;
}

std::string PathOf(const std::string& pattern, const PlanResult& run) {
    // Of "2026-05-04T08:15:30Z".
    const std::string date = run.started.substr(0, run.started.find('T'));
    const std::string time = run.started.size() < 19 ? "" : run.started.substr(11, 8);
    const std::pair<std::string, std::string> values[] = {
        {"{unit}", run.unit},
        {"{run}", run.run},
        {"{plan}", std::filesystem::path(run.plan).stem().string()},
        {"{date}", date},
        {"{time}", time}};
    std::string path;
    for (std::size_t at = 0; at < pattern.size();) {
        if (pattern[at] != '{') {
            path += pattern[at++];
            continue;
        }
        const auto* const value = std::find_if(std::begin(values), std::end(values), [&](const auto& each) {
            return pattern.compare(at, each.first.size(), each.first) == 0;
        });
        if (value == std::end(values)) {
            Fail(
                Exit::Unusable,
                "the report's name {} has a brace that is none of {{unit}}, {{run}}, {{plan}}, {{date}}, {{time}}",
                pattern);
        }
        path += NamePart(value->second);
        at += value->first.size();
    }
    return path;
}

}  // namespace

RunReports::RunReports(const std::vector<std::string>& patterns, const PlanResult& run) {
    std::set<std::string> paths;
    for (const std::string& pattern : patterns) {
        const std::string path = PathOf(pattern, run);
        if (!paths.insert(path).second) {
            Fail(Exit::Unusable, "two reports would be {}", path);
        }
        const std::filesystem::path folder = std::filesystem::path(path).parent_path();
        if (!folder.empty()) {
            std::error_code ignored;  // the report itself tells that it cannot be written
            std::filesystem::create_directories(folder, ignored);
        }
        m_reports.emplace_back(path);
    }
}

void RunReports::StepEnded(std::size_t number, const StepResult& result) {
    m_soFar.steps[number] = result;
    for (Report& report : m_reports) {
        try {
            report.Keep(m_soFar);
        } catch (const Error&) {  // told of when the run is over, as it need not fail for this
        }
    }
}

void RunReports::RunEnded(const PlanResult& result) {
    for (Report& report : m_reports) {
        try {
            const std::string older = report.Write(result);
            if (!older.empty()) {
                m_notes.push_back(fmt::format("{} was there before: it is {} now", report.Path(), older));
            }
        } catch (const Error& error) {
            m_problems.push_back(error);
        }
    }
}

}  // namespace zelline

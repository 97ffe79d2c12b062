#include "report/Report.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "wire/Hex.h"

namespace zelline {
namespace {

std::string AsJson(const PlanResult& result) {
    Json report = SummaryJson(result);
    report["type"] = "report";
    report["steps"] = Json::array();
    for (const StepResult& step : result.steps) {
        report["steps"].push_back(StepJson(step));
    }
    return report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

// XML carries no control characters, so texts from the set go in as they would be printed.
std::string AsJunit(const PlanResult& result) {
    const auto isStopped = [](const StepResult& step) { return step.status == Exit::Interrupted; };
    const auto stopped = std::count_if(result.steps.begin(), result.steps.end(), isStopped);
    pugi::xml_document document;
    document.append_child(pugi::node_declaration).append_attribute("version") = "1.0";
    pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
    suite.append_attribute("name") = Printable(result.name).c_str();
    suite.append_attribute("tests") = result.steps.size();
    suite.append_attribute("failures") = CountOf(result, StepState::Failed);
    suite.append_attribute("errors") = stopped;
    suite.append_attribute("skipped") =
        CountOf(result, StepState::Skipped) + CountOf(result, StepState::NotRun) - stopped;
    suite.append_attribute("time") = fmt::format("{:.3f}", Seconds(result.elapsed)).c_str();
    suite.append_attribute("timestamp") = result.started.c_str();
    for (const StepResult& step : result.steps) {
        pugi::xml_node test = suite.append_child("testcase");
        test.append_attribute("classname") = Printable(result.name).c_str();
        test.append_attribute("name") = Printable(step.name).c_str();
        test.append_attribute("time") = fmt::format("{:.3f}", Seconds(step.elapsed)).c_str();
        if (step.burst > 0) {
            pugi::xml_node property = test.append_child("properties").append_child("property");
            property.append_attribute("name") = "burst";
            property.append_attribute("value") = step.burst;
        }
        if (step.state == StepState::Failed) {
            pugi::xml_node failure = test.append_child("failure");
            failure.append_attribute("type") = StatusWord(step.status);
            failure.append_attribute("message") = Printable(step.words).c_str();
            failure.text().set(Printable(step.verb + ": " + step.words).c_str());
        } else if (isStopped(step)) {
            test.append_child("error").append_attribute("message") = Printable(step.words).c_str();
        } else if (step.state != StepState::Passed) {
            test.append_child("skipped").append_attribute("message") = Printable(step.words).c_str();
        } else if (!step.value.empty()) {
            test.append_child("system-out").text().set(Printable(step.value).c_str());
        }
    }
    std::ostringstream text;
    document.save(text, "  ");
    return text.str();
}

std::string BurstText(const StepResult& step) {
    return step.burst == 0 ? std::string() : fmt::to_string(step.burst);
}

std::string CsvField(const std::string& text) {
    std::string field = "\"";
    for (const char c : Printable(text)) {
        field += c == '"' ? "\"\"" : std::string(1, c);
    }
    return field + "\"";
}

std::string AsCsv(const PlanResult& result) {
    std::string text = "step,verb,teardown,outcome,status,value,words,tries,ms,burst\r\n";
    for (const StepResult& step : result.steps) {
        text += fmt::format("{},{},{},{},{},{},{},{},{},{}\r\n", CsvField(step.name), CsvField(step.verb),
                            step.teardown ? "yes" : "no", StateWord(step.state),
                            step.HasRun() ? StatusWord(step.status) : "", CsvField(step.value),
                            CsvField(step.words), step.tries, step.elapsed.count(), BurstText(step));
    }
    return text;
}

std::string Escaped(const std::string& text) {
    std::string safe;
    for (const char c : Printable(text)) {
        safe += c == '&'   ? "&amp;"
                : c == '<' ? "&lt;"
                : c == '>' ? "&gt;"
                : c == '"' ? "&quot;"
                           : std::string(1, c);
    }
    return safe;
}

std::string AsHtml(const PlanResult& result) {
    std::string verdict = Verdict(result.status);
    std::transform(verdict.begin(), verdict.end(), verdict.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::string page = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>{0}</title>\n<style>\n"
        "body {{ font-family: sans-serif; margin: 2em; color: #222; }}\n"
        "table {{ border-collapse: collapse; }}\n"
        "td, th {{ padding: 0.3em 0.8em; border-bottom: 1px solid #ccc; text-align: left; }}\n"
        "td.n {{ text-align: right; }}\n"
        ".passed {{ color: #06752e; }} .failed, .aborted {{ color: #b00020; font-weight: bold; }}\n"
        ".skipped, .notrun {{ color: #777; }}\n"
        "</style></head><body>\n<h1>{0}: <span class=\"{1}\">{1}</span></h1>\n"
        "<p>{2}, begun {3}, {4:.1f} s, {5} of {6} steps passed.</p>\n"
        "<table>\n<tr><th>Step</th><th>Verb</th><th>Result</th><th>Burst</th><th>Time</th><th>Value</th><th>What "
        "happened</th></tr>\n",
        Escaped(result.name), verdict, Escaped(result.plan), result.started, Seconds(result.elapsed),
        CountOf(result, StepState::Passed), result.steps.size());
    for (const StepResult& step : result.steps) {
        const std::string state = StateWord(step.state);
        page += fmt::format(
            "<tr><td>{}{}</td><td><code>{}</code></td><td class=\"{}\">{}</td><td class=\"n\">{}</td><td "
            "class=\"n\">{:.2f} s</td>"
            "<td>{}</td><td>{}</td></tr>\n",
            Escaped(step.name), step.teardown ? " (teardown)" : "", Escaped(step.verb),
            state == "not run" ? "notrun" : state, state, BurstText(step), Seconds(step.elapsed),
            Escaped(step.value), Escaped(step.words));
    }
    return page + "</table>\n</body></html>\n";
}

[[noreturn]] void Unwritable(const std::string& path) {
    Fail(Exit::Record, "report {} cannot be written: {}", path, std::strerror(errno));
}

// Gives the file at the path the first free name beside its own, and returns that; empty when there is no file.
std::string KeepOlder(const std::string& path) {
    const std::filesystem::path file(path);
    for (int number = 1; std::filesystem::exists(file); ++number) {
        const std::string kept =
            (file.parent_path() / fmt::format("{}.{}{}", file.stem().string(), number, file.extension().string()))
                .string();
        if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, kept.c_str(), RENAME_NOREPLACE) == 0) {
            return kept;
        }
        if (errno != EEXIST) {
            Unwritable(path);
        }
    }
    return {};
}

}  // namespace

double Seconds(Millis time) {
    return static_cast<double>(time.count()) / 1000.0;
}

std::ptrdiff_t CountOf(const PlanResult& result, StepState state) {
    return std::count_if(result.steps.begin(), result.steps.end(),
                         [&](const StepResult& step) { return step.state == state; });
}

Json StepJson(const StepResult& step) {
    return {{"v", 1},
            {"type", "step"},
            {"name", step.name},
            {"id", step.id},
            {"verb", step.verb},
            {"teardown", step.teardown},
            {"outcome", StateWord(step.state)},
            {"status", step.HasRun() ? Json(StatusWord(step.status)) : Json(nullptr)},
            {"value", step.isNumber ? Json(std::stoul(step.value)) : Json(step.value)},
            {"words", step.words},
            {"tries", step.tries},
            {"burst", step.burst == 0 ? Json(nullptr) : Json(step.burst)},
            {"ms", step.elapsed.count()}};
}

Json SummaryJson(const PlanResult& result) {
    return {{"v", 1},
            {"type", "summary"},
            {"name", result.name},
            {"plan", result.plan},
            {"run", result.run},
            {"unit", result.unit},
            {"started", result.started},
            {"ms", result.elapsed.count()},
            {"passed", CountOf(result, StepState::Passed)},
            {"failed", CountOf(result, StepState::Failed)},
            {"skipped", CountOf(result, StepState::Skipped)},
            {"not_run", CountOf(result, StepState::NotRun)},
            {"verdict", Verdict(result.status)},
            {"outcome", result.status == Exit::Interrupted ? "aborted" : StatusWord(result.status)},
            {"exit", static_cast<int>(result.status)}};
}

Report::Report(const std::string& path) : m_path(path) {
    const std::string kind = std::filesystem::path(path).extension().string();
    m_format = kind == ".json"   ? AsJson
               : kind == ".xml"  ? AsJunit
               : kind == ".csv"  ? AsCsv
               : kind == ".html" ? AsHtml
                                 : nullptr;
    if (m_format == nullptr) {
        Fail(Exit::Unusable, "the report {} has no kind: end its name in .json, .xml, .csv or .html", path);
    }
    errno = 0;
    const std::string temporary = path + ".part";
    if (std::filesystem::is_directory(path)) {
        errno = EISDIR;
        Unwritable(path);
    }
    if (!std::ofstream(temporary)) {
        Unwritable(path);
    }
    m_temporary = temporary;
}

Report::Report(Report&& other) noexcept
    : m_path(std::move(other.m_path)),
      m_temporary(std::exchange(other.m_temporary, {})),
      m_format(other.m_format) {}

Report::~Report() {
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
    }
}

void Report::Keep(const PlanResult& result) {
    errno = 0;
    std::ofstream file(m_temporary, std::ios::binary | std::ios::trunc);
    file << m_format(result) << std::flush;
    if (!file) {
        Unwritable(m_path);
    }
}

std::string Report::Write(const PlanResult& result) {
    Keep(result);
    const std::string older = KeepOlder(m_path);
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        Unwritable(m_path);
    }
    m_temporary.clear();
    return older;
}

}  // namespace zelline

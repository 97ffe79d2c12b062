#include "plan/PlanFile.h"

#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>

#include "plan/PlanCheck.h"
#include "wire/Error.h"

namespace zelline {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxDepth = 16;  // plans within plans
constexpr long kMostMs = 86400000;     // of every time and count in a plan

std::size_t LineOf(const toml::node& node) {
    return node.source().begin.line;
}

// The text of a text, a whole number or a truth value.
std::optional<std::string> TextOf(const toml::node& node) {
    if (const auto* text = node.as_string()) {
        return text->get();
    }
    if (const auto* number = node.as_integer()) {
        return fmt::to_string(number->get());
    }
    if (const auto* flag = node.as_boolean()) {
        return flag->get() ? "true" : "false";
    }
    return std::nullopt;
}

// One table of a plan's file. Whatever is wrong in it is added to `problems`, and the value then left out.
struct Section {
    const toml::table& table;
    const std::string& file;
    std::vector<PlanProblem>& problems;

    void Problem(std::size_t line, const std::string& words) const { problems.push_back({file, line, words}); }
    void Problem(const toml::node& node, const std::string& words) const { Problem(LineOf(node), words); }

    // Tells of keys other than `known`.
    void Allow(const std::set<std::string_view>& known, std::string_view where) const {
        for (const auto& [key, node] : table) {
            if (known.count(key.str()) == 0) {
                Problem(key.source().begin.line,
                        fmt::format("'{}' is unknown {}; there are {}", key.str(), where, fmt::join(known, ", ")));
            }
        }
    }

    template <typename T>
    std::optional<T> Value(std::string_view key, const char* kind) const {
        const toml::node* node = table.get(key);
        const auto value = node == nullptr ? std::nullopt : node->value<T>();
        if (node != nullptr && !value) {
            Problem(*node, fmt::format("'{}' must be {}", key, kind));
        }
        return value;
    }

    std::optional<std::string> Text(std::string_view key) const {
        const toml::node* node = table.get(key);
        const auto text = node == nullptr ? std::nullopt : TextOf(*node);
        if (node != nullptr && !text) {
            Problem(*node, fmt::format("'{}' must be a text", key));
        }
        return text;
    }

    std::optional<long> Count(std::string_view key, long least) const {
        const auto value = Value<std::int64_t>(key, "a whole number");
        if (value && (*value < least || *value > kMostMs)) {
            Problem(*table.get(key), fmt::format("'{}' must be from {} to {}", key, least, kMostMs));
            return std::nullopt;
        }
        return value;
    }

    std::optional<Millis> Time(std::string_view key, long least) const {
        const auto value = Count(key, least);
        return value ? std::optional(Millis(*value)) : std::nullopt;
    }

    // The table under `key`; `form` shows how it is written.
    std::optional<Section> Table(std::string_view key, std::string_view form) const {
        const toml::node* node = table.get(key);
        if (node != nullptr && !node->is_table()) {
            Problem(*node, fmt::format("'{}' must be {}", key, form));
        }
        return node != nullptr && node->is_table() ? std::optional(Section{*node->as_table(), file, problems})
                                                   : std::nullopt;
    }
};

// What a step has in common with the defaults of its file.
struct Common {
    Settings settings;
    bool stopOnFailure = true;
};

void ReadCommon(const Section& section, Settings& settings, bool& stopOnFailure) {
    if (const auto timeout = section.Time("timeout", 1)) {
        settings.timeout = timeout;
    }
    if (const auto retries = section.Count("retries", 0)) {
        settings.retries = static_cast<int>(std::min(*retries, 1000L));
    }
    settings.pace = section.Time("pace", 0).value_or(settings.pace);
    if (const auto text = section.Text("on-failure")) {
        if (*text != "stop" && *text != "continue") {
            section.Problem(*section.table.get("on-failure"), "'on-failure' must be \"stop\" or \"continue\"");
        }
        stopOnFailure = *text != "continue";
    }
}

void ReadExpectation(const Section& step, Expectation& expect) {
    const auto rules = step.Table("expect", "a table, such as { equals = \"100\" }");
    if (!rules) {
        return;
    }
    rules->Allow({"status", "equals", "matches", "min", "max"}, "in 'expect'");
    expect.equals = rules->Text("equals");
    expect.matches = rules->Text("matches");
    expect.least = rules->Value<double>("min", "a number");
    expect.most = rules->Value<double>("max", "a number");
    if (expect.matches && expect.matches->find("${") == std::string::npos) {
        try {
            const std::regex checked(*expect.matches);
        } catch (const std::regex_error&) {
            rules->Problem(*rules->table.get("matches"), "'matches' is no regular expression");
        }
    }
    if (const auto status = rules->Text("status")) {
        const Exit choices[] = {Exit::Success, Exit::Failure, Exit::NoAnswer};
        const auto choice = std::find_if(std::begin(choices), std::end(choices),
                                         [&](Exit exit) { return *status == StatusWord(exit); });
        if (choice == std::end(choices)) {
            rules->Problem(*rules->table.get("status"),
                           "'status' must be \"success\", \"failure\" or \"no answer\"");
        } else {
            expect.status = *choice;
        }
    }
}

void ReadWords(const Section& section, Step& step) {
    const toml::node* node = section.table.get("run");
    if (node == nullptr) {
        section.Problem(step.line, "the step has no 'run', such as run = \"volume 20\"");
        return;
    }
    step.line = LineOf(*node);
    if (const auto* list = node->as_array()) {
        for (const toml::node& word : *list) {
            if (const auto text = word.value<std::string>()) {
                step.words.push_back(*text);
            } else {
                section.Problem(word, "'run' as a list holds texts only");
            }
        }
    } else if (const auto text = node->value<std::string>()) {
        try {
            step.words = SplitWords(*text);
        } catch (const Error& error) {
            section.Problem(step.line, error.what());
            return;
        }
    } else {
        section.Problem(step.line, "'run' must be a text or a list of texts");
        return;
    }
    if (step.words.empty()) {
        section.Problem(step.line, "'run' is empty");
    }
}

Step ReadStep(const Section& section, const Common& defaults, bool teardown) {
    section.Allow({"name", "id", "run", "expect", "within", "timeout", "retries", "pace", "on-failure", "run-if",
                   "save", "wait", "include"},
                  "in a step");
    Step step;
    step.file = section.file;
    step.line = LineOf(section.table);
    step.settings = defaults.settings;
    step.stopOnFailure = defaults.stopOnFailure;
    step.teardown = teardown;
    ReadWords(section, step);
    ReadCommon(section, step.settings, step.stopOnFailure);
    ReadExpectation(section, step.expect);
    step.name = section.Text("name").value_or(fmt::format("{}", fmt::join(step.words, " ")));
    step.id = section.Text("id").value_or("");
    step.runIf = section.Text("run-if").value_or("");
    step.save = section.Text("save").value_or("");
    step.wait = section.Time("wait", 0).value_or(Millis(0));
    step.within = section.Time("within", 1);
    return step;
}

// Reads one file and what it refers to into a plan.
class Reader {
  public:
    Reader(Plan& plan, std::vector<PlanProblem>& problems) : m_plan(plan), m_problems(problems) {}

    // `from` is where another file refers to this one, empty for the first.
    void ReadFile(const std::string& file, const std::string& from) {
        std::error_code status;
        if (!fs::is_regular_file(file, status)) {
            m_problems.push_back({from.empty() ? file : from, 0,
                                  from.empty() ? "there is no such plan" : "there is no plan " + file});
            return;
        }
        toml::table table;
        try {
            table = toml::parse_file(file);
        } catch (const toml::parse_error& error) {
            m_problems.push_back({file, error.source().begin.line, std::string(error.description())});
            return;
        }
        m_open.push_back(fs::path(file).lexically_normal().string());
        ReadTable({table, file, m_problems});
        m_open.pop_back();
    }

  private:
    // A step of an inherited plan with the same id gives way to the one that inherits.
    void Add(Step step) {
        const auto present = std::find_if(m_plan.steps.begin(), m_plan.steps.end(), [&](const Step& other) {
            return !step.id.empty() && other.id == step.id;
        });
        if (present == m_plan.steps.end()) {
            m_plan.steps.push_back(std::move(step));
            return;
        }
        if (present->file == step.file) {
            m_problems.push_back(
                {step.file, step.line,
                 fmt::format("the id '{}' is taken by the step in line {}", step.id, present->line)});
        }
        *present = std::move(step);
    }

    void ReadSteps(const Section& section, const char* key, const Common& defaults) {
        const toml::node* node = section.table.get(key);
        const auto* list = node == nullptr ? nullptr : node->as_array();
        if (node != nullptr && (list == nullptr || !list->is_homogeneous(toml::node_type::table))) {
            section.Problem(*node, fmt::format("'{}' must be written as [[{}]]", key, key));
            return;
        }
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const Section step{*list->get(i)->as_table(), section.file, m_problems};
            if (const toml::node* include = step.table.get("include")) {
                step.Allow({"include"}, "beside 'include'");
                ReadOther(step, *include);
            } else {
                Add(ReadStep(step, defaults, std::string_view(key) == "teardown"));
            }
        }
    }

    void ReadOther(const Section& section, const toml::node& node) {
        const auto name = node.value<std::string>();
        if (!name) {
            section.Problem(node, "the other plan's name must be a text");
            return;
        }
        const std::string path = (fs::path(section.file).parent_path() / *name).lexically_normal().string();
        if (std::find(m_open.begin(), m_open.end(), path) != m_open.end() || m_open.size() > kMaxDepth) {
            section.Problem(node, fmt::format("{} leads back to itself", path));
            return;
        }
        ReadFile(path, fmt::format("{}:{}", section.file, LineOf(node)));
    }

    void ReadTable(const Section& section) {
        section.Allow({"name", "description", "inherit", "defaults", "vars", "step", "teardown"}, "in a plan");
        if (const toml::node* base = section.table.get("inherit")) {
            ReadOther(section, *base);
        }
        const std::string known = m_plan.name.empty() ? fs::path(section.file).stem().string() : m_plan.name;
        m_plan.name = section.Text("name").value_or(known);
        m_plan.description = section.Text("description").value_or(m_plan.description);
        if (const auto variables = section.Table("vars", "written as [vars]")) {
            for (const auto& [key, value] : variables->table) {
                if (const auto text = variables->Text(key.str())) {
                    m_plan.variables[std::string(key.str())] = *text;
                }
            }
        }
        Common defaults;
        if (const auto values = section.Table("defaults", "written as [defaults]")) {
            values->Allow({"timeout", "retries", "pace", "on-failure"}, "in 'defaults'");
            ReadCommon(*values, defaults.settings, defaults.stopOnFailure);
        }
        ReadSteps(section, "step", defaults);
        ReadSteps(section, "teardown", defaults);
    }

    Plan& m_plan;
    std::vector<PlanProblem>& m_problems;
    std::vector<std::string> m_open;
};

}  // namespace

Plan LoadPlan(const std::string& path, const Variables& given, std::vector<PlanProblem>& problems) {
    Plan plan;
    Reader(plan, problems).ReadFile(path, "");
    for (const auto& [name, value] : given) {
        plan.variables[name] = value;
    }
    std::stable_partition(plan.steps.begin(), plan.steps.end(), [](const Step& step) { return !step.teardown; });
    if (problems.empty() && plan.steps.empty()) {
        problems.push_back({path, 0, "the plan has no steps: write [[step]] and run = \"...\""});
    }
    plan.variables[kAllSteps] = StateWord(StepState::Passed);
    CheckSteps(plan, problems);
    return plan;
}

}  // namespace zelline

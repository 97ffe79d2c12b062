#include "plan/PlanFile.h"

#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "plan/PlanCheck.h"
#include "plan/TomlText.h"
#include "wire/Error.h"

namespace zelline {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxDepth = 16;  // plans within plans
constexpr long kMostMs = 86400000;     // of every time and count in a plan

std::size_t LineOf(const toml::node& node) {
    return node.source().begin.line;
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
            Problem(*node, fmt::format("'{}' must be a text, a number, true or false", key));
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
    if (rules->table.empty()) {
        step.Problem(*step.table.get("expect"), "'expect' is empty; without it a step expects success");
    }
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
    section.Allow({"name", "id", "run", "expect", "within", "until", "timeout", "retries", "pace", "on-failure",
                   "run-if", "save", "wait", "include"},
                  "in a step");
    Step step;
    step.file = section.file;
    step.line = LineOf(section.table);
    step.settings = defaults.settings;
    step.stopOnFailure = defaults.stopOnFailure;
    step.teardown = teardown;
    ReadWords(section, step);
    if (IsOperatorStep(step)) {
        step.settings.timeout.reset();  // what the defaults say is for the set
    }
    ReadCommon(section, step.settings, step.stopOnFailure);
    ReadExpectation(section, step.expect);
    step.name = section.Text("name").value_or(fmt::format("{}", fmt::join(step.words, " ")));
    step.id = section.Text("id").value_or("");
    step.runIf = section.Text("run-if").value_or("");
    step.save = section.Text("save").value_or("");
    step.wait = section.Time("wait", 0).value_or(Millis(0));
    step.within = section.Time("within", 1);
    step.until = section.Time("until", 1);
    return step;
}

// Puts `prefix` in front of the ids and the saved values of an included file's steps, wherever its texts name
// them.
void Prefix(Plan& part, const std::string& prefix) {
    Variables renamed;
    for (Step& step : part.steps) {
        step.name = prefix + ": " + step.name;
        if (!step.id.empty()) {
            renamed["step." + step.id] = "step." + prefix + "." + step.id;
            step.id = prefix + "." + step.id;
        }
        if (!step.save.empty()) {
            renamed[step.save] = prefix + "." + step.save;
            step.save = prefix + "." + step.save;
        }
    }
    for (Step& step : part.steps) {
        for (std::string* text : TextsOf(step)) {
            const auto references = ReferencesIn(*text);
            for (auto reference = references.rbegin(); reference != references.rend(); ++reference) {
                if (const auto name = renamed.find(reference->name); name != renamed.end()) {
                    text->replace(reference->begin + 2, reference->name.size(), name->second);
                }
            }
        }
    }
    for (const auto& [name, value] : Variables(part.variables)) {
        if (const auto other = renamed.find(name); other != renamed.end()) {
            part.variables[other->second] = value;
        }
    }
}

// Reads files and what they refer to.
class Reader {
  public:
    explicit Reader(std::vector<PlanProblem>& problems) : m_problems(problems) {}

    // What the file holds and inherits; `from` is where another file refers to it, empty for the first.
    Plan ReadFile(const std::string& file, const std::string& from) {
        std::error_code status;
        Plan plan;
        if (!fs::is_regular_file(file, status)) {
            m_problems.push_back({from.empty() ? file : from, 0,
                                  from.empty() ? "there is no such plan" : "there is no plan " + file});
            return plan;
        }
        toml::table table;
        try {
            std::ifstream bytes(file, std::ios::binary);
            const std::string text{std::istreambuf_iterator<char>(bytes), {}};
            table = toml::parse(text, file);
            m_text += text;
        } catch (const toml::parse_error& error) {
            m_problems.push_back({file, error.source().begin.line, WordsOf(error)});
            return plan;
        }
        m_open.push_back(fs::path(file).lexically_normal().string());
        plan = ReadTable({table, file, m_problems});
        m_open.pop_back();
        return plan;
    }

    // Of all files that were read.
    const std::string& Text() const { return m_text; }

  private:
    // A step of the inherited plan with the same id gives way to the file's own; any other id stands once.
    void Add(Plan& plan, Step step, std::set<std::string>& inherited, const std::string& from) {
        const auto present = std::find_if(plan.steps.begin(), plan.steps.end(), [&](const Step& other) {
            return !step.id.empty() && other.id == step.id;
        });
        if (present == plan.steps.end()) {
            plan.steps.push_back(std::move(step));
        } else if (from.empty() && inherited.erase(step.id) != 0) {
            *present = std::move(step);
        } else {
            const std::string where = present->file == step.file
                                          ? fmt::format("line {}", present->line)
                                          : fmt::format("{}:{}", present->file, present->line);
            m_problems.push_back({step.file, step.line,
                                  fmt::format("the id '{}' is taken by the step in {}{}", step.id, where,
                                              from.empty() ? "" : "; give the include in " + from + " a prefix")});
        }
    }

    void ReadSteps(Plan& plan, const Section& section, const char* key, const Common& defaults,
                   std::set<std::string>& inherited) {
        const bool teardown = std::string_view(key) == "teardown";
        const toml::node* node = section.table.get(key);
        const auto* list = node == nullptr ? nullptr : node->as_array();
        if (node != nullptr && (list == nullptr || !list->is_homogeneous(toml::node_type::table))) {
            section.Problem(*node, fmt::format("'{}' must be written as [[{}]]", key, key));
            return;
        }
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const Section entry{*list->get(i)->as_table(), section.file, m_problems};
            const toml::node* include = entry.table.get("include");
            if (include == nullptr) {
                Add(plan, ReadStep(entry, defaults, teardown), inherited, "");
                continue;
            }
            for (Step& step : Included(entry, *include)) {
                step.teardown = step.teardown || teardown;
                Add(plan, std::move(step), inherited, fmt::format("{}:{}", section.file, LineOf(*include)));
            }
        }
    }

    // The steps of an included file, which keep its variables to themselves.
    std::vector<Step> Included(const Section& entry, const toml::node& include) {
        entry.Allow({"include", "prefix"}, "beside 'include'");
        const auto prefix = entry.Text("prefix");
        Plan part = ReadOther(entry, include);
        try {
            if (prefix) {
                Prefix(part, *prefix);
            }
        } catch (const Error& error) {  // a brace that is not closed
            entry.Problem(include, error.what());
        }
        for (Step& step : part.steps) {
            step.own.insert(part.variables.begin(), part.variables.end());
        }
        return part.steps;
    }

    Plan ReadOther(const Section& section, const toml::node& node) {
        const auto name = node.value<std::string>();
        if (!name) {
            section.Problem(node, "the other plan's name must be a text");
            return {};
        }
        const std::string path = (fs::path(section.file).parent_path() / *name).lexically_normal().string();
        if (std::find(m_open.begin(), m_open.end(), path) != m_open.end() || m_open.size() > kMaxDepth) {
            section.Problem(node, fmt::format("{} leads back to itself", path));
            return {};
        }
        return ReadFile(path, fmt::format("{}:{}", section.file, LineOf(node)));
    }

    Plan ReadTable(const Section& section) {
        section.Allow({"name", "description", "inherit", "defaults", "vars", "step", "teardown"}, "in a plan");
        const toml::node* base = section.table.get("inherit");
        Plan plan = base == nullptr ? Plan() : ReadOther(section, *base);
        std::set<std::string> inherited;
        for (const Step& step : plan.steps) {
            inherited.insert(step.id);
        }
        const std::string known = plan.name.empty() ? fs::path(section.file).stem().string() : plan.name;
        plan.name = section.Text("name").value_or(known);
        if (plan.name.find("${") != std::string::npos) {
            section.Problem(*section.table.get("name"),
                            "a plan has one name for all units: variables are filled in in the names of steps");
        }
        plan.description = section.Text("description").value_or(plan.description);
        if (const auto variables = section.Table("vars", "written as [vars]")) {
            for (const auto& [key, value] : variables->table) {
                const std::string name(key.str());
                const std::string text = variables->Text(name).value_or("");
                if (const std::string doubt = VariableDoubt(name, text); !doubt.empty()) {
                    variables->Problem(value, doubt);
                }
                plan.variables[name] = text;
            }
        }
        Common defaults;
        if (const auto values = section.Table("defaults", "written as [defaults]")) {
            values->Allow({"timeout", "retries", "pace", "on-failure"}, "in 'defaults'");
            ReadCommon(*values, defaults.settings, defaults.stopOnFailure);
        }
        ReadSteps(plan, section, "step", defaults, inherited);
        ReadSteps(plan, section, "teardown", defaults, inherited);
        return plan;
    }

    std::vector<PlanProblem>& m_problems;
    std::vector<std::string> m_open;
    std::string m_text;
};

std::string Small(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Gives the user's variables to the plan. A name that it knows nowhere would be without effect.
void Give(Plan& plan, const std::string& path, const Variables& given, std::vector<PlanProblem>& problems) {
    std::set<std::string> known;
    for (const auto& [name, value] : plan.variables) {
        known.insert(name);
    }
    for (Step& step : plan.steps) {
        for (const auto& [name, value] : step.own) {
            known.insert(name);
        }
        for (const std::string* text : TextsOf(step)) {
            try {
                for (const Reference& reference : ReferencesIn(*text)) {
                    known.insert(reference.name);
                }
            } catch (const Error&) {  // told of with the step
            }
        }
    }
    for (const auto& [name, value] : given) {
        if (known.count(name) == 0 && !plan.steps.empty()) {
            const auto alike = std::find_if(known.begin(), known.end(), [&, n = &name](const std::string& k) {
                return Small(k) == Small(*n);
            });
            problems.push_back({path, 0,
                                fmt::format("--set {}: the plan knows no such variable{}", name,
                                            alike == known.end() ? "" : "; there is '" + *alike + "'")});
        }
        if (const std::string doubt = VariableDoubt(name, value); !doubt.empty()) {
            problems.push_back({path, 0, fmt::format("--set {}: {}", name, doubt)});
        }
        plan.variables[name] = value;
        for (Step& step : plan.steps) {
            step.own.erase(name);
        }
    }
}

}  // namespace

Plan LoadPlan(const std::string& path, const Variables& given, std::vector<PlanProblem>& problems,
              const Variables& provided) {
    Reader reader(problems);
    Plan plan = reader.ReadFile(path, "");
    plan.text = reader.Text();
    plan.file = path;
    Give(plan, path, given, problems);
    std::stable_partition(plan.steps.begin(), plan.steps.end(), [](const Step& step) { return !step.teardown; });
    if (problems.empty() && plan.steps.empty()) {
        problems.push_back({path, 0, "the plan has no steps: write [[step]] and run = \"...\""});
    }
    for (const auto& [name, value] : provided) {
        plan.variables[name] = value;
    }
    plan.variables[kAllSteps] = StateWord(StepState::Passed);
    CheckSteps(plan, problems);
    return plan;
}

}  // namespace zelline

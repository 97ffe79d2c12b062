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

#include "manual/FileSection.h"
#include "plan/PlanCheck.h"
#include "plan/PlanFormat.h"
#include "plan/TomlText.h"
#include "wire/Error.h"

namespace zelline {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxDepth = 16;  // plans within plans

// One table of a plan's file.
struct Section : manual::FileSection {
    Section(const toml::table& own, PlanTable keys, const std::string& path, std::vector<PlanProblem>& problems)
        : FileSection(own, KeysOf(keys),
                      [&path, &problems](std::size_t line, const std::string& words) {
                          problems.push_back({path, line, words});
                      }),
          file(path) {}

    std::optional<Millis> Time(std::string_view key) const {
        const auto value = Whole(key);
        return value ? std::optional(Millis(*value)) : std::nullopt;
    }

    const std::string& file;
};

// What a step has in common with the defaults of its file.
struct Common {
    Settings settings;
    bool stopOnFailure = true;
};

void ReadCommon(const Section& section, Settings& settings, bool& stopOnFailure) {
    if (const auto timeout = section.Time("timeout")) {
        settings.timeout = timeout;
    }
    if (const auto retries = section.Whole("retries")) {
        settings.retries = static_cast<int>(std::min<std::int64_t>(*retries, 1000));
    }
    settings.pace = section.Time("pace").value_or(settings.pace);
    if (const auto choice = section.Choice("on-failure")) {
        stopOnFailure = *choice == "stop";
    }
}

void ReadExpectation(const Section& step, Expectation& expect, std::vector<PlanProblem>& problems) {
    const toml::table* table = step.Table("expect");
    if (table == nullptr) {
        return;
    }
    const Section rules(*table, PlanTable::Expect, step.file, problems);
    rules.TellOfUnknown();
    if (table->empty()) {
        rules.Problem(*table, "'expect' is empty; without it a step expects success");
    }
    expect.equals = rules.Text("equals");
    expect.matches = rules.Text("matches");
    expect.least = rules.Number("min");
    expect.most = rules.Number("max");
    if (expect.matches && expect.matches->find("${") == std::string::npos) {
        try {
            const std::regex checked(*expect.matches);
        } catch (const std::regex_error&) {
            rules.Problem(*table->get("matches"), "'matches' is no regular expression");
        }
    }
    if (const auto status = rules.Choice("status")) {
        for (const Exit exit : {Exit::Success, Exit::Failure, Exit::NoAnswer}) {
            expect.status = *status == StatusWord(exit) ? exit : expect.status;
        }
    }
}

void ReadWords(const Section& section, Step& step) {
    const toml::node* node = section.Node("run");
    if (node == nullptr) {
        section.Problem(step.line, "the step has no 'run', such as run = \"volume 20\"");
        return;
    }
    step.line = Section::LineOf(*node);
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
        section.Refuse("run");
        return;
    }
    if (step.words.empty()) {
        section.Problem(step.line, "'run' is empty");
    }
}

Step ReadStep(const toml::table& table, const std::string& file, const Common& defaults, bool teardown,
              std::vector<PlanProblem>& problems) {
    const Section section(table, PlanTable::Step, file, problems);
    section.TellOfUnknown();
    Step step;
    step.file = file;
    step.line = section.Line();
    step.settings = defaults.settings;
    step.stopOnFailure = defaults.stopOnFailure;
    step.teardown = teardown;
    ReadWords(section, step);
    if (IsOperatorStep(step)) {
        step.settings.timeout.reset();  // what the defaults say is for the set
    }
    ReadCommon(section, step.settings, step.stopOnFailure);
    ReadExpectation(section, step.expect, problems);
    step.name = section.Text("name").value_or(fmt::format("{}", fmt::join(step.words, " ")));
    step.id = section.Text("id").value_or("");
    step.runIf = section.Text("run-if").value_or("");
    step.save = section.Text("save").value_or("");
    step.wait = section.Time("wait").value_or(Millis(0));
    step.within = section.Time("within");
    step.until = section.Time("until");
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
        plan = ReadTable({table, PlanTable::Plan, file, m_problems});
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
        const toml::array* list = section.Tables(key);
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const toml::table& own = *list->get(i)->as_table();
            const Section entry(own, PlanTable::Include, section.file, m_problems);
            const toml::node* include = entry.Node("include");
            if (include == nullptr) {
                Add(plan, ReadStep(own, section.file, defaults, teardown, m_problems), inherited, "");
                continue;
            }
            for (Step& step : Included(entry, *include)) {
                step.teardown = step.teardown || teardown;
                Add(plan, std::move(step), inherited,
                    fmt::format("{}:{}", section.file, Section::LineOf(*include)));
            }
        }
    }

    // The steps of an included file, which keep its variables to themselves.
    std::vector<Step> Included(const Section& entry, const toml::node& include) {
        entry.TellOfUnknown();
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
        return ReadFile(path, fmt::format("{}:{}", section.file, Section::LineOf(node)));
    }

    Plan ReadTable(const Section& section) {
        section.TellOfUnknown();
        const toml::node* base = section.Node("inherit");
        Plan plan = base == nullptr ? Plan() : ReadOther(section, *base);
        std::set<std::string> inherited;
        for (const Step& step : plan.steps) {
            inherited.insert(step.id);
        }
        const std::string known = plan.name.empty() ? fs::path(section.file).stem().string() : plan.name;
        plan.name = section.Text("name").value_or(known);
        if (plan.name.find("${") != std::string::npos) {
            section.Problem(*section.Node("name"),
                            "a plan has one name for all units: variables are filled in in the names of steps");
        }
        plan.description = section.Text("description").value_or(plan.description);
        ReadVariables(section, plan.variables);
        Common defaults;
        if (const toml::table* table = section.Table("defaults")) {
            const Section values(*table, PlanTable::Defaults, section.file, m_problems);
            values.TellOfUnknown();
            ReadCommon(values, defaults.settings, defaults.stopOnFailure);
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

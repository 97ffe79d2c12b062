#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "Plan.h"

namespace zelline {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxDepth = 16;  // plans within plans

std::size_t LineOf(const toml::node& node) {
    return node.source().begin.line;
}

// Reads one file and what it refers to into a plan.
class Reader {
  public:
    Reader(Variables given, std::vector<PlanProblem>& problems)
        : m_given(std::move(given)), m_problems(problems) {}

    Plan Read(const std::string& path) {
        Plan plan;
        ReadInto(plan, path, 0, "");
        for (const auto& [name, value] : m_given) {
            plan.variables[name] = value;
        }
        std::stable_partition(plan.steps.begin(), plan.steps.end(),
                              [](const Step& step) { return !step.teardown; });
        return plan;
    }

  private:
    struct Defaults {
        Settings settings;
        bool stopOnFailure = true;
    };

    void Problem(const std::string& file, std::size_t line, const std::string& words) {
        m_problems.push_back({file, line, words});
    }

    void Unknown(const std::string& file, const toml::table& table, const std::set<std::string_view>& known,
                 std::string_view where) {
        for (const auto& [key, node] : table) {
            if (known.count(key.str()) == 0) {
                Problem(file, key.source().begin.line,
                        fmt::format("'{}' is unknown {}; there are {}", key.str(), where, fmt::join(known, ", ")));
            }
        }
    }

    template <typename T>
    std::optional<T> Value(const std::string& file, const toml::table& table, std::string_view key,
                           const char* kind) {
        const toml::node* node = table.get(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        const auto value = node->value<T>();
        if (!value) {
            Problem(file, LineOf(*node), fmt::format("'{}' must be {}", key, kind));
        }
        return value;
    }

    std::optional<std::string> Text(const std::string& file, const toml::table& table, std::string_view key) {
        const toml::node* node = table.get(key);
        if (node != nullptr && !node->is_string() && !node->is_value()) {
            Problem(file, LineOf(*node), fmt::format("'{}' must be a text", key));
            return std::nullopt;
        }
        if (node == nullptr) {
            return std::nullopt;
        }
        if (const auto text = node->value<std::string>()) {
            return text;
        }
        if (const auto number = node->value<std::int64_t>(); number && node->is_integer()) {
            return fmt::to_string(*number);
        }
        if (const auto flag = node->value<bool>(); flag && node->is_boolean()) {
            return *flag ? "true" : "false";
        }
        Problem(file, LineOf(*node), fmt::format("'{}' must be a text", key));
        return std::nullopt;
    }

    std::optional<long> Count(const std::string& file, const toml::table& table, std::string_view key,
                              long least) {
        const auto value = Value<std::int64_t>(file, table, key, "a whole number");
        if (value && (*value < least || *value > 86400000)) {
            Problem(file, LineOf(*table.get(key)), fmt::format("'{}' must be from {} to 86400000", key, least));
            return std::nullopt;
        }
        return value ? std::optional(static_cast<long>(*value)) : std::nullopt;
    }

    void ReadCommon(const std::string& file, const toml::table& table, Settings& settings, bool& stopOnFailure) {
        if (const auto timeout = Count(file, table, "timeout", 1)) {
            settings.timeout = Millis(*timeout);
        }
        if (const auto retries = Count(file, table, "retries", 0)) {
            settings.retries = static_cast<int>(std::min(*retries, 1000L));
        }
        if (const auto pace = Count(file, table, "pace", 0)) {
            settings.pace = Millis(*pace);
        }
        if (const auto text = Text(file, table, "on-failure")) {
            if (*text != "stop" && *text != "continue") {
                Problem(file, LineOf(*table.get("on-failure")), "'on-failure' must be \"stop\" or \"continue\"");
            }
            stopOnFailure = *text != "continue";
        }
    }

    void ReadExpectation(const std::string& file, const toml::table& table, Expectation& expect) {
        const toml::node* node = table.get("expect");
        if (node == nullptr) {
            return;
        }
        const toml::table* rules = node->as_table();
        if (rules == nullptr) {
            Problem(file, LineOf(*node), "'expect' must be a table, such as { equals = \"100\" }");
            return;
        }
        Unknown(file, *rules, {"status", "equals", "matches", "min", "max"}, "in 'expect'");
        expect.equals = Text(file, *rules, "equals");
        expect.matches = Text(file, *rules, "matches");
        expect.least = Value<double>(file, *rules, "min", "a number");
        expect.most = Value<double>(file, *rules, "max", "a number");
        if (expect.matches && expect.matches->find("${") == std::string::npos) {
            try {
                const std::regex checked(*expect.matches);
            } catch (const std::regex_error&) {
                Problem(file, LineOf(*rules->get("matches")), "'matches' is no regular expression");
            }
        }
        if (const auto status = Text(file, *rules, "status")) {
            const Exit choices[] = {Exit::Success, Exit::Failure, Exit::NoAnswer};
            const auto choice = std::find_if(std::begin(choices), std::end(choices),
                                             [&](Exit exit) { return *status == StatusWord(exit); });
            if (choice == std::end(choices)) {
                Problem(file, LineOf(*rules->get("status")),
                        "'status' must be \"success\", \"failure\" or \"no answer\"");
            } else {
                expect.status = *choice;
            }
        }
    }

    void ReadWords(const std::string& file, const toml::table& table, Step& step) {
        const toml::node* node = table.get("run");
        if (node == nullptr) {
            Problem(file, step.line, "the step has no 'run', such as run = \"volume 20\"");
            return;
        }
        step.line = LineOf(*node);
        if (const auto* list = node->as_array()) {
            for (const toml::node& word : *list) {
                if (const auto text = word.value<std::string>()) {
                    step.words.push_back(*text);
                } else {
                    Problem(file, LineOf(word), "'run' as a list holds texts only");
                }
            }
        } else if (const auto text = node->value<std::string>()) {
            try {
                step.words = SplitWords(*text);
            } catch (const Error& error) {
                Problem(file, step.line, error.what());
                return;
            }
        } else {
            Problem(file, step.line, "'run' must be a text or a list of texts");
            return;
        }
        if (step.words.empty()) {
            Problem(file, step.line, "'run' is empty");
        }
    }

    Step ReadStep(const std::string& file, const toml::table& table, const Defaults& defaults, bool teardown) {
        Unknown(file, table,
                {"name", "id", "run", "expect", "within", "timeout", "retries", "pace", "on-failure", "run-if",
                 "save", "wait", "include"},
                "in a step");
        Step step;
        step.file = file;
        step.line = LineOf(table);
        step.settings = defaults.settings;
        step.stopOnFailure = defaults.stopOnFailure;
        step.teardown = teardown;
        ReadWords(file, table, step);
        ReadCommon(file, table, step.settings, step.stopOnFailure);
        ReadExpectation(file, table, step.expect);
        step.name = Text(file, table, "name").value_or(fmt::format("{}", fmt::join(step.words, " ")));
        step.id = Text(file, table, "id").value_or("");
        step.runIf = Text(file, table, "run-if").value_or("");
        step.save = Text(file, table, "save").value_or("");
        step.wait = Millis(Count(file, table, "wait", 0).value_or(0));
        if (const auto within = Count(file, table, "within", 1)) {
            step.within = Millis(*within);
        }
        return step;
    }

    // A step of an inherited plan with the same id gives way to the one that inherits.
    void Add(Plan& plan, Step step) {
        if (!step.id.empty()) {
            for (Step& present : plan.steps) {
                if (present.id == step.id) {
                    if (present.file == step.file) {
                        Problem(step.file, step.line,
                                fmt::format("the id '{}' is taken by the step in line {}", step.id, present.line));
                    }
                    present = std::move(step);
                    return;
                }
            }
        }
        plan.steps.push_back(std::move(step));
    }

    void ReadSteps(Plan& plan, const std::string& file, const toml::table& table, const char* key,
                   const Defaults& defaults, std::size_t depth) {
        const toml::node* node = table.get(key);
        if (node == nullptr) {
            return;
        }
        const auto* list = node->as_array();
        if (list == nullptr || !list->is_homogeneous(toml::node_type::table)) {
            Problem(file, LineOf(*node), fmt::format("'{}' must be written as [[{}]]", key, key));
            return;
        }
        for (const toml::node& entry : *list) {
            const toml::table& step = *entry.as_table();
            if (const toml::node* include = step.get("include")) {
                Unknown(file, step, {"include"}, "beside 'include'");
                ReadOther(plan, file, *include, depth);
            } else {
                Add(plan, ReadStep(file, step, defaults, std::string_view(key) == "teardown"));
            }
        }
    }

    void ReadOther(Plan& plan, const std::string& file, const toml::node& node, std::size_t depth) {
        const auto name = node.value<std::string>();
        if (!name) {
            Problem(file, LineOf(node), "the other plan's name must be a text");
            return;
        }
        const std::string path = (fs::path(file).parent_path() / *name).lexically_normal().string();
        if (std::find(m_open.begin(), m_open.end(), path) != m_open.end() || depth >= kMaxDepth) {
            Problem(file, LineOf(node), fmt::format("{} leads back to itself", path));
            return;
        }
        ReadInto(plan, path, depth + 1, fmt::format("{}:{}", file, LineOf(node)));
    }

    void ReadInto(Plan& plan, const std::string& file, std::size_t depth, const std::string& from) {
        std::error_code status;
        if (!fs::is_regular_file(file, status)) {
            Problem(from.empty() ? file : from, 0,
                    from.empty() ? "there is no such plan" : fmt::format("there is no plan {}", file));
            return;
        }
        toml::table table;
        try {
            table = toml::parse_file(file);
        } catch (const toml::parse_error& error) {
            Problem(file, error.source().begin.line, std::string(error.description()));
            return;
        }
        m_open.push_back(fs::path(file).lexically_normal().string());
        ReadTable(plan, file, table, depth);
        m_open.pop_back();
    }

    void ReadTable(Plan& plan, const std::string& file, const toml::table& table, std::size_t depth) {
        Unknown(file, table, {"name", "description", "inherit", "defaults", "vars", "step", "teardown"},
                "in a plan");
        if (const toml::node* base = table.get("inherit")) {
            ReadOther(plan, file, *base, depth);
        }
        plan.name =
            Text(file, table, "name").value_or(plan.name.empty() ? fs::path(file).stem().string() : plan.name);
        plan.description = Text(file, table, "description").value_or(plan.description);
        if (const toml::node* node = table.get("vars")) {
            if (const toml::table* variables = node->as_table()) {
                for (const auto& [key, value] : *variables) {
                    if (const auto text = Text(file, *variables, key.str())) {
                        plan.variables[std::string(key.str())] = *text;
                    }
                }
            } else {
                Problem(file, LineOf(*node), "'vars' must be written as [vars]");
            }
        }
        Defaults defaults;
        if (const toml::node* node = table.get("defaults")) {
            if (const toml::table* values = node->as_table()) {
                Unknown(file, *values, {"timeout", "retries", "pace", "on-failure"}, "in 'defaults'");
                ReadCommon(file, *values, defaults.settings, defaults.stopOnFailure);
            } else {
                Problem(file, LineOf(*node), "'defaults' must be written as [defaults]");
            }
        }
        ReadSteps(plan, file, table, "step", defaults, depth);
        ReadSteps(plan, file, table, "teardown", defaults, depth);
    }

    Variables m_given;
    std::vector<PlanProblem>& m_problems;
    std::vector<std::string> m_open;
};

// Variables that have a value only once the plan runs stand for themselves while it is checked.
void CheckSteps(const Plan& plan, std::vector<PlanProblem>& problems) {
    Variables known = plan.variables;
    std::set<std::string> later;
    for (const Step& step : plan.steps) {
        const auto refersToLater = [&](const std::string& text) {
            return std::any_of(later.begin(), later.end(), [&](const std::string& name) {
                return text.find("${" + name + "}") != std::string::npos ||
                       text.find("${" + name + ":-") != std::string::npos;
            });
        };
        try {
            for (const auto& text :
                 {step.runIf, step.expect.equals.value_or(""), step.expect.matches.value_or("")}) {
                Expand(text, known);
            }
            const bool open = std::any_of(step.words.begin(), step.words.end(), refersToLater);
            if (open) {
                for (const std::string& word : step.words) {
                    Expand(word, known);
                }
                const auto& verbs = Verbs();
                if (std::none_of(verbs.begin(), verbs.end(),
                                 [&](const VerbInfo& v) { return v.name == step.words[0]; })) {
                    throw Error(Exit::Unusable, fmt::format("'{}' is no verb that a plan can use", step.words[0]));
                }
            } else if (!step.words.empty()) {
                const Action action = StepAction(step, known);
                if (action.kind == Action::Kind::Upload) {
                    LoadFile(action.path);
                }
            }
        } catch (const Error& error) {
            problems.push_back({step.file, step.line, error.what()});
        }
        if (!step.save.empty()) {
            known.emplace(step.save, "");
            later.insert(step.save);
        }
        if (!step.id.empty()) {
            known.emplace("step." + step.id, "");
            later.insert("step." + step.id);
        }
    }
}

}  // namespace

Plan LoadPlan(const std::string& path, const Variables& given, std::vector<PlanProblem>& problems) {
    Plan plan = Reader(given, problems).Read(path);
    if (problems.empty() && plan.steps.empty()) {
        problems.push_back({path, 0, "the plan has no steps: write [[step]] and run = \"...\""});
    }
    plan.variables[kAllSteps] = StateWord(StepState::Passed);
    CheckSteps(plan, problems);
    return plan;
}

std::string Expand(const std::string& text, const Variables& variables) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        if (text.compare(at, 2, "${") != 0) {
            result.push_back(text[at++]);
            continue;
        }
        const auto end = text.find('}', at);
        if (end == std::string::npos) {
            throw Error(Exit::Unusable, fmt::format("the brace of a variable is not closed in: {}", text));
        }
        std::string name = text.substr(at + 2, end - at - 2);
        std::optional<std::string> fallback;
        if (const auto split = name.find(":-"); split != std::string::npos) {
            fallback = name.substr(split + 2);
            name.resize(split);
        }
        const auto variable = variables.find(name);
        const char* environment = name.rfind("env.", 0) == 0 ? std::getenv(name.c_str() + 4) : nullptr;
        if (variable != variables.end()) {
            result += variable->second;
        } else if (environment != nullptr) {
            result += environment;
        } else if (fallback) {
            result += *fallback;
        } else {
            throw Error(Exit::Unusable,
                        fmt::format("the variable '{}' is not set: give it with --set {}=VALUE, or under "
                                    "[vars] in the plan",
                                    name, name));
        }
        at = end + 1;
    }
    return result;
}

bool Holds(const std::string& condition, const Variables& variables) {
    const auto trimmed = [&](std::string_view part) {
        const auto first = part.find_first_not_of(" \"'");
        const auto last = part.find_last_not_of(" \"'");
        return Expand(
            first == std::string_view::npos ? std::string() : std::string(part.substr(first, last - first + 1)),
            variables);
    };
    const std::string_view text = condition;
    for (const std::string_view sign : {"==", "!="}) {
        if (const auto at = text.find(sign); at != std::string_view::npos) {
            return (trimmed(text.substr(0, at)) == trimmed(text.substr(at + 2))) == (sign == "==");
        }
    }
    const std::string value = trimmed(text);
    return !value.empty() && value != "0" && value != "no" && value != "false";
}

Action StepAction(const Step& step, const Variables& variables) {
    Words words;
    for (const std::string& word : step.words) {
        words.push_back(Expand(word, variables));
    }
    Action action = MakeAction(words);
    if (action.kind == Action::Kind::Upload) {
        action.path = (fs::path(step.file).parent_path() / action.path).string();
    }
    return action;
}

}  // namespace zelline

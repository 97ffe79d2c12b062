// The verbs of `simset ctl` as rows: verb, arguments, help, handler. What the user typed is matched against the
// rows, and usage and help text are made from them.
#ifndef SIMSET_CONTROL_VERBS_H
#define SIMSET_CONTROL_VERBS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simset/base/Errors.h"

namespace simset {

using Words = std::vector<std::string>;

// Who asked for a verb.
struct Caller {
    std::string folder;  // the working folder
    // Hands text over at once, before the verb's own answer. False when the caller has gone; "" only asks that.
    std::function<bool(const std::string& text)> print = [](const std::string&) { return true; };

    // The path of a file as the caller names it.
    std::string File(const std::string& name) const;
};

// When a set carries a verb out.
enum class When : std::uint8_t { Always, On };

// One form of a verb. `arguments` is what the user sees and what is matched: a word with a capital stands for any
// text ("KEY", "on|off|MS"), others for themselves or for one of several ("write|check"); "[--times N]" and
// "[--read-only]" may be left out and follow the others in any order.
struct VerbForm {
    using Values = std::map<std::string, std::vector<std::string>>;

    const char* verb;
    const char* arguments;
    const char* help;
    bool changes = true;  // the set; one that only looks is not told in the trace
    When when = When::Always;
    // What its words with a capital may be, as far as there are names; for completion.
    Values (*values)() = nullptr;
};

// What the user typed for the words of a row that are not fixed.
class Arguments {
  public:
    Caller caller;

    const std::string& operator[](std::size_t index) const { return m_texts.at(index); }

    bool Has(const std::string& option) const { return m_options.count(option) != 0; }
    bool HasOptions() const { return !m_options.empty(); }
    // The text behind an option; nothing when it was left out.
    std::optional<std::string> Option(const std::string& option) const;

  private:
    friend std::optional<Arguments> Match(const VerbForm& form, const Words& words);

    std::vector<std::string> m_texts;
    std::map<std::string, std::string> m_options;
};

// Nothing when `words`, the verb first, are not of that form.
std::optional<Arguments> Match(const VerbForm& form, const Words& words);

// The first form that `words` match; null when there is none.
const VerbForm* FindForm(const std::vector<VerbForm>& forms, const Words& words);

// Says how the verb is used, or which verbs sound like it when no form has it.
[[noreturn]] void RefuseVerb(const std::vector<VerbForm>& forms, const Words& words);

// Says that there is no `what` of this name, and which of `names` are near.
[[noreturn]] void RefuseName(const std::string& what, const std::string& name,
                             const std::vector<std::string>& names);

// The rows for `simset ctl --help`; verbs that want a set that is on are marked with a star.
std::string HelpText(const std::vector<VerbForm>& forms);

// A form with what carries it out on its owner, a member of it or a function, and returns the text to print.
template <typename Owner>
struct Verb : VerbForm {
    std::function<std::string(Owner& owner, const Arguments& arguments)> run;
};

template <typename Owner>
std::vector<VerbForm> FormsOf(const std::vector<Verb<Owner>>& verbs) {
    return {verbs.begin(), verbs.end()};
}

// Carries out the first row that `words` match. Throws ControlError when none does, and what the row's function
// throws.
template <typename Owner>
std::string RunVerb(const std::vector<Verb<Owner>>& verbs, Owner& owner, const Words& words,
                    const Caller& caller = {}) {
    for (const Verb<Owner>& verb : verbs) {
        if (auto arguments = Match(verb, words)) {
            arguments->caller = caller;
            return verb.run(owner, *arguments);
        }
    }
    RefuseVerb(FormsOf(verbs), words);
}

}  // namespace simset

#endif

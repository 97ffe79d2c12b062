// The verbs that ask the set for something, as the command line and station plans write them, and those of plans
// that ask the operator.
#ifndef ZELLINE_VERBS_VERBS_H
#define ZELLINE_VERBS_VERBS_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "link/Files.h"
#include "wire/Request.h"

namespace zelline {

using Words = std::vector<std::string>;

// In plans, the word that stands for the unit's own key file or address.
constexpr char kFromStock[] = "@stock";
constexpr char kAddressStock[] = "mac";  // the type of items that are addresses; all others are key types

// What a verb makes the line tool do.
struct Action {
    enum class Kind {
        Ask,     // one request, one answer
        Leave,   // a request that the set never answers
        Upload,  // a file in chunks
        // Of a station's operator, in plans:
        Question,  // a text is the answer
        Confirm,   // yes or no is
        Press      // the set reports the key that the operator was told to press
    };
    Kind kind = Kind::Ask;
    std::string verb;                        // as written, words joined by blanks
    Request request;                         // Ask, Leave
    const zel::KeyFileInfo* type = nullptr;  // Upload
    std::string path;                        // Upload
    std::string stock;                       // type of the item that it takes from the stock; empty for none
    std::string content;                     // Upload: of that item, in the place of a file's
    std::string question;                    // Question, Confirm: what is asked
    std::string key;                         // Press: as the set names it
    std::string doubt;                       // why any set refuses it, empty when one may not
};

// One way to write a verb. Each word of `words` stands for one behind the verb: words in small letters for
// themselves, "on|off" for one of the two, a word in capitals for what the user writes, and a last one in brackets
// for any number of words. `make` is handed the words of all but those that stand for themselves.
struct Form {
    std::string_view words;
    std::function<Action(const Words& chosen)> make;
};

// The names that stand in one column of a table.
template <typename Rows, typename Column>
std::vector<std::string_view> NamesIn(const Rows& rows, Column column) {
    std::vector<std::string_view> names;
    for (const auto& row : rows) {
        names.push_back(row.*column);
    }
    return names;
}

struct VerbInfo {
    std::string_view name;
    std::vector<Form> forms;
    std::string_view help;                     // one line
    std::string more;                          // what a user should know beyond that, with an example
    std::vector<std::string_view> names = {};  // what NAME in its forms may be
};

// All of them, in the order of the help page.
const std::vector<VerbInfo>& Verbs();

// The verb of that name, or null.
const VerbInfo* FindVerb(std::string_view name);

// Those that ask the operator: a plan can use them, the command line cannot.
const std::vector<VerbInfo>& OperatorVerbs();

// The verb of that name that a plan can use, or null.
const VerbInfo* FindPlanVerb(std::string_view name);

bool IsForOperator(const Action& action);

// Puts the item that was reserved in the place of the word that stood for it; `content` is a key's bytes, or the
// address.
void TakeItem(Action& action, const std::string& content);

// The action of a whole command, verb first. Throws Error with Exit::Unusable for anything that the set could
// never be asked that way; what it can be asked and is sure to refuse has a doubt.
Action MakeAction(const Words& words);

}  // namespace zelline

#endif

// What there is to tell of a command-line program: its commands, options and words.
#ifndef ZELFAC_MANUAL_PROGRAM_H
#define ZELFAC_MANUAL_PROGRAM_H

#include <map>
#include <string>
#include <vector>

namespace manual {

// What may stand for a word in capitals, by that word. One that is not in it stands for any text, but for those
// that name files: FILE and PATH, DIR and FOLDER, and names with an ending such as PLAN.toml.
using Values = std::map<std::string, std::vector<std::string>>;

struct Option {
    std::string name;   // several with commas between: "-h,--help"
    std::string value;  // the name of its value, empty for a switch
    std::string help;   // may be empty
    bool repeats = false;
};

// One command. Each word of a form stands for one behind the name: in small letters for itself, "on|off" for one
// of several, in capitals for what the user writes; one in brackets or before "..." for any number of words.
struct Command {
    std::string name;  // one word or several
    std::vector<std::string> forms;
    std::vector<Option> options;
    std::string help;  // one sentence without its full stop
    std::string more;  // lines that begin with two blanks stand as they are
    Values values;     // beside the program's
};

// Commands that belong together.
struct Group {
    std::string title;
    std::string prefix;           // the word that stands before each, empty for none
    std::vector<Option> options;  // between that word and the command, or behind it
    std::vector<Command> commands;
};

struct Section {
    std::string title;
    std::string text;  // as Command::more
};

struct Program {
    std::string name;
    std::string version;
    std::string summary;                // one line
    std::vector<std::string> synopsis;  // what stands behind the name
    std::vector<Option> options;        // of every command
    std::vector<Group> groups;
    std::vector<Section> sections;  // further ones of the page
    Values values;
};

}  // namespace manual

#endif

// What stands on the command line beside the verb and its words.
#ifndef ZELLINE_CLI_OPTIONS_H
#define ZELLINE_CLI_OPTIONS_H

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "verbs/Perform.h"

namespace zelline {

// What the command line says; each option is described by its row in Options.cpp.
struct Options {
    std::string port;
    std::string trace;
    bool traceKeyBytes = false;
    bool json = false;
    long timeout = 0;  // ms; 0: not given
    long retries = -1;
    long pace = 0;  // ms
    std::string store;
    bool noConnect = false;
    Words words;  // behind the verb
    // Of single verbs:
    long listenFor = 0;  // ms; 0: without end
    bool markdown = false;
    bool lua = false;
    bool dryRun = false;
    bool oneByOne = false;
    std::vector<std::string> variables;  // NAME=VALUE
    std::vector<std::string> reports;
    std::vector<std::string> answers;  // STEP=TEXT
    std::string unit;
    std::string station;
    std::string ledger;
    std::string since;
    long last = 20;

    // What they say about every verb that asks the set.
    Settings ForVerbs() const;
};

// One option: how it is read, and how it is told of.
struct OptionInfo {
    std::string_view name;
    std::string_view value;  // the name of its value, empty for a switch
    std::variant<bool Options::*, long Options::*, std::string Options::*, std::vector<std::string> Options::*>
        into;
    std::string_view help;
    long least = 0;
    long most = 0;
    const char* environment = nullptr;  // the variable that stands in for it
};

// Those that stand before or behind any verb, in the order of the help page.
const std::vector<OptionInfo>& CommonOptions();

// Those of single verbs.
extern const OptionInfo kListenFor;
extern const OptionInfo kMarkdown;
extern const OptionInfo kLua;
extern const OptionInfo kDryRun;
extern const OptionInfo kOneByOne;
extern const OptionInfo kReport;
extern const OptionInfo kSet;
extern const OptionInfo kAnswer;
extern const OptionInfo kUnit;
extern const OptionInfo kLast;
extern const OptionInfo kSince;
extern const OptionInfo kStation;
extern const OptionInfo kLedgerFile;

}  // namespace zelline

#endif

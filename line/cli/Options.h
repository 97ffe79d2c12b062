// The options: how each is read from the command line, and how it is told of.
#ifndef ZELLINE_CLI_OPTIONS_H
#define ZELLINE_CLI_OPTIONS_H

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/Session.h"

namespace zelline {

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

}  // namespace zelline

#endif

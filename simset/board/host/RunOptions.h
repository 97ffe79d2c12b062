// What `simset run` is asked for.
#ifndef SIMSET_HOST_RUNOPTIONS_H
#define SIMSET_HOST_RUNOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simset/board/line/LineModel.h"
#include "simset/board/panel/Panel.h"
#include "simset/view/Gate.h"

namespace CLI {
class App;
}

namespace simset {

// What `simset run` was asked for.
struct RunOptions {
    std::string state;                // the state folder
    std::optional<std::string> mode;  // value for the run-mode variable: "1", "2", "3" or "" (none)
    std::vector<std::string> sticks;  // folders whose copies are plugged as sticks; empty: the sticks of last time
    std::optional<PanelSize> panel = PanelSize{};  // nothing: no panel
    bool ownDisplay = false;                       // the panel is a window on the user's own display
    LineSettings line;
    std::uint64_t powerCutAfter = 0;       // the step from power-on at which the power fails; 0: it does not
    std::string scenario;                  // file of a scenario; empty: none
    bool strict = false;                   // a broken rule decides the exit status
    std::optional<ViewAddress> view;       // where the page in the browser is; nothing: there is none
    std::optional<std::string> viewToken;  // empty: none; nothing: a random one
    std::string application;               // file to run; empty: the one beside simset
    std::string emulator;  // program that runs it; empty: one of QEMU's when it is for another processor
    std::string sysroot;   // root with the libraries of an emulated application
};

// Adds the options of `simset run` to a command; parsing it fills `options`, which must outlive it.
void AddRunOptions(CLI::App& command, RunOptions& options);

}  // namespace simset

#endif

#ifndef SIMSET_BOARD_RUN_OPTIONS_H
#define SIMSET_BOARD_RUN_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simset/board/LineModel.h"

namespace CLI {
class App;
}

namespace simset {

/// The panel's size in pixels.
struct PanelSize {
    unsigned width = 1920;
    unsigned height = 1080;
};

/// What `simset run` was asked for.
struct RunOptions {
    std::string state;                ///< the state folder
    std::optional<std::string> mode;  ///< value for the run-mode variable: "1", "2", "3" or "" (none)
    std::vector<std::string>
        sticks;  ///< folders whose copies are plugged as sticks; empty: the sticks of last time
    std::optional<PanelSize> panel = PanelSize{};  ///< nothing: no panel
    bool ownDisplay = false;                       ///< the panel is a window on the user's own display
    LineSettings line;
    std::uint64_t powerCutAfter = 0;  ///< the step from power-on at which the power fails; 0: it does not
    std::string application;          ///< file to run; empty: the one beside simset
};

/// @return the size that a text like "1920x1080" names; nothing for any other text. Both sides are 16..16384.
std::optional<PanelSize> ParsePanelSize(const std::string& text);

/// Adds the options of `simset run` to a command; parsing it fills `options`, which must outlive it.
void AddRunOptions(CLI::App& command, RunOptions& options);

/// Applies the arguments of the verb `line` to the settings. Throws std::invalid_argument with a sentence and
/// leaves the settings as they were when one is unusable.
void ApplyLineArguments(const std::vector<std::string>& arguments, LineSettings& settings);

}  // namespace simset

#endif  // SIMSET_BOARD_RUN_OPTIONS_H

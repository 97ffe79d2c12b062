#include "simset/board/RunOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>

namespace simset {
namespace {

constexpr unsigned kMinSide = 16;
constexpr unsigned kMaxSide = 16384;  // what DirectFB and the X server both carry
constexpr unsigned kMaxBaud = 12'000'000;
constexpr unsigned kMaxDelayMs = 60'000;

std::optional<unsigned> ParseSide(const std::string& text) {
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < kMinSide || value > kMaxSide) {
        return std::nullopt;
    }
    return value;
}

CLI::Option* AddBaud(CLI::App& command, unsigned& baud) {
    return command.add_option("--baud", baud, "Bits per second of the serial line; 0: as fast as both ends go")
        ->check(CLI::Range(0U, kMaxBaud));
}

}  // namespace

std::optional<PanelSize> ParsePanelSize(const std::string& text) {
    const std::size_t cross = text.find('x');
    if (cross == std::string::npos) {
        return std::nullopt;
    }
    const auto width = ParseSide(text.substr(0, cross));
    const auto height = ParseSide(text.substr(cross + 1));
    if (!width || !height) {
        return std::nullopt;
    }
    return PanelSize{*width, *height};
}

void AddRunOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("--state", options.state, "Folder that holds the set; made as a factory-new set when missing")
        ->required()
        ->type_name("DIR");
    command
        .add_option_function<std::string>(
            "--mode", [&options](const std::string& mode) { options.mode = mode == "none" ? "" : mode; },
            "Set \"ZelFacMode\" before power-on: 1 factory, 2 aging, 3 USB update, none")
        ->check(CLI::IsMember({"1", "2", "3", "none"}))
        ->type_name("MODE");
    command
        .add_option(
            "--usb", options.sticks,
            "Plug a stick with a copy of this folder (may be repeated); without it the sticks of last time "
            "stay plugged")
        ->check(CLI::ExistingDirectory)
        ->type_name("DIR")
        ->expected(1)
        ->take_all();
    command
        .add_option_function<std::string>(
            "--panel",
            [&options](const std::string& text) {
                options.panel = text == "none" ? std::nullopt : ParsePanelSize(text);
            },
            "Size of the panel in pixels, or none (default 1920x1080)")
        ->check([](const std::string& text) {
            return text == "none" || ParsePanelSize(text)
                       ? std::string()
                       : "'" + text + "' is neither a size like 1920x1080 nor none";
        })
        ->type_name("WxH");
    command
        .add_option_function<std::string>(
            "--display", [&options](const std::string& text) { options.ownDisplay = text == "own"; },
            "virtual: an X server of its own (default); own: a window on your display")
        ->check(CLI::IsMember({"virtual", "own"}))
        ->type_name("WHICH");
    AddBaud(command, options.line.baud)->type_name("N");
    command
        .add_option(
            "--power-cut-after", options.powerCutAfter,
            "Cut the power at the Nth step from power-on: shell command (not begun), mount, write (done) or "
            "sync (nothing saved)")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    command
        .add_option("--app", options.application, "Application to run (default: ZelFacTest_Eu4K beside simset)")
        ->type_name("FILE");
}

void ApplyLineArguments(const std::vector<std::string>& arguments, LineSettings& settings) {
    LineSettings wanted = settings;
    CLI::App command("line");
    command.set_help_flag();
    AddBaud(command, wanted.baud);
    command.add_option("--drop", wanted.drop)->check(CLI::Range(0.0, 1.0));
    command.add_option("--flip", wanted.flip)->check(CLI::Range(0.0, 1.0));
    command.add_option("--delay", wanted.delayMs)->check(CLI::Range(0U, kMaxDelayMs));
    command.add_option("--seed", wanted.seed);
    try {
        command.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        throw std::invalid_argument(error.what());
    }
    settings = wanted;
}

}  // namespace simset

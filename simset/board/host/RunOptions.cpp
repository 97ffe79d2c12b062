#include "simset/board/host/RunOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace simset {
namespace {

constexpr const char* kNoToken = "none";

void AddViewOptions(CLI::App& command, RunOptions& options) {
    CLI::Option* view = command
                            .add_option_function<std::string>(
                                "--view",
                                [&options](const std::string& text) {
                                    options.view = text.empty() ? ViewAddress{} : ParseViewAddress(text);
                                },
                                "Show the set in the browser: a page at this address (default 127.0.0.1 and a "
                                "free port); the line of "
                                "JSON has its URL")
                            ->expected(0, 1)
                            ->check([](const std::string& text) {
                                return text.empty() || ParseViewAddress(text)
                                           ? std::string()
                                           : "'" + text + "' is no address and port like 127.0.0.1:8080";
                            })
                            ->type_name("ADDRESS:PORT");
    command
        .add_option_function<std::string>(
            "--view-token",
            [&options](const std::string& text) { options.viewToken = text == kNoToken ? "" : text; },
            "What the page's URL ends with, so that nobody else uses it (default: random); none only on this PC")
        ->check([](const std::string& text) {
            return IsToken(text) ? std::string() : "'" + text + "' is no token: 1 to 64 letters, digits, - and _";
        })
        ->needs(view)
        ->type_name("TEXT");
    command.parse_complete_callback([&options] {
        if (options.view && options.viewToken == "" && !options.view->IsLoopback()) {
            throw CLI::ValidationError("--view-token", "without a token everybody who reaches " +
                                                           options.view->Text() + " could use the set");
        }
    });
}

}  // namespace

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
                       : "'" + text + "' is neither a size like 1920x1080, each side 48 to 4096, nor none";
        })
        ->type_name("WxH");
    command
        .add_option_function<std::string>(
            "--display", [&options](const std::string& text) { options.ownDisplay = text == "own"; },
            "virtual: an X server of its own (default); own: a window on your display")
        ->check(CLI::IsMember({"virtual", "own"}))
        ->type_name("WHICH");
    command
        .add_option("--baud", options.line.baud, "Bits per second of the serial line; 0: as fast as both ends go")
        ->check(CLI::Range(0U, kMaxBaud))
        ->type_name("N");
    command
        .add_option(
            "--power-cut-after", options.powerCutAfter,
            "Cut the power at the Nth step from power-on: shell command (not begun), mount, write (done) or "
            "sync (nothing saved); 0: not at all")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    command
        .add_option(
            "--scenario", options.scenario,
            "Do to the set what this file says, when it says; ends with 8 when all went well but that did not "
            "come")
        ->type_name("FILE");
    command.add_flag("--strict", options.strict,
                     "End with 7 when all went well but the application broke a rule (see ctl violations)");
    AddViewOptions(command, options);
    command
        .add_option("--app", options.application, "Application to run (default: ZelFacTest_Eu4K beside simset)")
        ->type_name("FILE");
    command
        .add_option("--sysroot", options.sysroot,
                    "Root that holds lib and usr/lib for an application of another processor")
        ->check(CLI::ExistingDirectory)
        ->type_name("DIR");
    command
        .add_option("--emulator", options.emulator,
                    "Program that runs that application (default: QEMU's for its processor, from PATH)")
        ->check(CLI::ExistingFile)
        ->type_name("FILE");
}

}  // namespace simset

#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli/Cli.h"
#include "port/Interrupt.h"
#include "port/Port.h"

int main(int argc, char** argv) {
    const zelline::Interrupt interrupt;
    const zelline::Console console{std::cout, std::cerr, ::isatty(STDERR_FILENO) != 0, false};
    return zelline::RunCli(std::vector<std::string>(argv + 1, argv + argc), console, [&](const std::string& path) {
        return std::make_unique<zelline::Port>(path, interrupt.Descriptor());
    });
}

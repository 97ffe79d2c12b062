#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli/Cli.h"
#include "port/Interrupt.h"
#include "port/Port.h"

int main(int argc, char** argv) {
    const zelline::Stop stop;
    const zelline::Interrupt interrupt(stop);
    const zelline::Console console{std::cout, std::cerr, ::isatty(STDERR_FILENO) != 0, false};
    const auto open = [](const std::string& path, const zelline::Stop& ends) {
        return std::make_unique<zelline::Port>(path, ends.Descriptor());
    };
    return zelline::RunCli(std::vector<std::string>(argv + 1, argv + argc), console, open, stop);
}

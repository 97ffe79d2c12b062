// The command line with a simulated set behind it.
#ifndef ZELLINE_TESTS_CLIFIXTURE_H
#define ZELLINE_TESTS_CLIFIXTURE_H

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/TempFolder.h"
#include "cli/Cli.h"
#include "line/BorrowedLine.h"
#include "line/SimulatedReceiver.h"

namespace zelline {

class CliFixture : public testing::Test {
  protected:
    int Run(const std::vector<std::string>& arguments) {
        m_out.str("");
        m_err.str("");
        const Console console{m_out, m_err, m_isTerminal, false};
        const auto open = [this](const std::string& path, const Stop&) -> std::unique_ptr<Transport> {
            ++m_opened;
            if (path != "port") {
                throw Error(Exit::Port, "port " + path + " is taken by picocom (process 1)");
            }
            return std::make_unique<BorrowedLine>(m_set, m_stops);
        };
        return RunCli(arguments, console, open, Stop());
    }
    int Ask(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--port", "port"});
        return Run(arguments);
    }
    Json Last() const {
        Json object;
        std::istringstream lines(m_out.str());
        for (std::string line; std::getline(lines, line);) {
            object = Json::parse(line);
            EXPECT_EQ(object["v"], 1) << line;
        }
        return object;
    }

    SimulatedReceiver m_set;
    tests::TempFolder m_folder;
    std::ostringstream m_out;
    std::ostringstream m_err;
    int m_opened = 0;
    bool m_isTerminal = false;
    std::deque<Millis> m_stops;
};

}  // namespace zelline

#endif

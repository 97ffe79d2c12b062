// What a verb works with: the console, the options, and the port when it is open.
#ifndef ZELLINE_TOOLS_SESSION_H
#define ZELLINE_TOOLS_SESSION_H

#include <memory>
#include <string>
#include <vector>

#include "report/Console.h"
#include "trace/Trace.h"
#include "verbs/Perform.h"

namespace zelline {

// What the command line says; each option has a row in a table of cli/.
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

// What a verb works with.
struct Context {
    const Console& console;
    const Options& options;
    const PortOpener& open;
    const Stop& stop;  // of the whole tool
};

// The opened port, with its trace where one is wanted.
struct Session {
    // `observer` hears of everything on the line too; may be null.
    explicit Session(const Context& context, LineObserver* observer = nullptr);

    std::unique_ptr<Recording> trace;
    std::unique_ptr<Transport> transport;
    std::unique_ptr<Link> link;
};

}  // namespace zelline

#endif

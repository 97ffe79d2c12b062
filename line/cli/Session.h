// What a verb works with: the console, the options, and the port when it is open.
#ifndef ZELLINE_CLI_SESSION_H
#define ZELLINE_CLI_SESSION_H

#include <memory>
#include <string>

#include "cli/Options.h"
#include "report/Console.h"
#include "trace/Trace.h"

namespace zelline {

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

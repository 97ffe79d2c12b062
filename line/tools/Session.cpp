#include "tools/Session.h"

#include "trace/Capture.h"
#include "wire/Error.h"

namespace zelline {

Settings Options::ForVerbs() const {
    Settings settings;
    if (timeout > 0) {
        settings.timeout = Millis(timeout);
    }
    if (retries >= 0) {
        settings.retries = static_cast<int>(retries);
    }
    settings.connect = !noConnect;
    settings.pace = Millis(pace);
    return settings;
}

Session::Session(const Context& context, LineObserver* observer) {
    const Options& options = context.options;
    if (options.port.empty()) {
        Fail(Exit::Unusable, "which port? Write --port PATH or set ZELLINE_PORT; 'zelline ports' lists them");
    }
    std::vector<LineObserver*> observers;
    if (!options.trace.empty()) {
        trace = MakeRecording(options.trace, options.traceKeyBytes, options.port);
        observers.push_back(trace.get());
    }
    if (observer != nullptr) {
        observers.push_back(observer);
    }
    transport = context.open(options.port, context.stop);
    if (trace) {
        trace->Begin();
    }
    link = std::make_unique<Link>(*transport, observers);
}

}  // namespace zelline

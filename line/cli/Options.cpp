#include "cli/Options.h"

namespace zelline {

const std::vector<OptionInfo>& CommonOptions() {
    static const std::vector<OptionInfo> kOptions = {
        {"--port", "PATH", &Options::port, "the serial port; without it the environment's ZELLINE_PORT", 0, 0,
         "ZELLINE_PORT"},
        {"--timeout", "MS", &Options::timeout,
         "how long to wait for an answer; each command has a fitting one of its own", 1, 3600000},
        {"--retries", "N", &Options::retries, "how often to try again without an answer (usually 1, for files 3)",
         0, 1000},
        {"--json", "", &Options::json, "JSON Lines on standard output, for scripts"},
        {"--trace", "FILE", &Options::trace,
         "record every frame both ways, key bytes left out; a .pcapng is a capture"},
        {"--trace-key-bytes", "", &Options::traceKeyBytes,
         "write the bytes of key files into the trace too, in clear"},
        {"--store", "STORE", &Options::store,
         "of stock and records: a file or postgresql://...; else $ZELLINE_STORE", 0, 0, "ZELLINE_STORE"},
        {"--no-connect", "", &Options::noConnect, "do not put a connect in front of the first command"},
        {"--pace", "MS", &Options::pace, "key and config: pause behind each chunk (0: all in one burst)", 0,
         60000},
    };
    return kOptions;
}

}  // namespace zelline

// The ctl verbs of the middleware: words in, text or an error in words out.
#ifndef SIMSET_CORE_CONTROL_H
#define SIMSET_CORE_CONTROL_H

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simset/core/AppManager.h"
#include "simset/core/Behaviours.h"
#include "simset/core/Faults.h"
#include "simset/core/KeyStore.h"
#include "simset/core/Model.h"
#include "simset/core/Records.h"
#include "simset/core/TraceLog.h"

namespace simset {

// What the user typed cannot be done; what() says what to do.
class ControlError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// To be called under the middleware's lock.
class Control {
  public:
    struct Parts {
        Model& model;
        Flash& flash;
        Metadata& metadata;
        KeyStore& keys;
        Faults& faults;
        Behaviours& behaviours;
        TraceLog& trace;
        std::function<void(std::int32_t code)> press;  // delivers a key; throws ControlError
    };

    using Words = std::vector<std::string>;

    explicit Control(Parts parts) : m_parts(std::move(parts)) {}

    static bool HasVerb(const std::string& verb);

    // The text to print. Throws ControlError or StateError.
    std::string Run(const Words& words);

  private:
    std::string RunModel(const Words& words);
    std::string RunFlash(const Words& words);
    std::string RunMeta(const Words& words);
    std::string RunKeys(const Words& words);
    std::string RunApm(const Words& words);
    std::string Behave(const Words& words);
    std::string Press(const Words& words);
    std::string Trace(const Words& words);
    std::string Fail(const std::string& area, const std::string& name, const std::string& step, const Words& rest,
                     const std::string& usage);

    Parts m_parts;
};

}  // namespace simset

#endif

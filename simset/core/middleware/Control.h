// The ctl verbs of the middleware: words in, text or an error in words out.
#ifndef SIMSET_MIDDLEWARE_CONTROL_H
#define SIMSET_MIDDLEWARE_CONTROL_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "simset/control/Verbs.h"
#include "simset/core/middleware/DiskSizes.h"
#include "simset/core/rules/Violations.h"
#include "simset/core/services/AppManager.h"
#include "simset/core/services/KeyStore.h"
#include "simset/core/services/Model.h"
#include "simset/core/services/Records.h"

namespace simset {

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
        const Violations& violations;
        AppManager& manager;
        DiskSizes& diskSizes;
        std::function<void(std::uint64_t delivery)> await;  // until the application took it; throws ControlError
        std::function<void(bool serving)> serve;            // whether the services are there
        std::function<bool()> powered;
        std::function<nlohmann::ordered_json()> disks;  // null while the set is off
        std::function<void(const std::string& path, std::uint64_t size)> resizeDisk;
    };

    explicit Control(Parts parts) : m_parts(std::move(parts)) {}

    static std::vector<VerbForm> Forms();

    // The text to print. Throws ControlError or StateError.
    std::string Run(const Words& words) { return RunVerb(Verbs(), m_parts, words); }

  private:
    static const std::vector<Verb<Parts>>& Verbs();

    Parts m_parts;
};

}  // namespace simset

#endif

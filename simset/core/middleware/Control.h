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

    static std::vector<VerbForm> Forms() { return FormsOf(Verbs()); }

    // The text to print. Throws ControlError or StateError.
    std::string Run(const Words& words) { return RunVerb(Verbs(), *this, words); }

  private:
    static const std::vector<Verb<Control>>& Verbs();

    std::string GetModel(const Arguments& arguments);
    std::string ListModel(const Arguments& arguments);
    std::string SetModel(const Arguments& arguments);
    std::string FailModel(const Arguments& arguments);
    std::string GetFlash(const Arguments& arguments);
    std::string ListFlash(const Arguments& arguments);
    std::string SetFlash(const Arguments& arguments);
    std::string FailFlash(const Arguments& arguments);
    std::string GetMeta(const Arguments& arguments);
    std::string SetMeta(const Arguments& arguments);
    std::string FailMeta(const Arguments& arguments);
    std::string ListKeys(const Arguments& arguments);
    std::string ClearKeys(const Arguments& arguments);
    std::string FailKeys(const Arguments& arguments);
    std::string FailApm(const Arguments& arguments);
    std::string FailShell(const Arguments& arguments);
    std::string FailMount(const Arguments& arguments);
    std::string FailSync(const Arguments& arguments);
    template <const char* Area>
    std::string ListFaults(const Arguments& arguments);
    std::string ListDisks(const Arguments& arguments);
    std::string ChangeDisk(const Arguments& arguments);
    std::string ListBehaviours(const Arguments& arguments);
    std::string Behave(const Arguments& arguments);
    std::string Press(const Arguments& arguments);
    std::string TellModel(const Arguments& arguments);
    std::string SwitchServices(const Arguments& arguments);
    std::string AskApplication(const Arguments& arguments);
    std::string ListViolations(const Arguments& arguments);
    std::string Fail(const char* area, const std::string& name, const std::string& step, const std::string& status,
                     const Arguments& arguments);

    Parts m_parts;
};

}  // namespace simset

#endif

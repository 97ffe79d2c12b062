// The one road to a model key: start the business proxy, get the interface, connect, operate, settle, disconnect.
#ifndef ZELFAC_MODEL_MODELCYCLE_H
#define ZELFAC_MODEL_MODELCYCLE_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <string>

#include "frame/Process.h"
#include "log/LogPrint.h"
#include "os/Delay.h"
#include "vumodelapi/RootInterface.h"

namespace zel {

constexpr std::uint32_t kSettleMicroseconds = 50000;  // what the set needs after every write

// Who calls, for the log lines: the operation's name and the source line of the call.
struct CallSite {
    const char* operation;
    int line;
};

// A reference to the root interface for the length of one operation. Releasing it drops the connections that
// were not disconnected; observers must therefore be declared before it.
class ModelSession {
  public:
    // Starts the proxy and gets the interface, afresh every time. Logs the first failure; Root() is then null.
    explicit ModelSession(const CallSite& site);

    vumodelapi::RootInterface* Root() const { return m_root; }

  private:
    boost::shared_ptr<frame::Interface> m_interface;
    vumodelapi::RootInterface* m_root = nullptr;
};

// Takes one element for each slot that is not null, in slot order: a copy of the text at the slot's own position,
// 0 to 4. A null slot leaves a gap, the later ones are not moved up.
vumodelapi::ArgumentList BuildArguments(const char* slot0, const char* slot1 = nullptr,
                                        const char* slot2 = nullptr, const char* slot3 = nullptr,
                                        const char* slot4 = nullptr);

// What the failure lines of one operation begin with; ", ret = %d\n" with the status follows.
struct CycleTexts {
    const char* connectFailed;  // null: the interface-reference text with the operation's name and line
    const char* operateFailed;  // likewise
};

// Source lines of the three calls. The last two are read only where their text is null.
struct CycleLines {
    int interface;
    int connect;
    int operate;
};

// Logs `text` with the status, or "getInterfaceReference failed, %s %d ret = %d\n" when there is none.
void LogCycleFailure(const char* text, const char* operation, int line, std::int32_t status);

// Runs the cycle on `key` with `observer`: `operate(handle)` returns a status, and `settle()` runs between a
// successful operation and the disconnect. A connect that yields no handle has failed. Returns 0, or -1 after the
// failure was logged; a failed operation is followed by neither settle nor disconnect.
template <typename Handle, typename Observer, typename Operate, typename Settle>
std::int32_t RunModelCycle(const char* operation, const CycleLines& lines, const CycleTexts& texts,
                           const std::string& key, Observer& observer, Operate&& operate, Settle&& settle) {
    const ModelSession session({operation, lines.interface});
    if (session.Root() == nullptr) {
        return -1;
    }
    Handle* handle = nullptr;
    std::int32_t status = session.Root()->connect(key, &observer, handle);
    if (status != 0 || handle == nullptr) {
        LogCycleFailure(texts.connectFailed, operation, lines.connect, status);
        return -1;
    }
    status = operate(*handle);
    if (status != 0) {
        LogCycleFailure(texts.operateFailed, operation, lines.operate, status);
        return -1;
    }
    settle();
    session.Root()->disconnect(key, &observer);
    return 0;
}

// The settling delay after a write.
inline void Settle() {
    DelayMicroseconds(kSettleMicroseconds);
}

// The cycle with the usual settling delay.
template <typename Handle, typename Observer, typename Operate>
std::int32_t RunModelCycle(const char* operation, const CycleLines& lines, const CycleTexts& texts,
                           const std::string& key, Observer& observer, Operate&& operate) {
    return RunModelCycle<Handle>(operation, lines, texts, key, observer, operate, Settle);
}

// The cycle of every action: invokes `key` with `arguments`; the results are not looked at. `connected()` runs
// just before the invocation, `settle()` after an accepted one.
std::int32_t InvokeAction(
    const CallSite& site, const std::string& key, vumodelapi::ObserverAction& observer,
    const vumodelapi::ArgumentList& arguments, void (*settle)() = Settle,
    const std::function<void()>& connected = [] {});

}  // namespace zel

#endif

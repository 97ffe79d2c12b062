// The simulated set's middleware: what a television's services are to its applications. It keeps the model tree,
// flash variables, factory metadata and keys, plays the application manager, and answers the client libraries of
// simset/platform over a local socket.
#ifndef SIMSET_MIDDLEWARE_MIDDLEWARE_H
#define SIMSET_MIDDLEWARE_MIDDLEWARE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simset/core/middleware/Control.h"
#include "simset/core/middleware/DiskSizes.h"
#include "simset/core/middleware/Scheduler.h"
#include "simset/core/middleware/Server.h"
#include "simset/core/middleware/TraceVerbs.h"
#include "simset/core/rules/CallOrder.h"
#include "simset/core/rules/Finish.h"
#include "simset/core/rules/Synced.h"
#include "simset/core/rules/Violations.h"
#include "simset/core/state/CutPoint.h"

namespace simset {

// What the middleware asks of the board around it. An empty function is left out.
struct Hooks {
    // A process of the set called sync(). Runs on that process's connection thread, and the process waits until it
    // returns; several may run at once. Returns whether all was saved.
    std::function<bool()> onSync;
    // The reboot action was invoked. Runs on the middleware's timer thread: note the request and return, do not
    // call PowerOff or destroy the middleware from here.
    std::function<void()> onReboot;
    // The step named by CutPowerAfter was reached: cut the power. Whoever made the step waits for PowerOff. Note
    // the request and return.
    std::function<void()> onPowerCut;
    // Something could not be kept, for example because the disk is full; `message` is one line for the user. Any
    // thread; must not call the middleware.
    std::function<void(const std::string& message)> onProblem;
    // A request was carried out and is about to be answered; `seq` is the number of the last row of the trace.
    // Runs on the connection's thread without a lock, and the process waits until it returns.
    std::function<void(std::uint64_t seq)> onAnswer;
    // The partitions and sticks of the set as rows of path, size, used and free (bytes); null while it is off. Any
    // thread.
    std::function<nlohmann::ordered_json()> disks;
    // Gives a partition or stick that size in bytes, DiskSizes::kFull for no more than it holds. Nothing while the
    // set is off. Any thread; throws std::runtime_error when it holds more.
    std::function<void(const std::string& path, std::uint64_t size)> resizeDisk;
    // The partitions and sticks that hold what the application has written and nobody has synced. Any thread.
    std::function<std::vector<std::string>()> written;
};

// All operations may be called from any thread unless they say otherwise.
class Middleware {
  public:
    // Opens `stateDir`/state.db, made as a factory-new set when it is missing, and appends to
    // `stateDir`/trace.jsonl. The folder must exist; that no second simset uses it is the caller's care. Throws
    // StateError. `scheduler` null: real time.
    explicit Middleware(const std::filesystem::path& stateDir, std::unique_ptr<Scheduler> scheduler = nullptr);

    // Ends every connection and thread. No hook is called afterwards.
    ~Middleware();

    Middleware(const Middleware&) = delete;
    Middleware& operator=(const Middleware&) = delete;

    // To be called before Listen.
    void SetHooks(Hooks hooks);

    // Accepts client libraries and reporters on the Unix socket `socketPath` (at most 107 bytes), which is made,
    // replacing a socket left over, and removed at the end; a leading '@' stands for an abstract name, which needs
    // no file and is the same in every mount namespace. The text belongs into SIMSET_SOCKET of the application's
    // environment. To be called once. Throws std::system_error.
    void Listen(const std::string& socketPath);

    // The set gets power: what a television forgets without power (search results, the address, messages) is back
    // at its start value, and trace times count from here. A new middleware is powered on.
    void PowerOn();

    // Lets the power fail at the `steps`th step from now: shell command, mount, write or sync. A write is done
    // then, a command has not begun and a sync has saved nothing. 0 takes it back, and so does PowerOff.
    void CutPowerAfter(std::uint64_t steps);

    // The application has ended by itself with exit status `status`: what it left open is judged. To be called
    // before PowerOff.
    void ApplicationEnded(int status);

    // Has the manager ask the registered application to stop, and waits for its answer, at most `limit`. An
    // application that is not registered is not asked.
    void StopApplication(std::chrono::milliseconds limit);

    // Drops all connections, registrations and running actions, as when the application's processes are gone, and
    // refuses new ones until PowerOn. Values that the set keeps stay.
    void PowerOff();

    // The ctl verbs that are the middleware's.
    static std::vector<VerbForm> Verbs();

    // Carries out a ctl verb with its arguments, for example {"model", "get", KEY}. Returns the text to print
    // (lines with their line ends; may be empty). Throws ControlError, with one line that says what to do, and
    // StateError. "press" waits until the application has taken the key, at most five seconds; "wait" and "trace
    // --follow" wait for rows of the trace until `caller` has gone or the trace is closed.
    std::string Control(const Words& words, const Caller& caller = {});

    // Has `carryOut` carry out what `words` of `form` ask for, and returns what it returns. In the trace a change
    // of the set is told before, and told again when it throws.
    std::string Told(const VerbForm& form, const Words& words, const std::function<std::string()>& carryOut);

    // For a set that is off: `trace` and `violations` are those of its last run.
    void RecallRun();

    // How long behaviour `name` ("supervisor", …) takes to answer; nothing when it is switched off. An unknown
    // name throws std::out_of_range.
    std::optional<std::chrono::milliseconds> Behaviour(const std::string& name) const;

    // Whether behaviour `name` answers as one that failed.
    bool AnswersWrong(const std::string& name) const;

    // Boot variables, past all faults and without a trace row; "" for one that was never set. SetFlash throws
    // StateError.
    std::string Flash(const std::string& name) const;
    void SetFlash(const std::string& name, const std::string& value);

    // The sizes of partitions and sticks in bytes, DiskSizes::kFull for no more than they hold: that of one, and
    // by path those which are not their own.
    std::uint64_t DiskSize(const std::string& path) const;
    std::map<std::string, std::uint64_t> ChangedDiskSizes() const;

    // Appends `row` (an object with "who" and what happened) to the trace; "seq" and "ms" are put in front.
    void Trace(const nlohmann::json& row);

    // The application broke `rule` (words-with-dashes) with `call`: appends the row that says so, with what was
    // `expected` in words and the further members of the object `details`, and counts it.
    void Violation(const std::string& rule, const std::string& call, const std::string& expected,
                   nlohmann::json details = nlohmann::json::object());

    // How many rules were broken since the object was made, and the rows of `ctl violations`.
    std::size_t ViolationCount() const { return m_violations.Count(); }
    std::string ViolationLines() const { return m_violations.Lines(); }

    // The rows so far, and a way to wait for more.
    const TraceLog& Log() const { return m_trace; }

    // Nobody waits for rows any more.
    void CloseTrace() { m_trace.Close(); }

  private:
    using Operation = Reply (*)(Middleware& self, const Request& request);

    static const std::map<std::string, Operation>& Operations();
    static Reply Release(Middleware& self, const Request& request);
    static Reply CloseIterator(Middleware& self, const Request& request);
    Reply Answer(const Request& request);
    Reply Sync();
    Reply Carry(const Request& request);
    Reply Report(const std::string& op, const Request& request);
    void JudgeSynced(const std::string& call, const nlohmann::json& details);
    void TellFullDisks(const nlohmann::json& command);
    std::int32_t TakeFault(const std::string& area, const std::string& name);
    std::shared_ptr<EventQueue> Opened(const std::string& client);
    void Closed(const std::string& client, const std::shared_ptr<EventQueue>& queue);
    void Later(std::chrono::milliseconds delay, std::function<void()> task);
    void Deliver(std::uint64_t delivery);
    void Serve(bool serving);
    void Problem(const std::string& message) const;

    mutable std::mutex m_mutex;
    std::mutex m_timeMutex;  // taken inside m_mutex or alone
    std::unique_ptr<Scheduler> m_scheduler;
    std::chrono::milliseconds m_powerOnTime;
    std::uint64_t m_epoch = 0;  // counts power-ons and power-offs
    bool m_powered = true;
    bool m_serving = true;  // false: the services are dead, until they come back
    bool m_rebootAsked = false;
    State m_state;
    Faults m_faults;
    Behaviours m_behaviours;
    DiskSizes m_diskSizes;
    Clients m_clients;
    TraceLog m_trace;
    Violations m_violations;
    CutPoint m_cutPoint;
    Shared m_shared;
    AuxiliaryOrder m_auxiliary;
    FinishRules m_finish;
    SyncedRules m_synced;
    simset::Flash m_flash;
    Metadata m_metadata;
    KeyStore m_keys;
    Model m_model;
    AppManager m_appManager;
    simset::Control m_control;
    TraceVerbs m_traceVerbs;
    std::unique_lock<std::mutex>* m_controlLock = nullptr;
    Hooks m_hooks;
    std::unique_ptr<Server> m_server;
};

}  // namespace simset

#endif

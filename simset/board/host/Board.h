// The whole simulated set around one run of `simset run`.
#ifndef SIMSET_HOST_BOARD_H
#define SIMSET_HOST_BOARD_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simset/board/folder/FileVerbs.h"
#include "simset/board/folder/StateFolder.h"
#include "simset/board/folder/Sticks.h"
#include "simset/board/host/AgentLink.h"
#include "simset/board/host/PowerQueue.h"
#include "simset/board/host/Programs.h"
#include "simset/board/host/RunOptions.h"
#include "simset/board/host/Streams.h"
#include "simset/board/line/SerialLine.h"
#include "simset/board/panel/Panel.h"
#include "simset/board/scenario/ScenarioRun.h"
#include "simset/control/ControlSocket.h"
#include "simset/core/middleware/Middleware.h"
#include "simset/view/View.h"

namespace simset {

// Why a run ended: the last line of `simset run`.
struct Ended {
    // "no-start", "application" (by itself), "killed" (by a signal), "stopped" (a signal to simset), "power-cut",
    // "panel-lost" (its X server ended), "set-lost" (the first process of its namespaces was killed),
    // "reboot-failed", "failed"
    std::string reason = "no-start";
    int status = 0;      // simset's exit status
    std::string signal;  // the name of the one that killed the application
};

// simset's exit status for a run that ends with this exception.
int ExitStatus(const std::exception& error);

// {"ended":REASON,"status":N}, with "signal" of an application that was killed.
nlohmann::json ToJson(const Ended& ended);

// The whole simulated set around one run of `simset run`: holds the parts, powers the set on and off, and carries
// out the verbs of `simset ctl`.
class Board : private SetContent {
  public:
    // Prepares everything but the set's own processes. Must be called on the main thread, which must also call
    // Run: the set ends when that thread does. Throws RunError, StateError.
    explicit Board(const RunOptions& options);
    ~Board() override;
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    // Powers the set on and keeps it until the application ends, a signal comes or the power is cut. Says in
    // `ended`, as far as it comes, why the run ends; also when it throws, which is as the constructor does.
    void Run(Ended& ended);

    // All verbs of `simset ctl`: the middleware's and the board's.
    static std::vector<VerbForm> AllVerbs();

  private:
    using Clock = std::chrono::steady_clock;

    enum class End : std::uint8_t { Application, Signal, Reboot, PowerCut, AgentDied, PanelLost };

    struct SupervisorAnswer {
        Clock::time_point due;
        std::string number;
    };

    // The set's power, on the main thread (Board.cpp).
    void PrepareSticks();
    void OpenView();
    void PowerOn(bool first);
    End Serve();
    std::optional<End> TakeEvent();
    void RunUntilOff(Ended& ended);
    Ended Why(End end, int status) const;
    void TraceOff(const Ended& ended);
    int PowerOff(End end);
    bool TellViolations() const;
    void StartScenario();
    int EndScenario(int status);
    bool PanelIsLost(int patienceMs) const;
    void StopApplication();
    bool SaveTrees();
    std::vector<std::string> Environment() const;
    AgentConfig Config() const;
    void AnswerSupervisor();
    int WaitTime() const;

    // Requests from other threads.
    bool OnSync();
    nlohmann::ordered_json Disks();  // null while the set is off
    std::vector<std::string> Written();
    void TellTooSmall(const std::vector<std::string>& paths);
    void Problem(const std::string& text);
    std::shared_ptr<AgentLink> Agent() const;

    // Verbs of `simset ctl`, each on its connection's thread (BoardVerbs.cpp).
    static const std::vector<Verb<Board>>& Verbs();
    std::string Control(const Caller& caller, const Words& words);
    std::string CarryOut(const Caller& caller, const Words& words);
    std::shared_ptr<Streams> Manager() const;
    Message Request(const std::vector<std::string>& parts, const std::vector<int>& fds = {});
    Screenshot TakePicture() const;
    std::string Wait(Wish wish, const char* name);
    Descriptor OpenPath(const std::string& path) override;
    void PutPath(const std::string& path, int from) override;
    void RemovePath(const std::string& path) override;
    std::vector<std::string> ListPath(const std::string& path) override;
    void StickIn(const Stick& stick) override;
    void StickOut(const std::string& name) override;
    void CopyStick(const std::string& name, int to) override;
    std::string AmRaw(const Arguments& arguments);
    std::string AmFile(const Arguments& arguments);
    std::string AmEnd(const Arguments& arguments);
    std::string AmPause(const Arguments& arguments);
    std::string AmLine(const Arguments& arguments);
    std::string Mounts(const Arguments& arguments);
    std::string Unsynced(const Arguments& arguments);
    std::string Picture(const Arguments& arguments);
    std::string Line(const Arguments& arguments);
    std::string PlugLine(const Arguments& arguments);
    std::string CutPower(const Arguments& arguments);
    std::string Reboot(const Arguments& arguments);

    RunOptions m_options;
    Descriptor m_signals;  // before anything that starts threads: they must have the signals blocked
    Programs m_programs;
    std::optional<Scenario> m_scenario;
    StateFolder m_state;
    std::unique_ptr<Panel> m_panel;
    Middleware m_middleware;
    Sticks m_sticks;
    FileVerbs m_fileVerbs;  // its mutex is taken before m_mutex
    SerialLine m_line;
    PowerQueue m_power;

    mutable std::mutex m_mutex;  // guards what follows
    std::shared_ptr<AgentLink> m_agent;
    std::shared_ptr<Streams> m_streams;
    std::string m_lastProblem;

    bool m_applicationEnded = false;
    int m_applicationStatus = 0;
    std::vector<SupervisorAnswer> m_supervisorAnswers;
    std::unique_ptr<ScenarioRun> m_scenarioRun;
    std::unique_ptr<ControlServer> m_control;  // its threads use everything above
    std::unique_ptr<View> m_view;              // the same
};

}  // namespace simset

#endif

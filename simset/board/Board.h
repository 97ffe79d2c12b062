#ifndef SIMSET_BOARD_BOARD_H
#define SIMSET_BOARD_BOARD_H

#include <array>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simset/board/AgentLink.h"
#include "simset/board/ControlServer.h"
#include "simset/board/Panel.h"
#include "simset/board/RunOptions.h"
#include "simset/board/SerialLine.h"
#include "simset/board/StateFolder.h"
#include "simset/board/Sticks.h"
#include "simset/board/Streams.h"
#include "simset/core/Middleware.h"

namespace simset {

/// The whole simulated set around one run of `simset run`: holds the parts, powers the set on and off, and carries
/// out the verbs of `simset ctl`.
class Board {
  public:
    /// Prepares everything but the set's own processes. Must be called on the main thread, which must also call
    /// Run: the set ends when that thread does. Throws RunError, StateError.
    explicit Board(const RunOptions& options);
    ~Board();
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /// Powers the set on and keeps it until the application ends, a signal comes or the power is cut.
    /// @return simset's exit status
    int Run();

  private:
    using Clock = std::chrono::steady_clock;
    using Arguments = std::vector<std::string>;

    enum class Wish { kNone, kReboot, kPowerCut };
    enum class End { kApplication, kSignal, kReboot, kPowerCut, kAgentDied };

    /// Files that belong to simset itself or to the application.
    struct Files {
        std::string application;
        std::string libraries;
        std::string shim;
        std::string shell;
    };

    struct SupervisorAnswer {
        Clock::time_point due;
        std::string number;
    };

    // The set's power, on the main thread (Board.cpp).
    static Files FindFiles(const RunOptions& options);
    void PrepareSticks();
    void PowerOn(bool first);
    End Serve();
    std::optional<End> TakeEvent();
    int PowerOff(End end);
    void StopApplication();
    bool SaveTrees();
    std::vector<std::string> Environment() const;
    AgentConfig Config() const;
    void AnswerSupervisor();
    int WaitTime() const;

    // Requests from other threads.
    std::shared_future<bool> Ask(Wish wish);
    std::optional<Wish> TakeWish();
    void OnSync();
    void Problem(const std::string& text);
    std::shared_ptr<AgentLink> Agent() const;

    // Verbs of `simset ctl`, each on its connection's thread (BoardVerbs.cpp).
    ControlReply Control(const std::string& folder, const Arguments& verb);
    ControlReply Usb(const std::string& folder, const Arguments& verb);
    ControlReply Am(const std::string& folder, const Arguments& verb);
    ControlReply Line(const Arguments& verb);
    ControlReply CutPowerAfter(const std::string& text);
    ControlReply Cat(const std::string& path);
    ControlReply Put(const std::string& file, const std::string& path);
    ControlReply Pass(const Arguments& verb);
    std::string ReadStick(const std::string& name, const std::string& folder);

    RunOptions m_options;
    Fd m_signals;  ///< before anything that starts threads: they must have the signals blocked
    Files m_files;
    StateFolder m_state;
    std::unique_ptr<Panel> m_panel;
    Middleware m_middleware;
    Sticks m_sticks;
    SerialLine m_line;
    Fd m_wishEvent;

    mutable std::mutex m_mutex;  ///< guards what follows
    std::shared_ptr<AgentLink> m_agent;
    std::shared_ptr<Streams> m_streams;
    Wish m_wish = Wish::kNone;
    std::promise<bool> m_wishDone;
    std::shared_future<bool> m_wishFuture;
    std::string m_lastProblem;

    std::mutex m_stickMutex;  ///< held over a whole stick operation; before m_mutex
    std::atomic<bool> m_supervisorWrong{false};

    int m_applicationStatus = 0;
    std::vector<SupervisorAnswer> m_supervisorAnswers;
    std::unique_ptr<ControlServer> m_control;  ///< last: its threads use everything above
};

}  // namespace simset

#endif  // SIMSET_BOARD_BOARD_H

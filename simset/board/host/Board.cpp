#include "simset/board/host/Board.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "simset/base/Errors.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

namespace fs = std::filesystem;

constexpr int kPanelPatienceMs = 500;
constexpr int kStopGraceMs = 2000;                           // what the application gets to end by itself
constexpr std::chrono::milliseconds kStopRequestLimit{500};  // and to answer the manager before that
constexpr int kSignalBase = 128;                             // a shell's way to say that a signal ended a program

// Blocks the signals that end simset and delivers them as data; threads made later inherit that.
Descriptor CatchSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t mask;
    ::sigemptyset(&mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        ::sigaddset(&mask, number);
    }
    ::pthread_sigmask(SIG_BLOCK, &mask, nullptr);
    Descriptor fd(::signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd) {
        throw SystemError("signalfd");
    }
    return fd;
}

}  // namespace

Board::Board(const RunOptions& options)
    : m_options(options),
      m_signals(CatchSignals()),
      m_programs(FindPrograms(options)),
      m_scenario(options.scenario.empty() ? std::nullopt
                                          : std::optional(ReadScenario(options.scenario, AllVerbs()))),
      m_state(options.state),
      m_panel(options.panel ? std::make_unique<Panel>(*options.panel, options.ownDisplay, m_state.At("xvfb.log"))
                            : nullptr),
      m_middleware(m_state.Path()),
      m_sticks(m_state.Folder()),
      m_fileVerbs(m_state.Folder(), m_sticks, *this),
      m_line(
          options.line,
          [this](const char* call, const std::string& settings) {
              m_middleware.Violation("serial-parameters", call,
                                     "a port set to " + Describe(kLineFraming) + ", raw",
                                     {{"settings", settings}});
          },
          [this](const nlohmann::json& row) { m_middleware.Trace(row); }) {
    if (options.mode) {
        m_middleware.SetFlash("ZelFacMode", *options.mode);
    }
    PrepareSticks();
    // By a name that ends with this process: a terminal's own is given to the next set that opens one.
    m_state.LinkLine(m_line.ToolLink());
    m_middleware.SetHooks({[this] { return OnSync(); }, [this] { m_power.Ask(Wish::Reboot); },
                           [this] { m_power.Ask(Wish::PowerCut); },
                           [this](const std::string& text) { Problem(text); },
                           [this](std::uint64_t seq) {
                               if (m_scenarioRun) {
                                   m_scenarioRun->AwaitTaken(seq);
                               }
                           },
                           [this] { return Disks(); },
                           [this](const std::string& path, std::uint64_t size) {
                               if (Agent()) {
                                   Request({request::kResize, path, std::to_string(size)});
                               }
                           },
                           [this] { return Written(); }});
    m_middleware.CutPowerAfter(options.powerCutAfter);
    m_middleware.Listen(m_state.ShortPath("middleware"));
    m_control = std::make_unique<ControlServer>(
        m_state.ShortPath("control"),
        [this](const Caller& caller, const Words& words) { return Control(caller, words); });
    OpenView();
}

void Board::OpenView() {
    if (!m_options.view) {
        return;
    }
    try {
        m_view = std::make_unique<View>(
            ViewOptions{*m_options.view, m_options.viewToken ? *m_options.viewToken : RandomToken()},
            View::Parts{
                m_middleware.Log(),
                [this](const Words& words) {
                    // Nobody takes what is printed on the way: a verb that goes on and on ends at once.
                    return Control({fs::current_path().string(), [](const std::string&) { return false; }}, words);
                },
                [this] { return TakePicture(); }, m_state.Path()});
    } catch (const std::system_error& error) {
        throw RunError(kExitUsage, "no page in the browser at " + std::string(error.what()) +
                                       ": give another --view ADDRESS:PORT; port 0 is any that is free");
    }
}

int ExitStatus(const std::exception& error) {
    if (const auto* const ofRun = dynamic_cast<const RunError*>(&error)) {
        return ofRun->Status();
    }
    const auto* const ofSystem = dynamic_cast<const std::system_error*>(&error);
    const bool full = ofSystem != nullptr && ofSystem->code().value() == ENOSPC;
    return full || dynamic_cast<const StateError*>(&error) != nullptr ? kExitState : kExitInternal;
}

nlohmann::json ToJson(const Ended& ended) {
    nlohmann::json object{{"ended", ended.reason}, {"status", ended.status}};
    if (!ended.signal.empty()) {
        object["signal"] = ended.signal;
    }
    return object;
}

Board::~Board() {
    m_middleware.CloseTrace();
    m_view.reset();
    m_control.reset();
}

void Board::PrepareSticks() {
    if (m_options.sticks.empty()) {
        return;
    }
    m_sticks.Clear();
    for (const std::string& folder : m_options.sticks) {
        try {
            m_sticks.Add(folder, "", false);
        } catch (const std::system_error&) {
            throw;
        } catch (const std::runtime_error& error) {
            throw RunError(kExitUsage, error.what());
        }
    }
}

std::vector<std::string> Board::Environment() const {
    std::vector<std::string> environment{
        "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
        "HOME=/",
        "LANG=C.UTF-8",
        std::string("LD_LIBRARY_PATH=") + kInsideLibraries,
        std::string("LD_PRELOAD=") + kInsideShim,
        std::string("SIMSET_SOCKET=") + kInsideMiddleware,
    };
    if (m_panel) {
        const PanelSize size = m_panel->Size();
        environment.push_back("DISPLAY=" + m_panel->Display());
        environment.push_back("DFBARGS=system=x11,mode=" + std::to_string(size.width) + "x" +
                              std::to_string(size.height));
    } else {
        environment.emplace_back("DFBARGS=system=dummy,mode=1920x1080");
    }
    // The sanitizers' own order check objects to any other preloaded library; the shim does not mind coming first.
    std::string asan = "ASAN_OPTIONS=verify_asan_link_order=0";
    if (const char* given = std::getenv("ASAN_OPTIONS")) {
        asan += std::string(":") + given;
    }
    environment.push_back(asan);
    for (const char* name : {"TSAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TZ"}) {
        if (const char* value = std::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    return environment;
}

AgentConfig Board::Config() const {
    AgentConfig config;
    config.root = m_state.At("root");
    config.application = m_programs.application;
    config.libraries = m_programs.libraries;
    config.shim = m_programs.shim;
    config.shell = m_programs.shell;
    config.emulator = m_programs.emulator;
    config.sysroot = m_programs.sysroot;
    config.serial = m_line.SetPath();
    config.middleware = m_state.At("middleware");
    config.xSocket = m_panel ? m_panel->Socket() : "";
    config.environment = Environment();
    config.sticks = m_sticks.Plugged();
    config.sizes = m_middleware.ChangedDiskSizes();
    return config;
}

void Board::PowerOn(bool first) {
    if (!first) {
        m_line.Reset();
        m_middleware.PowerOn();
    }
    StartScenario();
    m_middleware.Trace({{"who", "power"}, {"call", "on"}});
    const std::lock_guard stickLock(m_fileVerbs.StickMutex());
    auto streams = std::make_shared<Streams>(m_state.Folder(), first);
    auto agent = std::make_shared<AgentLink>(Config(), m_state.Folder(), streams->ApplicationEnds());
    {
        const std::lock_guard lock(m_mutex);
        m_agent = agent;
        m_streams = streams;
    }
    TellTooSmall(agent->TooSmall());
    m_applicationEnded = false;
    const pid_t pid = agent->StartApplication();
    streams->CloseApplicationEnds();
    nlohmann::ordered_json ready{
        {"ready", true}, {"line", m_line.ToolPath()}, {"control", m_state.At("control")}, {"pid", pid}};
    if (m_view) {
        ready["view"] = m_view->Url();
    }
    std::printf("%s\n", ready.dump().c_str());
    std::fflush(stdout);
}

void Board::Run(Ended& ended) {
    try {
        RunUntilOff(ended);
        m_power.Close();
        ended.status = EndScenario(ended.status);
        TraceOff(ended);
    } catch (const std::exception& error) {
        ended.status = ExitStatus(error);
        TraceOff(ended);
        m_power.Close();
        const std::lock_guard lock(m_mutex);
        m_agent.reset();
        m_streams.reset();
        throw;
    }
}

void Board::RunUntilOff(Ended& ended) {
    for (bool first = true;; first = false) {
        PowerOn(first);
        ended.reason = "failed";
        if (!first) {
            m_power.Done();
        }
        const End end = Serve();
        const int status = PowerOff(end);
        if (end == End::PowerCut) {
            m_power.Done();
        }
        if (end == End::Reboot) {
            m_middleware.Trace({{"who", "power"}, {"call", "reboot"}});
            ended.reason = "reboot-failed";
            continue;
        }
        ended = Why(end, m_options.strict && status == 0 && TellViolations() ? kExitRuleBroken : status);
        return;
    }
}

void Board::StartScenario() {
    if (m_scenarioRun) {
        m_scenarioRun->Hold(true);
    } else if (m_scenario) {
        m_scenarioRun = std::make_unique<ScenarioRun>(
            *m_scenario, m_middleware.Log(),
            ScenarioRun::Calls{[this](const Words& words) {
                                   Control({m_scenario->folder, [](const std::string&) { return true; }}, words);
                               },
                               [this](const nlohmann::json& row) { m_middleware.Trace(row); }});
    }
}

// The status that simset ends with.
int Board::EndScenario(int status) {
    if (!m_scenarioRun) {
        return status;
    }
    m_scenarioRun->Finish();
    const std::vector<std::string> failures = m_scenarioRun->Failures();
    for (const std::string& failure : failures) {
        std::fprintf(stderr, "simset: %s\n", failure.c_str());
    }
    return status == 0 && !failures.empty() ? kExitScenario : status;
}

Ended Board::Why(End end, int status) const {
    switch (end) {
        case End::Signal:
            return {"stopped", status, ""};
        case End::PowerCut:
            return {"power-cut", status, ""};
        case End::AgentDied:
            return {"set-lost", status, ""};
        case End::PanelLost:
            return {"panel-lost", status, ""};
        case End::Application:
        case End::Reboot:
            break;
    }
    if (!WIFSIGNALED(m_applicationStatus)) {
        return {"application", status, ""};
    }
    const int number = WTERMSIG(m_applicationStatus);
    const char* const name = ::sigabbrev_np(number);
    return {"killed", status, name == nullptr ? std::to_string(number) : name};
}

void Board::TraceOff(const Ended& ended) {
    nlohmann::json row{{"who", "power"}, {"call", ended.reason == "power-cut" ? "cut" : "off"}};
    row.update(ToJson(ended));
    m_middleware.Trace(row);
}

bool Board::TellViolations() const {
    const std::size_t count = m_middleware.ViolationCount();
    if (count == 0) {
        return false;
    }
    const std::string lines = m_middleware.ViolationLines();
    std::fprintf(stderr, "simset: rules were broken, %zu in all; the rows are in %s; the first is:\n%s", count,
                 m_state.At("trace.jsonl").c_str(), lines.substr(0, lines.find('\n') + 1).c_str());
    return true;
}

Board::End Board::Serve() {
    const std::shared_ptr<AgentLink> agent = Agent();
    for (;;) {
        std::array<pollfd, 4> polls{pollfd{m_signals.Get(), POLLIN, 0}, m_power.Event().Poll(),
                                    pollfd{agent->EventFd(), POLLIN, 0},
                                    pollfd{m_panel ? m_panel->EndedFd() : -1, POLLIN, 0}};
        ::poll(polls.data(), polls.size(), WaitTime());
        AnswerSupervisor();
        if (const std::optional<Wish> wish = m_power.Take()) {
            return *wish == Wish::Reboot ? End::Reboot : End::PowerCut;
        }
        if (polls[2].revents != 0) {
            if (const std::optional<End> end = TakeEvent()) {
                // An application whose display is gone ends by itself, and may be the first to be heard of.
                const bool lost =
                    *end == End::Application && m_applicationStatus != 0 && PanelIsLost(kPanelPatienceMs);
                return lost ? End::PanelLost : *end;
            }
        }
        if (PanelIsLost(0)) {
            return End::PanelLost;
        }
        signalfd_siginfo info{};
        if (::read(m_signals.Get(), &info, sizeof info) > 0) {
            return End::Signal;
        }
    }
}

std::optional<Board::End> Board::TakeEvent() {
    const std::optional<Message> event = Agent()->NextEvent();
    if (!event) {
        return End::AgentDied;
    }
    if (event->parts.size() == 2 && event->parts[0] == event::kExited) {
        m_applicationEnded = true;
        m_applicationStatus = std::stoi(event->parts[1]);
        return End::Application;
    }
    if (event->parts.size() == 2 && event->parts[0] == event::kSupervisor &&
        (event->parts[1] == "12" || event->parts[1] == "13")) {
        if (const auto delay = m_middleware.Behaviour("supervisor")) {
            m_supervisorAnswers.push_back({Clock::now() + *delay, event->parts[1]});
        }
    }
    return std::nullopt;
}

bool Board::PanelIsLost(int patienceMs) const {
    pollfd ended{m_panel ? m_panel->EndedFd() : -1, POLLIN, 0};
    return ended.fd >= 0 && ::poll(&ended, 1, patienceMs) > 0;
}

int Board::WaitTime() const {
    if (m_supervisorAnswers.empty()) {
        return -1;
    }
    const auto next = std::min_element(m_supervisorAnswers.begin(), m_supervisorAnswers.end(),
                                       [](const auto& a, const auto& b) { return a.due < b.due; });
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next->due - Clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void Board::AnswerSupervisor() {
    const Clock::time_point now = Clock::now();
    for (auto it = m_supervisorAnswers.begin(); it != m_supervisorAnswers.end();) {
        if (it->due > now) {
            ++it;
            continue;
        }
        try {
            Agent()->Request(
                {request::kSupervisor, it->number, m_middleware.AnswersWrong("supervisor") ? "ret=1" : "ret=0"});
        } catch (const std::exception& error) {
            Problem(std::string("the supervisor cannot answer: ") + error.what());
        }
        it = m_supervisorAnswers.erase(it);
    }
}

void Board::StopApplication() {
    const std::shared_ptr<AgentLink> agent = Agent();
    try {
        agent->Request({request::kStop, std::to_string(kStopGraceMs)});
    } catch (const std::exception&) {
        return;  // the agent is gone and everything with it
    }
    while (const std::optional<Message> event = agent->NextEvent()) {
        if (event->parts.at(0) == event::kExited) {
            return;
        }
    }
}

bool Board::SaveTrees() {
    try {
        Request({request::kSave});
        return true;
    } catch (const std::exception& error) {
        Problem(std::string("the set's files could not be saved: ") + error.what());
        return false;
    }
}

int Board::PowerOff(End end) {
    const std::shared_ptr<AgentLink> agent = Agent();
    if (end == End::PanelLost) {
        Problem("the panel's X server has ended; what it said is in " + m_state.At("xvfb.log"));
    }
    if (end == End::AgentDied) {
        Problem("the first process of the set's namespaces was killed, and the set with it");
    }
    const bool hard = end == End::PowerCut || end == End::AgentDied;
    const auto letGo = [this] {
        if (m_scenarioRun) {
            m_scenarioRun->Hold(false);
        }
    };
    if (!hard) {
        letGo();  // what fails at a call fails before that call goes on
    }
    if (!hard && !m_applicationEnded) {
        m_middleware.StopApplication(kStopRequestLimit);
        StopApplication();
    }
    const bool saved = hard || SaveTrees();
    if (end == End::Application && WIFEXITED(m_applicationStatus)) {
        m_middleware.ApplicationEnded(WEXITSTATUS(m_applicationStatus));
    }
    agent->Kill();
    letGo();
    m_supervisorAnswers.clear();
    m_middleware.PowerOff();
    {
        const std::lock_guard lock(m_mutex);
        m_agent.reset();
        m_streams.reset();
    }
    switch (end) {
        case End::PowerCut:
        case End::AgentDied:
            return kSignalBase + SIGKILL;
        case End::Application:
            if (!saved) {
                return kExitState;
            }
            return WIFSIGNALED(m_applicationStatus) ? kSignalBase + WTERMSIG(m_applicationStatus)
                                                    : WEXITSTATUS(m_applicationStatus);
        case End::PanelLost:
            return saved ? kExitPanel : kExitState;
        case End::Signal:
        case End::Reboot:
            break;
    }
    return saved ? 0 : kExitState;
}

bool Board::OnSync() {
    return Agent() == nullptr || SaveTrees();
}

nlohmann::ordered_json Board::Disks() {
    return Agent() ? nlohmann::ordered_json::parse(Request({request::kDisks}).parts.at(0))
                   : nlohmann::ordered_json();
}

std::vector<std::string> Board::Written() {
    try {
        return Request({request::kWritten}).parts;
    } catch (const std::exception&) {
        return {};  // the set has gone off meanwhile
    }
}

void Board::TellTooSmall(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        m_middleware.Trace({{"who", "disk"}, {"call", "too-small"}, {"path", path}});
        Problem(
            path +
            " holds more than its size and is full with that: remove something, or give it more with ctl disk " +
            path + " SIZE");
    }
}

void Board::Problem(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (text != std::exchange(m_lastProblem, text)) {
        std::fprintf(stderr, "simset: %s\n", text.c_str());
    }
}

std::shared_ptr<AgentLink> Board::Agent() const {
    const std::lock_guard lock(m_mutex);
    return m_agent;
}

}  // namespace simset

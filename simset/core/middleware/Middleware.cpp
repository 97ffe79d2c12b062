#include "simset/core/middleware/Middleware.h"

#include <utility>

#include "simset/base/Status.h"

namespace simset {

namespace {

constexpr std::chrono::seconds kPressLimit{5};

// What is known of the request that this thread carries out: goes into the rows that come of it.
thread_local const Request* t_request = nullptr;

class WhileCarriedOut {
  public:
    explicit WhileCarriedOut(const Request& request) { t_request = &request; }
    ~WhileCarriedOut() { t_request = nullptr; }
    WhileCarriedOut(const WhileCarriedOut&) = delete;
    WhileCarriedOut& operator=(const WhileCarriedOut&) = delete;
};

// `row` with the thread of the application and the number of the connection or iterator that asked.
nlohmann::json WithAsker(nlohmann::json row) {
    if (t_request == nullptr) {
        return row;
    }
    for (const auto& [member, name] :
         {std::pair("thread", "thread"), {"conn", "connection"}, {"iterator", "iterator"}}) {
        if (const auto found = t_request->find(member); found != t_request->end() && !row.contains(name)) {
            row[name] = *found;
        }
    }
    return row;
}

}  // namespace

Middleware::Middleware(const std::filesystem::path& stateDir, std::unique_ptr<Scheduler> scheduler)
    : m_scheduler(scheduler ? std::move(scheduler) : MakeTimerThread()),
      m_powerOnTime(m_scheduler->Now()),
      m_state(stateDir / "state.db"),
      m_faults(m_state),
      m_behaviours(m_state),
      m_diskSizes(m_state),
      m_trace(stateDir / "trace.jsonl", TraceBounds(), [this](const std::string& line) { Problem(line); }),
      m_shared{
          m_state,
          m_faults,
          m_behaviours,
          m_clients,
          [this](const nlohmann::json& row) { Trace(row); },
          [this](std::chrono::milliseconds delay, std::function<void()> task) { Later(delay, std::move(task)); },
          [this] { m_rebootAsked = true; },
          [this] { return m_scheduler->Now(); },
          [this](const std::string& rule, const std::string& call, const std::string& expected,
                 nlohmann::json details) { Violation(rule, call, expected, std::move(details)); }},
      m_flash(m_shared),
      m_metadata(m_shared, m_auxiliary),
      m_keys(m_shared, m_auxiliary),
      m_model(m_shared, m_finish),
      m_appManager(m_shared),
      m_control({m_model, m_flash, m_metadata, m_keys, m_faults, m_behaviours, m_violations, m_appManager,
                 m_diskSizes, [this](std::uint64_t delivery) { Deliver(delivery); },
                 [this](bool serving) { Serve(serving); }, [this] { return m_powered; },
                 [this] { return m_hooks.disks ? m_hooks.disks() : nlohmann::ordered_json(); },
                 [this](const std::string& path, std::uint64_t size) {
                     if (m_hooks.resizeDisk) {
                         m_hooks.resizeDisk(path, size);
                     }
                 }}),
      m_traceVerbs(m_trace) {}

Middleware::~Middleware() {
    m_cutPoint.PowerIsOff();
    m_server.reset();
    m_scheduler->Stop();
}

void Middleware::SetHooks(Hooks hooks) {
    m_hooks = std::move(hooks);
}

void Middleware::Listen(const std::string& path) {
    m_server = std::make_unique<Server>(
        path, Server::Calls{[this](const Request& request) { return Answer(request); },
                            [this](const std::string& client) { return Opened(client); },
                            [this](const std::string& client, const std::shared_ptr<EventQueue>& queue) {
                                Closed(client, queue);
                            }});
}

void Middleware::PowerOn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_epoch;
    m_powered = true;
    m_serving = true;
    m_cutPoint.PowerIsOn();
    m_auxiliary = {};
    m_finish.PowerOn();
    m_synced.PowerOn();
    m_faults.Forget();
    m_model.PowerOn();
    m_appManager.PowerOn();
    {
        const std::lock_guard<std::mutex> timeLock(m_timeMutex);
        m_powerOnTime = m_scheduler->Now();
    }
    if (m_server) {
        m_server->SetOpen(true);
    }
}

void Middleware::StopApplication(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (const std::uint64_t delivery = m_appManager.Ask("requestStop", {""}); delivery != 0) {
        m_appManager.Wait(lock, delivery, limit);
    }
}

void Middleware::ApplicationEnded(int status) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_model.Ended(status);
    m_appManager.Ended();
}

void Middleware::PowerOff() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_epoch;
        m_powered = false;
        m_appManager.Drop("");
        if (m_server) {
            m_server->SetOpen(false);
            m_server->DropConnections();
        }
        m_cutPoint.PowerIsOff();
    }
    if (m_server) {
        m_server->AwaitNone();  // what was reported before has its row before that of the power
    }
}

void Middleware::CutPowerAfter(std::uint64_t steps) {
    m_cutPoint.Arm(steps);
}

std::string Middleware::Told(const VerbForm& form, const Words& words,
                             const std::function<std::string()>& carryOut) {
    if (!form.changes) {
        return carryOut();
    }
    nlohmann::json row{{"who", "ctl"}, {"call", words[0]}, {"words", Words(words.begin() + 1, words.end())}};
    Trace(row);
    try {
        return carryOut();
    } catch (const std::exception& error) {
        row["error"] = error.what();
        Trace(row);
        throw;
    }
}

void Middleware::RecallRun() {
    m_trace.Recall();
    for (const TraceRow& row : m_trace.Await(m_trace.Cleared(), std::chrono::milliseconds(0))) {
        nlohmann::json violation = nlohmann::json::parse(row.line, nullptr, false);
        if (Violations::IsOne(violation)) {
            violation.erase("seq");
            violation.erase("ms");
            m_violations.Add(violation);
        }
    }
}

std::string Middleware::Control(const Words& words, const Caller& caller) {
    if (TraceVerbs::Have(words)) {
        return m_traceVerbs.Run(words, caller);
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_controlLock = &lock;
    return m_control.Run(words);
}

std::optional<std::chrono::milliseconds> Middleware::Behaviour(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_behaviours.Delay(name);
}

bool Middleware::AnswersWrong(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_behaviours.AnswersWrong(name);
}

std::uint64_t Middleware::DiskSize(const std::string& path) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_diskSizes.Of(path);
}

std::map<std::string, std::uint64_t> Middleware::ChangedDiskSizes() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_diskSizes.Changed();
}

std::string Middleware::Flash(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_flash.Value(name);
}

void Middleware::SetFlash(const std::string& name, const std::string& value) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_flash.Assign(name, value);
}

void Middleware::Trace(const nlohmann::json& row) {
    m_finish.Follow(row);
    if (SyncedRules::IsResult(row)) {
        JudgeSynced("set", {{"key", row.at("key")}});
    }
    const std::lock_guard<std::mutex> lock(m_timeMutex);
    m_trace.Append((m_scheduler->Now() - m_powerOnTime).count(), WithAsker(row));
    if (CutPoint::IsStep(row)) {
        m_cutPoint.Step();
    }
}

void Middleware::Violation(const std::string& rule, const std::string& call, const std::string& expected,
                           nlohmann::json details) {
    const nlohmann::json row = Violations::Row(rule, call, expected, std::move(details));
    m_violations.Add(row);
    Trace(row);
}

const std::map<std::string, Middleware::Operation>& Middleware::Operations() {
    static const std::map<std::string, Operation> kOperations = {
        {"proxy", [](Middleware& self, const Request& r) { return self.m_model.Proxy(r); }},
        {"interface", [](Middleware& self, const Request& r) { return self.m_model.Interface(r); }},
        {"root", [](Middleware& self, const Request& r) { return self.m_model.Root(r); }},
        {"connect", [](Middleware& self, const Request& r) { return self.m_model.Connect(r); }},
        {"disconnect", [](Middleware& self, const Request& r) { return self.m_model.Disconnect(r); }},
        {"release", &Middleware::Release},
        {"set", [](Middleware& self, const Request& r) { return self.m_model.SetValue(r); }},
        {"get", [](Middleware& self, const Request& r) { return self.m_model.GetValue(r); }},
        {"invoke", [](Middleware& self, const Request& r) { return self.m_model.Invoke(r); }},
        {"iterator", [](Middleware& self, const Request& r) { return self.m_model.OpenIterator(r); }},
        {"count", [](Middleware& self, const Request& r) { return self.m_model.Count(r); }},
        {"rows", [](Middleware& self, const Request& r) { return self.m_model.Rows(r); }},
        {"iterator-end", &Middleware::CloseIterator},
        {"flash-get", [](Middleware& self, const Request& r) { return self.m_flash.Get(r); }},
        {"flash-set", [](Middleware& self, const Request& r) { return self.m_flash.Put(r); }},
        {"meta-init", [](Middleware& self, const Request& r) { return self.m_metadata.Init(r); }},
        {"meta-read", [](Middleware& self, const Request& r) { return self.m_metadata.Read(r); }},
        {"meta-write", [](Middleware& self, const Request& r) { return self.m_metadata.Write(r); }},
        {"access-route", [](Middleware& self, const Request& r) { return self.m_metadata.CreateAccessRoute(r); }},
        {"keys-write", [](Middleware& self, const Request& r) { return self.m_keys.Write(r); }},
        {"keys-check", [](Middleware& self, const Request& r) { return self.m_keys.Check(r); }},
        {"apm-rpc", [](Middleware& self, const Request& r) { return self.m_appManager.SetRpcEnv(r); }},
        {"apm-adapter", [](Middleware& self, const Request& r) { return self.m_appManager.Adapter(r); }},
        {"apm-register", [](Middleware& self, const Request& r) { return self.m_appManager.Register(r); }},
        {"apm-status", [](Middleware& self, const Request& r) { return self.m_appManager.NotifyStatus(r); }},
        {"apm-unregister", [](Middleware& self, const Request& r) { return self.m_appManager.Unregister(r); }},
        {"apm-delivered", [](Middleware& self, const Request& r) { return self.m_appManager.Delivered(r); }},
    };
    return kOperations;
}

Reply Middleware::Release(Middleware& self, const Request& request) {
    Reply reply = self.m_model.Release(request);
    self.Trace({{"who", "model"},
                {"call", "release"},
                {"connections", request.value("conns", nlohmann::json::array())},
                {"status", reply.at("status")}});
    return reply;
}

Reply Middleware::CloseIterator(Middleware& self, const Request& request) {
    Reply reply = self.m_model.CloseIterator(request);
    self.Trace({{"who", "model"}, {"call", "iterator-end"}, {"status", reply.at("status")}});
    return reply;
}

// What happens while the power fails is not answered any more.
Reply Middleware::Answer(const Request& request) {
    m_cutPoint.HoldWhileFailing();
    Reply reply = Carry(request);
    if (m_hooks.onAnswer) {
        m_hooks.onAnswer(m_trace.Last());
    }
    if (m_cutPoint.TakeReached() && m_hooks.onPowerCut) {
        m_hooks.onPowerCut();
    }
    m_cutPoint.HoldWhileFailing();
    return reply;
}

Reply Middleware::Sync() {
    m_cutPoint.Step();
    m_finish.Sync();
    if (m_cutPoint.IsFailing()) {
        return {{"status", kOk}};  // nobody gets it
    }
    const auto begin = m_scheduler->Now();
    nlohmann::json row{{"who", "sync"}, {"call", "sync"}};
    std::int32_t status = TakeFault("sync", "sync");
    if (status != kOk) {
        row["fault"] = status;
    } else if (m_hooks.onSync && !m_hooks.onSync()) {
        status = kNotKept;
    }
    m_synced.Sync(status == kOk);
    row["tookMs"] = (m_scheduler->Now() - begin).count();
    row["status"] = status;
    Trace(row);
    return {{"status", status}};
}

Reply Middleware::Carry(const Request& request) {
    try {
        const WhileCarriedOut asker(request);
        const auto op = request.at("op").get<std::string>();
        if (op == "sync") {
            return Sync();
        }
        if (op == "violation") {
            Violation(request.at("rule").get<std::string>(), request.at("call").get<std::string>(),
                      request.at("expected").get<std::string>(),
                      request.value("details", nlohmann::json::object()));
            return {{"status", kOk}};
        }
        if (op == "answering") {
            JudgeSynced("answer", nlohmann::json::object());
            return {{"status", kOk}};
        }
        if (op == "mounting") {
            return {{"status", TakeFault("mount", request.at("target").get<std::string>())}};
        }
        if (op == "trace" || op == "mount") {
            return Report(op, request);
        }
        const auto operation = Operations().find(op);
        if (operation == Operations().end()) {
            return {{"status", kBadRequest}, {"error", "unknown operation \"" + op + "\""}};
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_powered && m_serving ? operation->second(*this, request) : Reply{{"status", kUnreachable}};
    } catch (const nlohmann::json::exception& error) {
        return {{"status", kBadRequest}, {"error", error.what()}};
    } catch (const StateError& error) {
        Problem(error.what());
        return {{"status", kNotKept}, {"error", error.what()}};
    } catch (const std::exception& error) {
        return {{"status", kBadRequest}, {"error", error.what()}};
    }
}

Reply Middleware::Report(const std::string& op, const Request& request) {
    nlohmann::json row = op == "trace" ? request.at("row") : request;
    if (!row.is_object()) {
        return {{"status", kBadRequest}, {"error", "\"row\" has to be an object"}};
    }
    if (op == "mount") {
        row.erase("op");
        row["who"] = "mount";
    }
    const std::int32_t fault =
        row.value("who", "") == "shell" ? TakeFault("shell", row.value("command", "")) : kOk;
    if (fault != kOk) {
        row["fault"] = fault;
    }
    if (row.value("who", "") == "shell-end" && row.value("status", 0) != 0) {
        TellFullDisks(row);
    }
    Trace(row);
    return {{"status", fault}};
}

// What a call tells to have been done has to outlive the power by then.
void Middleware::JudgeSynced(const std::string& call, const nlohmann::json& details) {
    if (!m_hooks.written) {
        return;
    }
    if (const auto broken = m_synced.Judge(m_hooks.written())) {
        Violation(broken->rule, call, broken->expected, details);
    }
}

// A program that finds no room is not asked why it failed, so this tells what was full just then.
void Middleware::TellFullDisks(const nlohmann::json& command) {
    if (!m_hooks.disks) {
        return;
    }
    for (const auto& disk : m_hooks.disks()) {
        if (disk.at("free") == 0) {
            Trace({{"who", "disk"},
                   {"call", "full"},
                   {"path", disk.at("path")},
                   {"command", command.value("command", "")}});
        }
    }
}

// What a call of the board's has to come to: 0, or the status of a fault.
std::int32_t Middleware::TakeFault(const std::string& area, const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults.Take(area, name, "any");
}

std::shared_ptr<EventQueue> Middleware::Opened(const std::string& client) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_powered && m_serving ? m_clients.Add(client) : nullptr;
}

void Middleware::Closed(const std::string& client, const std::shared_ptr<EventQueue>& queue) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_clients.Remove(client, queue)) {
        m_model.Drop(client);
        m_appManager.Drop(client);
    }
}

void Middleware::Later(std::chrono::milliseconds delay, std::function<void()> task) {
    m_scheduler->Post(delay, [this, epoch = m_epoch, task = std::move(task)] {
        bool reboot = false;
        try {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (epoch == m_epoch) {
                task();
                reboot = std::exchange(m_rebootAsked, false);
            }
        } catch (const StateError& error) {
            Problem(error.what());
        }
        if (reboot && m_hooks.onReboot) {
            m_hooks.onReboot();
        }
    });
}

// Called by m_control, under the lock of Control.
void Middleware::Deliver(std::uint64_t delivery) {
    if (delivery == 0) {
        throw ControlError("no application is registered: wait until the application runs");
    }
    if (!m_appManager.Wait(*m_controlLock, delivery, kPressLimit)) {
        throw ControlError("the application did not take it: see whether it still runs");
    }
}

// Called by m_control, under the lock of Control. Syncs, mounts and shell commands are the board's and go on.
void Middleware::Serve(bool serving) {
    if (m_serving == serving) {
        return;
    }
    m_serving = serving;
    Trace({{"who", "services"}, {"call", serving ? "up" : "down"}});
    if (!serving) {
        m_model.Die();
        m_appManager.Die();
        m_auxiliary.Excuse();
        m_faults.Note("model");
        m_clients.CloseAll();
    }
}

void Middleware::Problem(const std::string& message) const {
    if (m_hooks.onProblem) {
        m_hooks.onProblem(message);
    }
}

std::vector<VerbForm> Middleware::Verbs() {
    std::vector<VerbForm> forms = simset::Control::Forms();
    const std::vector<VerbForm> ofTrace = TraceVerbs::Forms();
    forms.insert(forms.end(), ofTrace.begin(), ofTrace.end());
    return forms;
}

}  // namespace simset

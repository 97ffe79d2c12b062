#include "simset/core/middleware/Middleware.h"

#include <map>
#include <mutex>
#include <utility>

#include "simset/base/Status.h"
#include "simset/core/middleware/Control.h"
#include "simset/core/middleware/Server.h"
#include "simset/core/services/AppManager.h"
#include "simset/core/services/KeyStore.h"
#include "simset/core/services/Model.h"
#include "simset/core/services/Records.h"
#include "simset/core/state/CutPoint.h"
#include "simset/core/state/TraceLog.h"

namespace simset {

namespace {

constexpr std::chrono::seconds kPressLimit{5};

}  // namespace

class Middleware::Impl {
  public:
    Impl(const std::filesystem::path& stateDir, std::unique_ptr<Scheduler> scheduler)
        : m_scheduler(scheduler ? std::move(scheduler) : MakeTimerThread()),
          m_powerOnTime(m_scheduler->Now()),
          m_state(stateDir / "state.db"),
          m_faults(m_state),
          m_behaviours(m_state),
          m_trace(stateDir / "trace.jsonl"),
          m_shared{m_state,
                   m_faults,
                   m_behaviours,
                   m_clients,
                   [this](const nlohmann::json& row) { Trace(row); },
                   [this](std::chrono::milliseconds delay, std::function<void()> task) {
                       Later(delay, std::move(task));
                   },
                   [this] { m_rebootAsked = true; }},
          m_flash(m_shared),
          m_metadata(m_shared),
          m_keys(m_shared),
          m_model(m_shared),
          m_appManager(m_shared),
          m_control({m_model, m_flash, m_metadata, m_keys, m_faults, m_behaviours, m_trace,
                     [this](std::int32_t code) { Press(code); }}) {}

    ~Impl() {
        m_cutPoint.PowerIsOff();
        m_server.reset();
        m_scheduler->Stop();
    }

    void SetHooks(Hooks hooks) { m_hooks = std::move(hooks); }

    void Listen(const std::string& path) {
        m_server = std::make_unique<Server>(
            path, Server::Calls{[this](const Request& request) { return Answer(request); },
                                [this](const std::string& client) { return Opened(client); },
                                [this](const std::string& client, const std::shared_ptr<EventQueue>& queue) {
                                    Closed(client, queue);
                                }});
    }

    void PowerOn() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_epoch;
        m_powered = true;
        m_model.PowerOn();
        {
            const std::lock_guard<std::mutex> timeLock(m_timeMutex);
            m_powerOnTime = m_scheduler->Now();
        }
        if (m_server) {
            m_server->SetOpen(true);
        }
    }

    void PowerOff() {
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

    void CutPowerAfter(std::uint64_t steps) { m_cutPoint.Arm(steps); }

    std::string RunControl(const Words& words) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_controlLock = &lock;
        return m_control.Run(words);
    }

    std::optional<std::chrono::milliseconds> Behaviour(const std::string& name) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_behaviours.Delay(name);
    }

    std::string FlashValue(const std::string& name) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_flash.Value(name);
    }

    void AssignFlash(const std::string& name, const std::string& value) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_flash.Assign(name, value);
    }

    void Trace(const nlohmann::json& row) {
        const std::lock_guard<std::mutex> lock(m_timeMutex);
        m_trace.Append((m_scheduler->Now() - m_powerOnTime).count(), row);
        if (CutPoint::IsStep(row)) {
            m_cutPoint.Step();
        }
    }

  private:
    using Operation = Reply (*)(Impl&, const Request&);

    static const std::map<std::string, Operation>& Operations() {
        static const std::map<std::string, Operation> kOperations = {
            {"proxy", [](Impl& impl, const Request& r) { return impl.m_model.Proxy(r); }},
            {"interface", [](Impl& impl, const Request& r) { return impl.m_model.Interface(r); }},
            {"root", [](Impl& impl, const Request& r) { return impl.m_model.Root(r); }},
            {"connect", [](Impl& impl, const Request& r) { return impl.m_model.Connect(r); }},
            {"disconnect", [](Impl& impl, const Request& r) { return impl.m_model.Disconnect(r); }},
            {"release", [](Impl& impl, const Request& r) { return impl.m_model.Release(r); }},
            {"set", [](Impl& impl, const Request& r) { return impl.m_model.SetValue(r); }},
            {"get", [](Impl& impl, const Request& r) { return impl.m_model.GetValue(r); }},
            {"invoke", [](Impl& impl, const Request& r) { return impl.m_model.Invoke(r); }},
            {"iterator", [](Impl& impl, const Request& r) { return impl.m_model.OpenIterator(r); }},
            {"count", [](Impl& impl, const Request& r) { return impl.m_model.Count(r); }},
            {"rows", [](Impl& impl, const Request& r) { return impl.m_model.Rows(r); }},
            {"iterator-end", [](Impl& impl, const Request& r) { return impl.m_model.CloseIterator(r); }},
            {"flash-get", [](Impl& impl, const Request& r) { return impl.m_flash.Get(r); }},
            {"flash-set", [](Impl& impl, const Request& r) { return impl.m_flash.Put(r); }},
            {"meta-init", [](Impl& impl, const Request& r) { return impl.m_metadata.Init(r); }},
            {"meta-read", [](Impl& impl, const Request& r) { return impl.m_metadata.Read(r); }},
            {"meta-write", [](Impl& impl, const Request& r) { return impl.m_metadata.Write(r); }},
            {"access-route", [](Impl& impl, const Request& r) { return impl.m_metadata.CreateAccessRoute(r); }},
            {"keys-write", [](Impl& impl, const Request& r) { return impl.m_keys.Write(r); }},
            {"keys-check", [](Impl& impl, const Request& r) { return impl.m_keys.Check(r); }},
            {"apm-rpc", [](Impl& impl, const Request& r) { return impl.m_appManager.SetRpcEnv(r); }},
            {"apm-adapter", [](Impl& impl, const Request& r) { return impl.m_appManager.Adapter(r); }},
            {"apm-register", [](Impl& impl, const Request& r) { return impl.m_appManager.Register(r); }},
            {"apm-status", [](Impl& impl, const Request& r) { return impl.m_appManager.NotifyStatus(r); }},
            {"apm-unregister", [](Impl& impl, const Request& r) { return impl.m_appManager.Unregister(r); }},
            {"apm-delivered", [](Impl& impl, const Request& r) { return impl.m_appManager.Delivered(r); }},
        };
        return kOperations;
    }

    // What happens while the power fails is not answered any more.
    Reply Answer(const Request& request) {
        m_cutPoint.HoldWhileFailing();
        Reply reply = Carry(request);
        if (m_cutPoint.TakeReached() && m_hooks.onPowerCut) {
            m_hooks.onPowerCut();
        }
        m_cutPoint.HoldWhileFailing();
        return reply;
    }

    Reply Sync() {
        m_cutPoint.Step();
        if (!m_cutPoint.IsFailing() && m_hooks.onSync) {
            m_hooks.onSync();
        }
        return {{"status", kOk}};
    }

    Reply Carry(const Request& request) {
        try {
            const auto op = request.at("op").get<std::string>();
            if (op == "sync") {
                return Sync();
            }
            if (op == "trace" || op == "mount") {
                return Report(op, request);
            }
            const auto operation = Operations().find(op);
            if (operation == Operations().end()) {
                return {{"status", kBadRequest}, {"error", "unknown operation \"" + op + "\""}};
            }
            const std::lock_guard<std::mutex> lock(m_mutex);
            return m_powered ? operation->second(*this, request) : Reply{{"status", kUnreachable}};
        } catch (const nlohmann::json::exception& error) {
            return {{"status", kBadRequest}, {"error", error.what()}};
        } catch (const StateError& error) {
            Problem(error.what());
            return {{"status", kNotKept}, {"error", error.what()}};
        } catch (const std::exception& error) {
            return {{"status", kBadRequest}, {"error", error.what()}};
        }
    }

    Reply Report(const std::string& op, const Request& request) {
        nlohmann::json row = op == "trace" ? request.at("row") : request;
        if (!row.is_object()) {
            return {{"status", kBadRequest}, {"error", "\"row\" has to be an object"}};
        }
        if (op == "mount") {
            row.erase("op");
            row["who"] = "mount";
        }
        Trace(row);
        return {{"status", kOk}};
    }

    std::shared_ptr<EventQueue> Opened(const std::string& client) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_powered ? m_clients.Add(client) : nullptr;
    }

    void Closed(const std::string& client, const std::shared_ptr<EventQueue>& queue) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_clients.Remove(client, queue)) {
            m_model.Drop(client);
            m_appManager.Drop(client);
        }
    }

    void Later(std::chrono::milliseconds delay, std::function<void()> task) {
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

    // Called by m_control, under the lock of RunControl.
    void Press(std::int32_t code) {
        const std::uint64_t delivery = m_appManager.Press(code);
        if (delivery == 0) {
            throw ControlError("no application is registered: wait until the application runs");
        }
        if (!m_appManager.Wait(*m_controlLock, delivery, kPressLimit)) {
            throw ControlError("the application did not take the key: see whether it still runs");
        }
    }

    void Problem(const std::string& message) const {
        if (m_hooks.onProblem) {
            m_hooks.onProblem(message);
        }
    }

    std::mutex m_mutex;
    mutable std::mutex m_timeMutex;  // taken inside m_mutex or alone
    std::unique_ptr<Scheduler> m_scheduler;
    std::chrono::milliseconds m_powerOnTime;
    std::uint64_t m_epoch = 0;  // counts power-ons and power-offs
    bool m_powered = true;
    bool m_rebootAsked = false;
    State m_state;
    Faults m_faults;
    Behaviours m_behaviours;
    Clients m_clients;
    TraceLog m_trace;
    CutPoint m_cutPoint;
    Shared m_shared;
    simset::Flash m_flash;
    Metadata m_metadata;
    KeyStore m_keys;
    Model m_model;
    AppManager m_appManager;
    simset::Control m_control;
    std::unique_lock<std::mutex>* m_controlLock = nullptr;
    Hooks m_hooks;
    std::unique_ptr<Server> m_server;
};

Middleware::Middleware(const std::filesystem::path& stateDir, std::unique_ptr<Scheduler> scheduler)
    : m_impl(std::make_unique<Impl>(stateDir, std::move(scheduler))) {}

Middleware::~Middleware() = default;

void Middleware::SetHooks(Hooks hooks) {
    m_impl->SetHooks(std::move(hooks));
}

void Middleware::Listen(const std::string& socketPath) {
    m_impl->Listen(socketPath);
}

void Middleware::PowerOn() {
    m_impl->PowerOn();
}

void Middleware::PowerOff() {
    m_impl->PowerOff();
}

std::vector<VerbForm> Middleware::Verbs() {
    return simset::Control::Forms();
}

std::string Middleware::Control(const Words& words) {
    return m_impl->RunControl(words);
}

void Middleware::CutPowerAfter(std::uint64_t steps) {
    m_impl->CutPowerAfter(steps);
}

std::optional<std::chrono::milliseconds> Middleware::Behaviour(const std::string& name) const {
    return m_impl->Behaviour(name);
}

std::string Middleware::Flash(const std::string& name) const {
    return m_impl->FlashValue(name);
}

void Middleware::SetFlash(const std::string& name, const std::string& value) {
    m_impl->AssignFlash(name, value);
}

void Middleware::Trace(const nlohmann::json& row) {
    m_impl->Trace(row);
}

}  // namespace simset

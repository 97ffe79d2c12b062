#include "scripted/Script.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "model/ModelKeys.h"

namespace scripted {
namespace {

// A loop that waits for something that a failed test will never give must end all the same.
constexpr int kCallsUntilAbandoned = 1000;

std::atomic<Script*> g_current{nullptr};

}  // namespace

Step& Step::Returns(int result) {
    m_result = result;
    return *this;
}

Step& Step::Text(std::string text) {
    m_text = std::move(text);
    return *this;
}

Step& Step::Values(std::vector<std::int32_t> values) {
    m_values = std::move(values);
    return *this;
}

Step& Step::Texts(std::vector<std::string> texts) {
    m_texts = std::move(texts);
    return *this;
}

Step& Step::NoHandle() {
    m_handle = false;
    return *this;
}

Step& Step::Then(std::function<void()> action) {
    m_action = std::move(action);
    return *this;
}

Step& Step::Times(int count) {
    if (count < 1) {
        throw std::logic_error("a call that is expected comes once at least");
    }
    m_left = count;
    return *this;
}

Answer::Answer(const Step& step, int usual)
    : result(step.m_result.value_or(usual)),
      handle(step.m_handle),
      text(step.m_text),
      values(step.m_values),
      texts(step.m_texts) {}

Script::Script() {
    if (g_current.exchange(this) != nullptr) {
        throw std::logic_error("two scripts at once");
    }
}

Script::~Script() {
    if (m_capturing) {
        Output();
    }
    g_current = nullptr;
}

Script& Script::Current() {
    Script* const current = g_current;
    if (current == nullptr) {
        throw std::logic_error("a call reached the scripted set outside of any test");
    }
    return *current;
}

Step& Script::Add(const std::string& call) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Step& step = m_steps.emplace_back();
    step.m_call = call;
    step.m_group = m_anyOrderGroup != 0 ? m_anyOrderGroup : ++m_group;
    return step;
}

Step& Script::Expect(const std::string& call) {
    return Add(call);
}

Step& Script::Allow(const std::string& call) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Step& step = m_allowed.emplace_back();
    step.m_call = call;
    return step;
}

void Script::AllowAnyOrder() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_anyOrderGroup = ++m_group;
    m_anyOrderGroups.insert(m_anyOrderGroup);
}

void Script::InOrder() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_anyOrderGroup = 0;
}

void Script::ExpectRoot() {
    Expect("proxy");
    Expect(std::string("interface ") + zel::key::kRootInterface);
    Expect("root");
}

Step& Script::ExpectConnect(const std::string& key) {
    ExpectRoot();
    return Expect("connect " + key);
}

void Script::ExpectSettled(const std::string& key) {
    Expect("delay 50000");
    Expect("disconnect " + key);
}

Step& Script::ExpectSet(const std::string& key, std::int32_t value) {
    ExpectConnect(key);
    Step& step = Expect("set " + key + " " + std::to_string(value));
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectGet(const std::string& key, std::int32_t value) {
    ExpectConnect(key);
    Step& step = Expect("get " + key).Values({value});
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectGetText(const std::string& key, const std::string& text) {
    ExpectConnect(key);
    Step& step = Expect("get " + key).Text(text);
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectGetVector(const std::string& key, const std::vector<std::int32_t>& values) {
    ExpectConnect(key);
    Step& step = Expect("get " + key).Values(values);
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectGetTexts(const std::string& key, const std::vector<std::string>& texts) {
    ExpectConnect(key);
    Step& step = Expect("get " + key).Texts(texts);
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectSetElement(const std::string& key, std::int32_t index, std::int32_t value) {
    ExpectConnect(key);
    Step& step = Expect("set " + key + " [" + std::to_string(index) + ":" + std::to_string(value) + "]");
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectSetText(const std::string& key, const std::string& text) {
    ExpectConnect(key);
    Step& step = Expect("set " + key + " \"" + text + "\"");
    ExpectSettled(key);
    return step;
}

Step& Script::ExpectInvoke(const std::string& key, const std::vector<std::string>& arguments) {
    std::string list;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        list += (i == 0 ? "" : ", ") + std::to_string(i) + ":" + arguments[i];
    }
    ExpectConnect(key);
    Step& step = Expect("invoke " + key + " [" + list + "]");
    ExpectSettled(key);
    return step;
}

void Script::ExpectModelFailure(int status) {
    Expect("proxy").Returns(status);
}

void Script::Verify() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string left;
    for (const Step& step : m_steps) {
        if (step.m_left > 0) {
            left += "\n  " + step.m_call;
            left += step.m_left > 1 ? " (" + std::to_string(step.m_left) + " times)" : "";
        }
    }
    m_steps.clear();
    if (!left.empty()) {
        ADD_FAILURE() << "expected calls that did not come:" << left;
    }
}

Step* Script::Find(const std::string& call) {
    const auto due =
        std::find_if(m_steps.begin(), m_steps.end(), [](const Step& step) { return step.m_left > 0; });
    if (due != m_steps.end()) {
        const bool anyOrder = m_anyOrderGroups.count(due->m_group) != 0;
        for (auto step = due; step != m_steps.end() && step->m_group == due->m_group; ++step) {
            if (step->m_left > 0 && step->m_call == call) {
                --step->m_left;
                return &*step;
            }
            if (!anyOrder) {
                break;
            }
        }
    }
    const auto allowed =
        std::find_if(m_allowed.begin(), m_allowed.end(), [&](const Step& step) { return step.m_call == call; });
    return allowed != m_allowed.end() ? &*allowed : nullptr;
}

void Script::ReportUnexpected(const std::string& call) {
    const auto due =
        std::find_if(m_steps.begin(), m_steps.end(), [](const Step& step) { return step.m_left > 0; });
    ADD_FAILURE() << "unexpected call: " << call
                  << "\n  expected next: " << (due == m_steps.end() ? "nothing more" : due->m_call);
}

Answer Script::Call(const std::string& call, int usual) {
    Answer answer;
    std::function<void()> action;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const Step* const step = Find(call);
        if (step == nullptr) {
            // One report is enough: what follows a wrong call is wrong as well.
            if (!m_failed) {
                ReportUnexpected(call);
            }
            m_failed = true;
            if (++m_callsAfterFailure > kCallsUntilAbandoned) {
                throw std::runtime_error("abandoned: the test has failed and its calls do not end");
            }
            return answer;
        }
        answer = Answer(*step, usual);
        action = step->m_action;
    }
    if (action) {
        action();
    }
    return answer;
}

void Script::AddObserver(const void* owner, const std::string& key, vumodelapi::Observer* observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_observers.push_back({owner, key, observer});
}

bool Script::DropObserver(const void* owner, const std::string& key, vumodelapi::Observer* observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = std::find_if(m_observers.begin(), m_observers.end(), [&](const Connection& entry) {
        return entry.owner == owner && entry.key == key && entry.observer == observer;
    });
    if (found == m_observers.end()) {
        return false;
    }
    m_observers.erase(found);
    return true;
}

void Script::DropObservers(const void* owner) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_observers.erase(std::remove_if(m_observers.begin(), m_observers.end(),
                                     [&](const Connection& entry) { return entry.owner == owner; }),
                      m_observers.end());
}

std::vector<vumodelapi::Observer*> Script::ObserversOf(const void* owner) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<vumodelapi::Observer*> observers;
    for (const Connection& entry : m_observers) {
        if (entry.owner == owner && entry.observer != nullptr) {
            observers.push_back(entry.observer);
        }
    }
    return observers;
}

void Script::KeepThread(std::function<void()> thread) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_threads.push_back(std::move(thread));
}

void Script::RunThread() {
    std::function<void()> thread;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_threads.empty()) {
            throw std::logic_error("no thread was started");
        }
        thread = std::move(m_threads.front());
        m_threads.pop_front();
    }
    thread();
}

std::size_t Script::PendingThreads() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_threads.size();
}

void Script::KeepThreadName(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_threadName = name;
}

std::string Script::ThreadName() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_threadName;
}

void Script::KeepApplication(const boost::shared_ptr<qx::appmanager::AppInterface>& application) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_application = application;
}

boost::shared_ptr<qx::appmanager::AppInterface> Script::Application() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_application;
}

std::string Script::FilePath(const std::string& path) const {
    std::call_once(m_folderMade, [this] {
        m_folder.emplace();
        for (const char* usual : {"/tmp", "/var/local", "/var/run", "/var/tvservice"}) {
            std::filesystem::create_directories(m_folder->Path().string() + usual);
        }
    });
    return m_folder->Path().string() + path;
}

void Script::PutFile(const std::string& path, const std::string& text) {
    const std::filesystem::path real = FilePath(path);
    std::filesystem::create_directories(real.parent_path());
    std::ofstream file(real, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + real.string());
    }
}

void Script::MakeFolder(const std::string& path) {
    std::filesystem::create_directories(FilePath(path));
}

std::string Script::ReadFile(const std::string& path) const {
    const std::ifstream file(FilePath(path), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool Script::Exists(const std::string& path) const {
    return std::filesystem::exists(FilePath(path));
}

void Script::RemoveFile(const std::string& path) {
    std::filesystem::remove_all(FilePath(path));
}

void Script::FailOpen(const std::string& path) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_unopenable.insert(path);
}

bool Script::OpenFails(const std::string& path) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_unopenable.count(path) != 0;
}

void Script::CaptureOutput() {
    testing::internal::CaptureStdout();
    m_capturing = true;
}

std::string Script::Output() {
    m_capturing = false;
    return testing::internal::GetCapturedStdout();
}

}  // namespace scripted

// The scripted set: one strict, ordered list of the calls that the application is to make at its seams and at the
// set's libraries, with what each of them answers. The unit tests link it in the place of both.
//
// A call is known by its text:
//
//   model      "proxy"   "interface NAME"   "root"   "connect KEY"   "disconnect KEY"
//              "get KEY"   "set KEY 5"   "set KEY [INDEX:VALUE]"   "set KEY \"TEXT\""
//              "invoke KEY [0:TEXT, 1:TEXT]" (position:value)
//              "iterator KEY [code/operation/text, …]"   "count KEY"   "rows KEY N"
//   waiting    "delay MICROSECONDS"   "delay-seconds N"
//   shell      "popen COMMAND"   "system COMMAND"   "output COMMAND"
//   storage    "sync"   "remount PATH"   "private PATH"
//   threads    "start-thread"   "join"
//   serial     "serial.open PATH"   "serial.configure FD"   "serial.read"   "serial.write AA 0B …"
//              "serial.close FD"
//   flash      "flash.get NAME"   "flash.set NAME=VALUE"
//   metadata   "meta.read N"   "meta.write N VALUE"   "meta.readstr N"   "meta.writestr N TEXT"
//   keys       "keys.write N [file, file]" (an empty name as "")   "keys.check N"   "accessroute"
//   "init_factory_aux" manager    "apm.setRpcEnv"   "apm.getInstance"   "apm.register ID"   "apm.status ID N"
//   "apm.unregister ID" framework  "csp.debug"
//
// Files need no expectation: zel::OpenFile and zel::OpenFolder take the set's paths and find them below a folder
// of the test's own.
#ifndef ZELFAC_TESTS_SCRIPTED_SCRIPT_H
#define ZELFAC_TESTS_SCRIPTED_SCRIPT_H

#include <gtest/gtest.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/TempFolder.h"
#include "qx/AppInterface.h"
#include "vumodelapi/Observers.h"

namespace scripted {

// One expected call and its answer. Without a word about it a call succeeds: status 0, a handle where one is asked
// for, the number of bytes given or taken on the serial port, descriptor 3 for an opened one.
class Step {
  public:
    // The call's result: a status, a descriptor, a byte count. "root", "iterator" and "apm.getInstance" give null
    // for anything but 0, "popen" cannot start the shell.
    Step& Returns(int result);
    // The text that the call yields; bytes for "serial.read". Without it the caller's text stays as it is, but an
    // unset flash or metadata text reads as empty.
    Step& Text(std::string text);
    // The numbers that the call yields: one for "get KEY" of an integer and "meta.read", else a vector.
    Step& Values(std::vector<std::int32_t> values);
    // The texts that the call yields: a vector of texts, or the results of "invoke".
    Step& Texts(std::vector<std::string> texts);
    // The call succeeds but hands out no handle ("connect") or reference ("interface").
    Step& NoHandle();
    // Runs inside the call, on the thread that makes it, for example to notify an observer.
    Step& Then(std::function<void()> action);
    // The call comes so many times in a row (1 or more).
    Step& Times(int count);

  private:
    friend class Script;
    friend struct Answer;
    std::string m_call;
    std::optional<int> m_result;
    std::optional<std::string> m_text;
    std::optional<std::vector<std::int32_t>> m_values;
    std::optional<std::vector<std::string>> m_texts;
    bool m_handle = true;
    std::function<void()> m_action;
    int m_left = 1;
    int m_group = 0;
};

// What a call gets back.
struct Answer {
    Answer() = default;
    Answer(const Step& step, int usual);
    int result = -1;
    bool handle = false;
    std::optional<std::string> text;
    std::optional<std::vector<std::int32_t>> values;
    std::optional<std::vector<std::string>> texts;
};

// One per test; the fakes find it by Current(). All operations may be called from any thread.
class Script {
  public:
    Script();
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    // The script of the running test. Throws std::logic_error when there is none.
    static Script& Current();

    // ---- Expectations -------------------------------------------------------------------------------------

    // The next call that is to come. The reference stays valid as long as the script.
    Step& Expect(const std::string& call);
    // A call that may come at any time, any number of times; for loops whose pace is not the subject.
    Step& Allow(const std::string& call);
    // Calls expected from here to InOrder() may come in any order among themselves: for phases of several threads.
    void AllowAnyOrder();
    void InOrder();

    // The way to a connected key: proxy, interface, root, connect. Returns the connect.
    Step& ExpectConnect(const std::string& key);
    // Proxy, interface, root.
    void ExpectRoot();
    // The way back: 50 ms and the disconnect.
    void ExpectSettled(const std::string& key);

    // Whole cycles from proxy to disconnect. Each returns the operation's step.
    Step& ExpectSet(const std::string& key, std::int32_t value);
    Step& ExpectGet(const std::string& key, std::int32_t value);
    Step& ExpectGetText(const std::string& key, const std::string& text);
    Step& ExpectGetVector(const std::string& key, const std::vector<std::int32_t>& values);
    Step& ExpectGetTexts(const std::string& key, const std::vector<std::string>& texts);
    Step& ExpectSetElement(const std::string& key, std::int32_t index, std::int32_t value);
    Step& ExpectSetText(const std::string& key, const std::string& text);
    // `arguments` at positions 0, 1, 2 …
    Step& ExpectInvoke(const std::string& key, const std::vector<std::string>& arguments = {});
    // A cycle that ends where the proxy does not start; the wrapper concerned returns -1.
    void ExpectModelFailure(int status = 1);

    // Fails the test for every expected call that has not come. The fixture calls it at the end; a test may call
    // it between two phases.
    void Verify();

    // ---- Observers, threads, application ------------------------------------------------------------------

    // The observer of kind T that is connected to `key` (or observes an iterator of it). Throws std::logic_error
    // when there is none.
    template <typename T>
    T& Observer(const std::string& key) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (auto entry = m_observers.rbegin(); entry != m_observers.rend(); ++entry) {
            T* const observer = entry->key == key ? dynamic_cast<T*>(entry->observer) : nullptr;
            if (observer != nullptr) {
                return *observer;
            }
        }
        throw std::logic_error("no such observer is connected to " + key);
    }

    // Runs the oldest thread that was started and not run yet, here and now. Throws when there is none.
    void RunThread();
    // Threads started and not run yet.
    std::size_t PendingThreads();
    // The name that a thread gave itself last.
    std::string ThreadName();

    // The application registered with the manager, null without.
    boost::shared_ptr<qx::appmanager::AppInterface> Application();

    // ---- Files --------------------------------------------------------------------------------------------
    // Paths are the set's own and absolute. "/tmp", "/var/local", "/var/run" and "/var/tvservice" exist.

    std::string FilePath(const std::string& path) const;  // where `path` really is
    void PutFile(const std::string& path, const std::string& text);
    void MakeFolder(const std::string& path);
    std::string ReadFile(const std::string& path) const;  // empty when there is none
    bool Exists(const std::string& path) const;
    void RemoveFile(const std::string& path);  // file or folder
    // OpenFile and OpenFolder of `path` fail from now on.
    void FailOpen(const std::string& path);

    // ---- Standard output ----------------------------------------------------------------------------------

    void CaptureOutput();
    // What was printed since CaptureOutput, which ends here.
    std::string Output();

    // ---- For the fakes ------------------------------------------------------------------------------------

    // Takes the expectation of `call`; a call that is not due fails the test. `usual` is the result of a step that
    // names none.
    Answer Call(const std::string& call, int usual = 0);
    bool OpenFails(const std::string& path);
    void AddObserver(const void* owner, const std::string& key, vumodelapi::Observer* observer);
    // Whether the observer was known.
    bool DropObserver(const void* owner, const std::string& key, vumodelapi::Observer* observer);
    void DropObservers(const void* owner);
    std::vector<vumodelapi::Observer*> ObserversOf(const void* owner);
    // References to the model's interface that come (1) and go (-1).
    void CountInterface(int change) { m_interfaces += change; }
    int Interfaces() const { return m_interfaces; }
    void KeepThread(std::function<void()> thread);
    void KeepThreadName(const std::string& name);
    void KeepApplication(const boost::shared_ptr<qx::appmanager::AppInterface>& application);

  private:
    struct Connection {
        const void* owner;
        std::string key;
        vumodelapi::Observer* observer;
    };

    Step& Add(const std::string& call);
    Step* Find(const std::string& call);
    void ReportUnexpected(const std::string& call);

    std::mutex m_mutex;
    std::deque<Step> m_steps;
    std::deque<Step> m_allowed;
    int m_group = 0;
    int m_anyOrderGroup = 0;  // 0: expectations are in order
    std::set<int> m_anyOrderGroups;
    int m_callsAfterFailure = 0;
    bool m_failed = false;
    std::vector<Connection> m_observers;
    std::atomic<int> m_interfaces{0};
    std::deque<std::function<void()>> m_threads;
    std::string m_threadName;
    boost::shared_ptr<qx::appmanager::AppInterface> m_application;
    mutable std::once_flag m_folderMade;  // at the first use: most tests have none
    mutable std::optional<tests::TempFolder> m_folder;
    std::set<std::string> m_unopenable;
    bool m_capturing = false;
};

// Puts the application's process-wide state back to what it is at the start of the process.
void ResetGlobals();

// The fixture: a fresh script and fresh globals for each test; expectations left over fail it, and so do
// references to the model's interface.
class Test : public ::testing::Test {
  protected:
    void SetUp() override { ResetGlobals(); }
    void TearDown() override {
        script.Verify();
        EXPECT_EQ(script.Interfaces(), 0) << "references to the model's interface that were not released";
    }

    Script script;
};

}  // namespace scripted

#endif

// An application that does a little of everything that a television allows, and one thing wrong: the case that its
// first argument names, or without one the name of its own file. "right" does nothing wrong.
#include <fcntl.h>
#include <sys/mount.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include "base/QuietApplication.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "frame/Process.h"
#include "qx/AppManagerClientAdapter.h"
#include "vumodelapi/RootInterface.h"

namespace {

constexpr char kRoot[] = "tovix.lm.interfaces.tvapi.RootInterface";
constexpr char kVolume[] = "tovix.sl2.i32.sound.main.volume";
constexpr char kMessage[] = "tovix.sl2.messages.messageid";
constexpr char kPreset[] = "tovix.sl2.table.servicelist.list.preset.database";
constexpr char kTuners[] = "tovix.sl2.table.favouritelist.list";
constexpr char kReady[] = "tovix.sl2.i32.qorfactory.action.factory.ready";
constexpr char kIdentity[] = "WrongApplication";
constexpr useconds_t kSettle = 50000;
constexpr std::chrono::seconds kPatience{30};

std::string g_case;

bool Is(const char* name) {
    return g_case == name;
}

void Settle() {
    if (!Is("no-settle")) {
        ::usleep(kSettle);
    }
}

// Something that a notification brings about.
class Signal {
  public:
    void Set() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_set = true;
        m_changed.notify_all();
    }
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, kPatience, [this] { return m_set; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_set = false;
};

struct Integers : vumodelapi::ObserverNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t value) override {
        if (value == 338) {
            loaded.Set();
        }
    }
    Signal loaded;
};

struct Vectors : vumodelapi::ObserverVectorNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyIntegerVector(const std::vector<std::int32_t>&) override {}
};

struct Texts : vumodelapi::ObserverString {
    void notifyConnectionState(std::int32_t) override {}
    void notifyString(const char*) override {}
};

struct Actions : vumodelapi::ObserverAction {
    void notifyConnectionState(std::int32_t) override {}
    void notifyExecutionResult(const vumodelapi::ArgumentList&) override { reported.Set(); }
    void notifyExecutionError(std::int32_t) override { reported.Set(); }
    Signal reported;
};

struct Tables : vumodelapi::ObserverTable {
    void notifyConnectionState(std::int32_t) override {}
    void notifyUpdate(std::int32_t) override {}
};

struct Rows : vumodelapi::ObserverTableIterator {
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t) override {}
    void notifyTotalCount(std::int32_t) override {}
    void notifySeekToRow(std::int32_t) override {}
    void notifySeekToContent(std::int32_t) override {}
    void notifyCursorPosition(std::int32_t) override {}
    void notifyReadRow() override {}
    void notifyReadRowChunk(const vumodelapi::TableRowChunk&) override { read.Set(); }
    void notifyIteratorReady() override {}
    void notifyUpdate(std::int32_t) override {}
    Signal read;
};

boost::shared_ptr<frame::Interface> OpenModel() {
    boost::shared_ptr<frame::Interface> interface;
    static bool first = true;
    if (Is("no-proxy") && first) {
        frame::Process::getInstance()->getInterfaceReference(interface, kRoot);
    }
    first = false;
    frame::Process::getInstance()->startAppMembersSync(CreateBizProxy);
    if (Is("other-interface")) {
        frame::Process::getInstance()->getInterfaceReference(interface, "tovix.lm.interfaces.other");
    }
    frame::Process::getInstance()->getInterfaceReference(interface, kRoot);
    return interface;
}

void SetVolume(std::int32_t value) {
    auto observer = std::make_unique<Integers>();
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::NumericInteger* volume = nullptr;
    root->connect(kVolume, observer.get(), volume);
    volume->setValue(value);
    Settle();
    vumodelapi::Observer* const connected = observer.get();
    if (Is("observer-gone")) {
        observer.reset();
    }
    if (Is("no-release")) {
        new boost::shared_ptr<frame::Interface>(interface);
    }
    if (!Is("no-disconnect")) {
        root->disconnect(kVolume, connected);
    }
    if (Is("disconnect-twice")) {
        root->disconnect(kVolume, connected);
    }
}

template <typename Handle, typename Observer>
void Use(const char* key, void (*use)(Handle& handle)) {
    Observer observer;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    Handle* handle = nullptr;
    if (root->connect(key, &observer, handle) == 0 && handle != nullptr) {
        use(*handle);
        ::usleep(kSettle);
        root->disconnect(key, &observer);
    }
}

void Invoke(const char* key, const vumodelapi::ArgumentList& arguments) {
    Actions observer;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::Action* action = nullptr;
    root->connect(key, &observer, action);
    vumodelapi::ArgumentList results;
    if (action->invoke(arguments, results) == 0) {
        observer.reported.Wait();
        ::usleep(kSettle);
        root->disconnect(key, &observer);
    }
}

void LoadPreset() {
    Integers observer;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::NumericInteger* message = nullptr;
    vumodelapi::Action* preset = nullptr;
    constexpr vumodelapi::ObserverAction* kNobody = nullptr;
    root->connect(kMessage, &observer, message);
    root->connect(kPreset, kNobody, preset);
    vumodelapi::ArgumentList results;
    if (preset->invoke({{0, 0, 0, Is("other-preset") ? "39" : "38"}}, results) == 0) {
        observer.loaded.Wait();
        ::usleep(kSettle);
        root->disconnect(kPreset, kNobody);
        root->disconnect(kMessage, &observer);
    }
}

void ReadTuners() {
    Tables observer;
    Rows rows;
    const auto interface = OpenModel();
    auto* const root = interface->getRootInterface();
    vumodelapi::Table* table = nullptr;
    root->connect(kTuners, &observer, table);
    const auto iterator = table->createIterator({}, &rows);
    iterator->totalCount();
    iterator->readNextRows(3);
    rows.read.Wait();
    ::usleep(kSettle);
    root->disconnect(kTuners, &observer);
}

void UseModel() {
    SetVolume(Is("loud") ? 101 : 20);
    // On a busy machine any one of them may be held up for as long as it should have waited.
    for (int again = 0; Is("no-settle") && again < 50; ++again) {
        SetVolume(20);
    }
    if (Is("table-before-preset")) {
        ReadTuners();
    }
    LoadPreset();
    ReadTuners();
    Use<vumodelapi::String, Texts>("tovix.sl2.str.network.ip-address", [](vumodelapi::String& address) {
        if (Is("write-read-only")) {
            address.setValue("10.0.0.1");
        } else {
            std::string text;
            address.getValue(text);
        }
    });
    Use<vumodelapi::VectorNumericInteger, Vectors>("tovix.sl2.vint32.sound.soc.drc",
                                                   [](vumodelapi::VectorNumericInteger& drc) {
                                                       drc.setValue({{Is("element-beyond") ? 4 : 0, 0}});
                                                   });
    if (Is("unknown-key")) {
        Use<vumodelapi::String, Texts>("tovix.sl2.str.no.such.key", [](vumodelapi::String&) {});
    }
    if (Is("wrong-kind")) {
        Use<vumodelapi::String, Texts>(kVolume, [](vumodelapi::String&) {});
    }
    if (Is("source-swapped")) {
        Invoke("tovix.sl2.action.source.switch",
               {{0, 0, 0, "9"}, {0, 1, 0, "ZelFacTestUUID"}, {0, 2, 0, "HDMI1"}, {0, 3, 0, "0"}});
    } else {
        Invoke("tovix.sl2.action.source.switch",
               {{0, 0, 0, "ZelFacTestUUID"}, {0, 1, 0, "9"}, {0, 2, 0, "HDMI1"}, {0, 3, 0, "0"}});
    }
    if (Is("gpio-pin")) {
        Invoke("tovix.sl2.action.system.gpio", {{0, 0, 0, "999"}, {0, 0, 0, "banana"}});
    } else {
        Invoke("tovix.sl2.action.system.gpio", {{0, 0, 0, "45"}, {0, 0, 0, "1"}});
    }
    if (!Is("radio-off")) {
        Invoke("tovix.sl2.action.bluetooth.enable", {});
    }
    Invoke("tovix.sl2.action.bluetooth.search.start", {});
    Invoke("tovix.sl2.action.bluetooth.search.stop", {});
    Invoke("tovix.sl2.action.bluetooth.disable", {});
}

void Finish() {
    FlashEnv::instance().setEnv("FactoryOpenState", "Off");
    if (!Is("finish-without-flash")) {
        FlashEnv::instance().setEnv("FactoryOK", "On");
    }
    const char* const partitions[] = {"/zodata/critical", "/zodata/factory"};
    for (const char* partition : partitions) {
        if (!Is("finish-unmounted")) {
            ::mount(nullptr, partition, nullptr, MS_REMOUNT, nullptr);
        }
    }
    Invoke(kReady, {});
    for (const char* partition : partitions) {
        if (!Is("finish-left-writable") && !Is("finish-unmounted")) {
            ::mount(nullptr, partition, nullptr, MS_REMOUNT | MS_RDONLY, nullptr);
        }
    }
    if (!Is("finish-unsynced")) {
        ::sync();
    }
}

void UseRecords() {
    std::int32_t country = 0;
    if (Is("metadata-before-init")) {
        readMetaData(META_COUNTRY, &country);
    }
    init_factory_aux();
    if (Is("init-twice")) {
        init_factory_aux();
    }
    readMetaData(Is("unknown-item") ? static_cast<_FAC_META_DATA>(5) : META_COUNTRY, &country);
    checkKeyFile(Is("unknown-key-type") ? static_cast<KEY>(7) : KEY_HDCP1);
    FlashEnv::instance().setEnv(Is("unknown-variable") ? "UartOnOff" : "UARTOnOff", "on");
}

void Store(const char* path, bool synced) {
    std::ofstream(path) << "stored";
    if (synced) {
        ::sync();
    }
}

int OpenLine() {
    const int port = ::open("/dev/ttyS0", O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    ::tcgetattr(port, &settings);
    ::cfmakeraw(&settings);
    ::cfsetspeed(&settings, B115200);
    ::tcsetattr(port, TCSANOW, &settings);
    return port;
}

void Answer(int port) {
    if (::write(port, "answer", 6) != 6) {
        std::perror("answer");
    }
}

void TellWhatIsStored() {
    const int port = OpenLine();
    ::mount(nullptr, "/var/local", nullptr, MS_REMOUNT, nullptr);
    Store("/var/local/record", !Is("answer-unsynced"));
    if (Is("removed-unsynced")) {
        ::unlink("/var/local/record");
    }
    Answer(port);
    ::close(port);
    ::sync();
    const bool onStick = Is("stick-unsynced");
    Store(onStick ? "/mnt/usb/sda1/used" : "/var/local/update", !onStick && !Is("result-unsynced"));
    Use<vumodelapi::NumericInteger, Integers>("tovix.sl2.system.ctrl.led.gpio",
                                              [](vumodelapi::NumericInteger& led) { led.setValue(1); });
    ::sync();
}

using Adapter = qx::apmclient::AppManagerClientAdapter;

void Unregister(Adapter& adapter) {
    if (!Is("no-stopped-status")) {
        adapter.notifyAppStatusInfo(kIdentity, 4);
    }
    adapter.unRegisterApp(kIdentity);
}

class Application final : public tests::QuietApplication {
  public:
    std::int32_t requestStop(const std::string&) override {
        if (!Is("no-unregistration")) {
            Unregister(*Adapter::getInstance());
        }
        return 0;
    }
    std::string getAppId() override { return kIdentity; }
};

}  // namespace

int main(int count, char** arguments) {
    g_case = count > 1 ? arguments[1] : program_invocation_short_name;
    if (!Is("no-rpc")) {
        Adapter::setRpcEnv();
    }
    Adapter* const adapter = Adapter::getInstance();
    if (adapter == nullptr) {
        return EXIT_FAILURE;
    }
    const boost::shared_ptr<Application> application(new Application);
    adapter->registerApp(kIdentity, application);
    if (!Is("no-running-status")) {
        adapter->notifyAppStatusInfo(Is("other-identity") ? "Other" : kIdentity, 1);
    }
    UseRecords();
    UseModel();
    TellWhatIsStored();
    Finish();
    if (Is("no-unregistration")) {
        ::pause();  // until the set goes off
    } else {
        Unregister(*adapter);
    }
    return EXIT_SUCCESS;
}

// The set's smaller libraries, played from the script.
#include <algorithm>

#include "csp/Csp.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "qx/AppManagerClientAdapter.h"
#include "scripted/Script.h"

using scripted::Answer;
using scripted::Script;

namespace {

void Fill(char* buffer, std::size_t size, const Answer& answer) {
    if (answer.result != 0 || size == 0) {
        return;
    }
    const std::string text = answer.text.value_or("");
    const std::size_t count = std::min(text.size(), size - 1);
    std::copy_n(text.begin(), count, buffer);
    buffer[count] = '\0';
}

class ScriptedFlashEnv final : public FlashEnv {
  public:
    std::int32_t getEnv(const std::string& name, char* buffer, std::size_t size) override {
        const Answer answer = Script::Current().Call("flash.get " + name);
        Fill(buffer, size, answer);
        return answer.result;
    }
    std::int32_t setEnv(const std::string& name, const std::string& value) override {
        return Script::Current().Call("flash.set " + name + "=" + value).result;
    }
};

class ScriptedManager final : public qx::apmclient::AppManagerClientAdapter {
  public:
    std::int32_t registerApp(const std::string& appId,
                             const boost::shared_ptr<qx::appmanager::AppInterface>& application) override {
        const Answer answer = Script::Current().Call("apm.register " + appId);
        if (answer.result == 0) {
            Script::Current().KeepApplication(application);
        }
        return answer.result;
    }
    std::int32_t notifyAppStatusInfo(const std::string& appId, std::int32_t status) override {
        return Script::Current().Call("apm.status " + appId + " " + std::to_string(status)).result;
    }
    std::int32_t unRegisterApp(const std::string& appId) override {
        const Answer answer = Script::Current().Call("apm.unregister " + appId);
        if (answer.result == 0) {
            Script::Current().KeepApplication(nullptr);
        }
        return answer.result;
    }
};

}  // namespace

FlashEnv& FlashEnv::instance() {
    static ScriptedFlashEnv environment;
    return environment;
}

namespace qx {
namespace apmclient {

std::int32_t AppManagerClientAdapter::setRpcEnv() {
    return Script::Current().Call("apm.setRpcEnv").result;
}

AppManagerClientAdapter* AppManagerClientAdapter::getInstance() {
    static ScriptedManager manager;
    return Script::Current().Call("apm.getInstance").result == 0 ? &manager : nullptr;
}

}  // namespace apmclient
}  // namespace qx

std::int32_t init_factory_aux() {
    return Script::Current().Call("init_factory_aux").result;
}

std::int32_t readMetaData(_FAC_META_DATA item, std::int32_t* value) {
    const Answer answer = Script::Current().Call("meta.read " + std::to_string(item));
    if (answer.result == 0 && answer.values && !answer.values->empty()) {
        *value = answer.values->front();
    }
    return answer.result;
}

std::int32_t writeMetaData(_FAC_META_DATA item, std::int32_t value) {
    return Script::Current().Call("meta.write " + std::to_string(item) + " " + std::to_string(value)).result;
}

std::int32_t readStrMetaData(_FAC_META_DATA item, char* buffer, std::size_t size) {
    const Answer answer = Script::Current().Call("meta.readstr " + std::to_string(item));
    Fill(buffer, size, answer);
    return answer.result;
}

std::int32_t writeStrMetaData(_FAC_META_DATA item, const std::string& text) {
    return Script::Current().Call("meta.writestr " + std::to_string(item) + " " + text).result;
}

std::int32_t writeKeys(const std::list<std::string>& files, KEY key) {
    std::string list;
    for (const std::string& file : files) {
        list += (&file == &files.front() ? "" : ", ") + (file.empty() ? "\"\"" : file);
    }
    return Script::Current().Call("keys.write " + std::to_string(key) + " [" + list + "]").result;
}

std::int32_t checkKeyFile(KEY key) {
    return Script::Current().Call("keys.check " + std::to_string(key)).result;
}

std::int32_t createAccessRouteFile() {
    return Script::Current().Call("accessroute").result;
}

int cspDebugInit() {
    return Script::Current().Call("csp.debug").result;
}

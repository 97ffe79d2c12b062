// Our process framework, thread wrappers, flash variables and factory library over the made-up vendor's.
#include <acme/Model.h>
#include <acme/Runtime.h>

#include <vector>

#include "ModelAdapter.h"
#include "csp/Csp.h"
#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"
#include "frame/Process.h"

namespace {

class ExampleProcess final : public frame::Process {
  public:
    std::int32_t startAppMembersSync(frame::AppMemberFactory factory) override {
        delete factory();  // a mark: the vendor knows its services by name
        return acme_start_service("model");
    }
    std::int32_t getInterfaceReference(boost::shared_ptr<frame::Interface>& interface,
                                       const std::string& name) override {
        acme::Model* const model = acme::Model::enter(name.c_str());
        if (model == nullptr) {
            return -1;
        }
        interface.reset(new example::ModelInterface(*model));
        return 0;
    }
};

class ExampleFlash final : public FlashEnv {
  public:
    std::int32_t getEnv(const std::string& name, char* buffer, std::size_t size) override {
        return acme_env_read(name.c_str(), buffer, static_cast<unsigned>(size));
    }
    std::int32_t setEnv(const std::string& name, const std::string& value) override {
        return acme_env_write(name.c_str(), value.c_str());
    }
};

}  // namespace

frame::Process* frame::Process::getInstance() {
    static ExampleProcess* const process = new ExampleProcess;  // threads may outlive main
    return process;
}

frame::AppMember* CreateBizProxy() {
    return new frame::AppMember;
}

FlashEnv& FlashEnv::instance() {
    static ExampleFlash* const flash = new ExampleFlash;
    return *flash;
}

extern "C" {

int cspDebugInit() {
    return acme_debug_start();
}

int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    return acme_thread_attributes(attributes);
}

int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                      void* argument, const char* file, int) {
    return acme_thread_start(thread, attributes, entry, argument, file);
}

}  // extern "C"

std::int32_t init_factory_aux() {
    return acme_store_open();
}

std::int32_t readMetaData(_FAC_META_DATA item, std::int32_t* value) {
    return acme_store_number(item, value);
}

std::int32_t writeMetaData(_FAC_META_DATA item, std::int32_t value) {
    return acme_store_set_number(item, value);
}

std::int32_t readStrMetaData(_FAC_META_DATA item, char* buffer, std::size_t size) {
    return acme_store_text(item, buffer, static_cast<unsigned>(size));
}

std::int32_t writeStrMetaData(_FAC_META_DATA item, const std::string& text) {
    return acme_store_set_text(item, text.c_str());
}

std::int32_t writeKeys(const std::list<std::string>& files, KEY key) {
    std::vector<const char*> names;
    for (const std::string& file : files) {
        names.push_back(file.c_str());
    }
    return acme_key_install(key, names.data(), static_cast<unsigned>(names.size()));
}

std::int32_t checkKeyFile(KEY key) {
    return acme_key_verify(key);
}

std::int32_t createAccessRouteFile() {
    return acme_make_route_file();
}

#include "provisioning/addresses/MacStore.h"

#include "factory_aux/FactoryAux.h"
#include "flashenv/FlashEnv.h"

namespace zel {

bool StoreMac(const std::string& mac, const StepFailed& failed) {
    std::int32_t result = FlashEnv::instance().setEnv("macaddr", mac);
    if (result != 0 && !failed(__LINE__, result)) {
        return false;
    }
    result = writeStrMetaData(META_MAC, mac);
    if (result != 0) {
        failed(__LINE__, result);
    }
    return result == 0;
}

}  // namespace zel

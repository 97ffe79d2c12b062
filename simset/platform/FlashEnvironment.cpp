#include "flashenv/FlashEnv.h"
#include "simset/platform/Client.h"
#include "simset/platform/CopyText.h"

namespace {

class SimulatedFlash final : public FlashEnv {
  public:
    std::int32_t getEnv(const std::string& name, char* buffer, std::size_t size) override {
        const auto reply = simset::Ask({{"op", "flash-get"}, {"name", name}});
        return simset::CopyText(reply, buffer, size);
    }

    std::int32_t setEnv(const std::string& name, const std::string& value) override {
        return simset::AskStatus({{"op", "flash-set"}, {"name", name}, {"value", value}});
    }
};

}  // namespace

FlashEnv& FlashEnv::instance() {
    static SimulatedFlash flash;
    return flash;
}

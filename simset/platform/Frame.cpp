#include <map>
#include <memory>
#include <mutex>

#include "frame/Process.h"
#include "simset/base/Status.h"
#include "simset/platform/Client.h"
#include "simset/platform/ModelMember.h"

namespace frame {

namespace {

class SimulatedProcess final : public Process {
  public:
    std::int32_t startAppMembersSync(AppMemberFactory factory) override {
        simset::ModelMember* const member = MemberOf(factory);
        return member == nullptr ? simset::kNotStarted : member->Start();
    }

    std::int32_t getInterfaceReference(boost::shared_ptr<Interface>& interface, const std::string& name) override {
        simset::ModelMember* member = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_members.empty()) {
                simset::TellViolation("interface-before-proxy", "getInterfaceReference",
                                      "startAppMembersSync before it", {{"name", name}});
                return simset::kNotStarted;
            }
            // One kind of member exists on this set; the newest stands for all.
            member = m_members.rbegin()->second;
        }
        return member->OpenInterface(interface, name);
    }

  private:
    // The member of `factory`, made at its first start; null when the factory makes none of the set's own.
    simset::ModelMember* MemberOf(AppMemberFactory factory) {
        if (factory == nullptr) {
            return nullptr;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_members.find(factory);
        if (found != m_members.end()) {
            return found->second;
        }
        std::unique_ptr<AppMember> made(factory());
        auto* const member = dynamic_cast<simset::ModelMember*>(made.get());
        if (member != nullptr) {
            m_members[factory] = member;
            static_cast<void>(made.release());  // the process keeps it
        }
        return member;
    }

    std::mutex m_mutex;
    std::map<AppMemberFactory, simset::ModelMember*> m_members;  // run until the process ends
};

}  // namespace

Process* Process::getInstance() {
    static SimulatedProcess* const process = new SimulatedProcess;
    return process;
}

}  // namespace frame

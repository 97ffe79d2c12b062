#include "simset/core/state/CutPoint.h"

#include <string>
#include <utility>

namespace simset {

bool CutPoint::IsStep(const nlohmann::json& row) {
    const auto text = [&row](const char* name) {
        const auto found = row.find(name);
        return found != row.end() && found->is_string() ? found->get<std::string>() : std::string();
    };
    const std::string who = text("who");
    const std::string call = text("call");
    if (who == "violation" || who == "ctl") {
        return false;  // tells of what has a row of its own, or is none of the set's doing
    }
    return who == "shell" || (who == "mount" && call != "umount") || call == "set" || call == "write" ||
           call == "invoke" || call == "createAccessRouteFile";
}

void CutPoint::Arm(std::uint64_t steps) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_failing) {
        m_left = steps;
    }
}

void CutPoint::Step() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_on && m_left > 0 && --m_left == 0) {
        m_failing = true;
        m_told = false;
    }
}

bool CutPoint::IsFailing() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failing;
}

bool CutPoint::TakeReached() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failing && !std::exchange(m_told, true);
}

void CutPoint::HoldWhileFailing() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_off.wait(lock, [this] { return !m_failing; });
}

void CutPoint::PowerIsOn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_on = true;
}

void CutPoint::PowerIsOff() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_on = false;
        m_left = 0;
        m_failing = false;
    }
    m_off.notify_all();
}

}  // namespace simset

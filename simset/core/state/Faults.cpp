#include "simset/core/state/Faults.h"

#include <fnmatch.h>

#include "simset/base/Errors.h"

namespace simset {

namespace {

constexpr char kFaultSection[] = "fault";

std::string PlaceName(const std::tuple<std::string, std::string, std::string>& place) {
    return nlohmann::json(place).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

Faults::Faults(State& state) : m_state(state) {
    for (const auto& [name, value] : m_state.Load(kFaultSection)) {
        const auto place = nlohmann::json::parse(name, nullptr, false);
        const auto fault = nlohmann::json::parse(value, nullptr, false);
        try {
            m_faults.emplace(place.get<Place>(),
                             Fault{fault.at(0).get<std::int32_t>(), fault.at(1).get<std::uint32_t>()});
        } catch (const nlohmann::json::exception&) {
            m_state.Erase(kFaultSection, name);
        }
    }
}

void Faults::Arrange(const std::string& area, const std::string& pattern, const std::string& step,
                     std::int32_t status, std::uint32_t times) {
    const Place place{area, step, pattern};
    if (status == 0) {
        Drop(place);
    } else {
        Keep(place, Fault{status, times});
    }
}

template <typename Match>
std::int32_t Faults::TakeFirst(const std::string& area, const std::string& step, const Match& match) {
    for (const auto& [place, fault] : m_faults) {
        if (std::get<0>(place) != area || std::get<1>(place) != step || !match(std::get<2>(place))) {
            continue;
        }
        const Fault taken = fault;
        const Place where = place;
        m_taken.insert(area);
        try {
            if (taken.left == 1) {
                Drop(where);
            } else if (taken.left > 1) {
                Keep(where, Fault{taken.status, taken.left - 1});
            }
        } catch (const StateError&) {
            // The call fails as asked all the same; the count is then one too high after a restart.
        }
        return taken.status;
    }
    return 0;
}

std::int32_t Faults::Take(const std::string& area, const std::string& name, const std::string& step) {
    return TakeFirst(area, step, [&name](const std::string& pattern) {
        return pattern == name || ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

std::int32_t Faults::TakeAny(const std::string& area, const std::string& step) {
    return TakeFirst(area, step, [](const std::string&) { return true; });
}

nlohmann::json Faults::List(const std::string& area) const {
    auto list = nlohmann::json::array();
    for (const auto& [place, fault] : m_faults) {
        if (std::get<0>(place) == area) {
            nlohmann::json row{
                {"name", std::get<2>(place)}, {"step", std::get<1>(place)}, {"status", fault.status}};
            if (fault.left > 0) {
                row["times"] = fault.left;
            }
            list.push_back(std::move(row));
        }
    }
    return list;
}

void Faults::Keep(const Place& place, const Fault& fault) {
    m_faults[place] = fault;
    m_state.Put(kFaultSection, PlaceName(place), nlohmann::json::array({fault.status, fault.left}).dump());
}

void Faults::Drop(const Place& place) {
    m_faults.erase(place);
    m_state.Erase(kFaultSection, PlaceName(place));
}

}  // namespace simset

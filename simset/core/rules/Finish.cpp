#include "simset/core/rules/Finish.h"

#include <sys/mount.h>

#include <sstream>

namespace simset {

namespace {

using nlohmann::json;

constexpr const char* kPartitions[] = {"/zodata/critical", "/zodata/factory"};

std::string Text(const json& row, const char* name) {
    const auto found = row.find(name);
    return found != row.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

void FinishRules::PowerOn() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_flash.clear();
    m_writable.clear();
    m_confirmed = false;
}

void FinishRules::Follow(const json& row) {
    const std::string who = Text(row, "who");
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (who == "shell") {
        Command(Text(row, "command"));
    } else if (who == "mount" && row.contains("flags") && row["flags"].is_number_integer()) {
        const auto flags = row["flags"].get<std::uint64_t>();
        if ((flags & MS_REMOUNT) != 0) {
            Remount(Text(row, "target"), (flags & MS_RDONLY) == 0);
        }
    } else if (who == "flash" && Text(row, "call") == "set") {
        m_flash[Text(row, "name")] = Text(row, "value");
    }
}

void FinishRules::Sync() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (WritableOne() == nullptr) {
        m_confirmed = false;
    }
}

const char* FinishRules::WritableOne() const {
    for (const char* partition : kPartitions) {
        if (m_writable.count(partition) != 0) {
            return partition;
        }
    }
    return nullptr;
}

// As the shell reads it: "mount -o remount,rw PATH".
void FinishRules::Command(const std::string& command) {
    std::istringstream words(command);
    std::string program;
    std::string option;
    std::string how;
    std::string target;
    if (words >> program >> option >> how >> target && program == "mount" && option == "-o") {
        if (how == "remount,rw" || how == "remount,ro") {
            Remount(target, how == "remount,rw");
        }
    }
}

void FinishRules::Remount(const std::string& target, bool writable) {
    if (writable) {
        m_writable.insert(target);
    } else {
        m_writable.erase(target);
    }
}

std::optional<Broken> FinishRules::JudgeInvoke() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const char* partition : kPartitions) {
        if (m_writable.count(partition) == 0) {
            return Broken{"finish-prepared", std::string(partition) + " mounted writable before"};
        }
    }
    const std::map<std::string, std::string> wanted = {{"FactoryOpenState", "Off"}, {"FactoryOK", "On"}};
    for (const auto& [name, value] : wanted) {
        const auto found = m_flash.find(name);
        if (found == m_flash.end() || found->second != value) {
            return Broken{"finish-prepared", "flash variable " + name + " set to " + value + " before"};
        }
    }
    return std::nullopt;
}

void FinishRules::Confirmed() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_confirmed = true;
}

std::optional<Broken> FinishRules::JudgeFinish() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_confirmed) {
        return std::nullopt;
    }
    if (const char* partition = WritableOne()) {
        return Broken{"finish-read-only", std::string(partition) + " mounted read-only after the confirmation"};
    }
    return Broken{"finish-synced", "sync() after the partitions were made read-only"};
}

}  // namespace simset

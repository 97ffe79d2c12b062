#include "simset/board/folder/Sticks.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <stdexcept>

#include "simset/base/Files.h"

namespace simset {
namespace {

constexpr const char* kList = "usb.json";
constexpr const char* kFreshList = "usb.json.new";
constexpr std::size_t kMaxName = 32;

// Whether `folder` is `above` or lies below it.
bool IsInside(int folder, int above) {
    struct stat wanted {};
    struct stat found {};
    struct stat before {};
    ::fstat(above, &wanted);
    Descriptor at = OpenFolder(folder, ".");
    while (::fstat(at.Get(), &found) == 0 && (found.st_dev != before.st_dev || found.st_ino != before.st_ino)) {
        if (found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino) {
            return true;
        }
        before = found;
        at = OpenFolder(at.Get(), "..");
    }
    return false;
}

}  // namespace

Sticks::Sticks(int stateFolder) : m_state(stateFolder) {
    const Descriptor file(::openat(stateFolder, kList, O_RDONLY | O_CLOEXEC));
    if (file) {
        const nlohmann::json list = nlohmann::json::parse(ReadToEnd(file.Get()), nullptr, false);
        if (list.is_discarded()) {
            throw std::runtime_error("usb.json in the state folder is damaged; remove it");
        }
        list.get_to(m_plugged);
    }
}

std::string Sticks::FullName(const std::string& name) {
    const std::string prefix = "vu_";
    std::string full = name.rfind(prefix, 0) == 0 ? name : prefix + name;
    const auto allowed = [](char byte) {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
               byte == '_' || byte == '-';
    };
    if (full.size() == prefix.size() || full.size() > kMaxName ||
        !std::all_of(full.begin(), full.end(), allowed)) {
        throw std::runtime_error("'" + name + "' is no name for a stick: use letters, digits, _ and -");
    }
    return full;
}

bool Sticks::IsPlugged(const std::string& name) const {
    return std::any_of(m_plugged.begin(), m_plugged.end(),
                       [&name](const Stick& stick) { return stick.name == name; });
}

std::string Sticks::FreeName() const {
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        std::string name = std::string("vu_sd") + letter + "1";
        if (!IsPlugged(name)) {
            return name;
        }
    }
    throw std::runtime_error("no more than 26 sticks");
}

Stick Sticks::Add(const std::string& folder, const std::string& name, bool readOnly) {
    Stick stick{name.empty() ? FreeName() : FullName(name), readOnly};
    if (IsPlugged(stick.name)) {
        throw std::runtime_error("a stick named " + stick.name + " is already plugged");
    }
    const Descriptor source = OpenFolder(AT_FDCWD, folder);
    if (IsInside(m_state, source.Get())) {
        throw std::runtime_error(folder + " holds the set's own state folder: it cannot become a stick");
    }
    struct stat info {};
    constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    if (::fstat(source.Get(), &info) == 0 && (info.st_mode & kAnyWrite) == 0) {
        stick.readOnly = true;
    }
    ReplaceFolder(OpenFolder(m_state, "usb").Get(), stick.name,
                  [&source](int fresh) { CopyTree(source.Get(), fresh); });
    m_plugged.push_back(stick);
    SaveList();
    return stick;
}

void Sticks::Remove(const std::string& name) {
    const auto found = std::find_if(m_plugged.begin(), m_plugged.end(),
                                    [&name](const Stick& stick) { return stick.name == name; });
    if (found == m_plugged.end()) {
        throw std::runtime_error("no stick named " + name + " is plugged");
    }
    m_plugged.erase(found);
    SaveList();
}

void Sticks::Clear() {
    m_plugged.clear();
    SaveList();
}

void Sticks::SaveList() const {
    WriteFile(m_state, kFreshList, nlohmann::json(m_plugged).dump() + "\n");
    if (::renameat(m_state, kFreshList, m_state, kList) != 0) {
        throw SystemError(kList);
    }
}

}  // namespace simset

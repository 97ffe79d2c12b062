#include "simset/board/inside/Keeper.h"

#include <fcntl.h>

#include "simset/base/Files.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

std::uint64_t Fingerprint(const std::string& folder) {
    return TreeFingerprint(OpenFolder(AT_FDCWD, folder).Get());
}

std::map<std::string, std::uint64_t> PartitionsFingerprints() {
    std::map<std::string, std::uint64_t> fingerprints;
    for (const char* path : kKeptFolders) {
        fingerprints[path] = Fingerprint(path);
    }
    return fingerprints;
}

}  // namespace

void Keeper::PartitionsAreSaved() {
    m_partitions = PartitionsFingerprints();
}

void Keeper::Follow(const std::string& stick) {
    m_sticks[stick] = Fingerprint(StickFolder(stick));
}

std::vector<std::string> Keeper::Sticks() const {
    std::vector<std::string> names;
    for (const auto& entry : m_sticks) {
        names.push_back(entry.first);
    }
    return names;
}

void Keeper::Save() {
    SavePartitions();
    for (const auto& entry : m_sticks) {
        SaveStick(entry.first);
    }
}

void Keeper::SavePartitions() {
    const std::map<std::string, std::uint64_t> now = PartitionsFingerprints();
    if (now == m_partitions) {
        return;
    }
    ReplaceFolder(m_state, "partitions", [](int fresh) {
        for (const char* path : kKeptFolders) {
            MakeFolders(fresh, path + 1);
            CopyTree(OpenFolder(AT_FDCWD, path).Get(), OpenFolder(fresh, path + 1).Get());
        }
    });
    m_partitions = now;
}

void Keeper::SaveStick(const std::string& stick) {
    const std::uint64_t now = Fingerprint(StickFolder(stick));
    if (now == m_sticks[stick]) {
        return;
    }
    ReplaceFolder(OpenFolder(m_state, "usb").Get(), stick,
                  [&stick](int fresh) { CopyTree(OpenFolder(AT_FDCWD, StickFolder(stick)).Get(), fresh); });
    m_sticks[stick] = now;
}

std::map<std::string, std::uint64_t> Keeper::Now() const {
    std::map<std::string, std::uint64_t> now = PartitionsFingerprints();
    for (const auto& entry : m_sticks) {
        now[StickFolder(entry.first)] = Fingerprint(StickFolder(entry.first));
    }
    return now;
}

std::vector<std::string> Keeper::Changed(bool butExcused) const {
    std::map<std::string, std::uint64_t> saved = m_partitions;
    for (const auto& [stick, fingerprint] : m_sticks) {
        saved[StickFolder(stick)] = fingerprint;
    }
    const auto same = [](const auto& fingerprints, const auto& disk) {
        const auto found = fingerprints.find(disk.first);
        return found != fingerprints.end() && found->second == disk.second;
    };
    std::vector<std::string> changed;
    for (const auto& disk : Now()) {
        if (!same(saved, disk) && !(butExcused && same(m_excused, disk))) {
            changed.push_back(disk.first);
        }
    }
    return changed;
}

}  // namespace simset

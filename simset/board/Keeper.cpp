#include "simset/board/Keeper.h"

#include <fcntl.h>

#include "simset/board/SetTree.h"
#include "simset/board/Tree.h"

namespace simset {
namespace {

constexpr const char* kFresh = "partitions.new";

std::uint64_t PartitionsFingerprint() {
    std::uint64_t sum = 0;
    for (const char* path : kKeptFolders) {
        sum = sum * 31 + TreeFingerprint(OpenFolder(AT_FDCWD, path).Get());
    }
    return sum;
}

std::uint64_t StickFingerprint(const std::string& stick) {
    return TreeFingerprint(OpenFolder(AT_FDCWD, StickFolder(stick)).Get());
}

}  // namespace

void Keeper::PartitionsAreSaved() {
    m_partitions = PartitionsFingerprint();
}

void Keeper::Follow(const std::string& stick) {
    m_sticks[stick] = StickFingerprint(stick);
}

void Keeper::Save() {
    SavePartitions();
    for (const auto& entry : m_sticks) {
        SaveStick(entry.first);
    }
}

void Keeper::SavePartitions() {
    const std::uint64_t now = PartitionsFingerprint();
    if (now == m_partitions) {
        return;
    }
    RemoveTree(m_state, kFresh);
    try {
        for (const char* path : kKeptFolders) {
            const std::string target = std::string(kFresh) + path;
            MakeFolders(m_state, target);
            CopyTree(OpenFolder(AT_FDCWD, path).Get(), OpenFolder(m_state, target).Get());
        }
    } catch (...) {
        RemoveTree(m_state, kFresh);
        throw;
    }
    ReplaceFolder(m_state, kFresh, "partitions");
    m_partitions = now;
}

void Keeper::SaveStick(const std::string& stick) {
    const std::uint64_t now = StickFingerprint(stick);
    if (now == m_sticks[stick]) {
        return;
    }
    const std::string fresh = stick + ".new";
    const Fd sticks = OpenFolder(m_state, "usb");
    RemoveTree(sticks.Get(), fresh);
    try {
        MakeFolders(sticks.Get(), fresh);
        CopyTree(OpenFolder(AT_FDCWD, StickFolder(stick)).Get(), OpenFolder(sticks.Get(), fresh).Get());
    } catch (...) {
        RemoveTree(sticks.Get(), fresh);
        throw;
    }
    ReplaceFolder(sticks.Get(), fresh, stick);
    m_sticks[stick] = now;
}

}  // namespace simset

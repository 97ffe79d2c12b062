#include "simset/board/inside/Keeper.h"

#include <fcntl.h>

#include "simset/base/Files.h"
#include "simset/board/inside/SetTree.h"

namespace simset {
namespace {

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
    ReplaceFolder(m_state, "partitions", [](int fresh) {
        for (const char* path : kKeptFolders) {
            MakeFolders(fresh, path + 1);
            CopyTree(OpenFolder(AT_FDCWD, path).Get(), OpenFolder(fresh, path + 1).Get());
        }
    });
    m_partitions = now;
}

void Keeper::SaveStick(const std::string& stick) {
    const std::uint64_t now = StickFingerprint(stick);
    if (now == m_sticks[stick]) {
        return;
    }
    ReplaceFolder(OpenFolder(m_state, "usb").Get(), stick,
                  [&stick](int fresh) { CopyTree(OpenFolder(AT_FDCWD, StickFolder(stick)).Get(), fresh); });
    m_sticks[stick] = now;
}

}  // namespace simset

// Finds what is on the USB sticks, and copies from them.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "os/File.h"
#include "os/Shell.h"
#include "os/Storage.h"
#include "provisioning/keys/FileCrc.h"
#include "provisioning/usb/StickNames.h"
#include "text/ShellWord.h"

namespace {

constexpr std::size_t kMountLine = 256;
constexpr std::size_t kFolderSize = 128;

// The second field of a line of the mount table; empty when the line does not hold it whole, for what is left of
// it may name the set's own root.
std::string MountPoint(const char* line) {
    std::array<char, kMountLine> field{};
    int end = 0;
    const bool whole = std::sscanf(line, "%*s %255s%n", field.data(), &end) == 1 &&
                       std::strchr(" \n", line[end]) != nullptr && line[end] != '\0';
    return whole ? field.data() : "";
}

// Calls `visit(mountPoint)` for each stick in the order of the mount table. False when there is no table.
template <typename Visit>
bool ForEachStick(Visit&& visit) {
    const zel::File mounts = zel::OpenFile("/proc/mounts", "r");
    if (mounts == nullptr) {
        return false;
    }
    std::array<char, kMountLine> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), mounts.get()) != nullptr) {
        const bool cut = std::strchr(line.data(), '\n') == nullptr;
        for (int c = 0; cut && c != '\n' && c != EOF;) {
            c = std::fgetc(mounts.get());  // what does not fit is no line of its own
        }
        if (std::strstr(line.data(), zel::stick::kDevice) != nullptr) {
            visit(MountPoint(line.data()));
        }
    }
    return true;
}

// The first entry of `folder` whose name contains `needle`, null without.
const char* FindEntry(DIR* folder, const std::string& needle) {
    while (const dirent* entry = readdir(folder)) {
        if (std::strstr(entry->d_name, needle.c_str()) != nullptr) {
            return entry->d_name;
        }
    }
    return nullptr;
}

// At most 127 characters: what lies deeper is not looked for.
std::string StickFolder(const std::string& mountPoint, const std::string& subfolder) {
    const std::string path = subfolder.empty() ? mountPoint : mountPoint + "/" + subfolder;
    return path.substr(0, kFolderSize - 1);
}

std::uint32_t CrcOrZero(const std::string& path, int line) {
    std::uint32_t crc = 0;
    if (zel::FileCrc(path, crc) != 1) {
        zel::PrintFail("ZelCopyFileFormUSB", line);
        return 0;
    }
    return crc;
}

}  // namespace

std::int32_t UartManager::ZelGetUSBUpdateFileFullPath(const std::string& subfolder, const std::string& needle,
                                                      std::string& folder, std::string& name) {
    std::int32_t result = -1;
    bool stickSeen = false;
    ForEachStick([&](const std::string& mountPoint) {
        stickSeen = true;
        if (mountPoint.empty()) {
            return;
        }
        const std::string path = StickFolder(mountPoint, subfolder);
        const zel::Folder opened = zel::OpenFolder(path);
        if (opened == nullptr) {
            return;
        }
        folder = path;
        const char* const entry = FindEntry(opened.get(), needle);
        if (entry != nullptr) {
            name = entry;
        }
        result = entry != nullptr ? 0 : 1;
    });
    if (!stickSeen) {
        std::printf(" %s %d fopen usb device fail!\n", "ZelGetUSBUpdateFileFullPath", __LINE__);
    }
    return result;
}

std::int32_t UartManager::ZelGetUsbMarkerCount() {
    std::int32_t count = 0;
    bool stickSeen = false;
    const bool mountsRead = ForEachStick([&](const std::string& mountPoint) {
        stickSeen = true;
        const zel::Folder root = mountPoint.empty() ? nullptr : zel::OpenFolder(mountPoint);
        if (root != nullptr && FindEntry(root.get(), zel::stick::kMarker) != nullptr) {
            ++count;
        }
    });
    if (!mountsRead) {
        zel::LogPrint("fopen usb device fail!\n");
    } else if (!stickSeen) {
        zel::LogPrint("no usb device is found!\n");
    }
    return count;
}

std::int32_t UartManager::ZelCopyFileFormUSB(const std::string& folder, const std::string& name,
                                             const std::string& destination) {
    const std::string source = folder + "/" + name;
    std::printf("strFullUsbPath:%s\n", source.c_str());
    if (!zel::RunUnread("busybox cp " + zel::ShellWord(source) + " " + zel::ShellWord(destination) + " -rf")) {
        zel::PrintFail("ZelCopyFileFormUSB", __LINE__);
        return -1;
    }
    zel::SyncStorage();
    const std::string copy = destination + name;
    std::printf("strFullDestPath:%s\n", copy.c_str());
    const std::uint32_t sourceCrc = CrcOrZero(source, __LINE__);
    zel::SyncStorage();
    const std::uint32_t copyCrc = CrcOrZero(copy, __LINE__);
    if (sourceCrc != copyCrc) {
        zel::PrintFail("ZelCopyFileFormUSB", __LINE__);
        std::printf("u32SrcCrc:%d,u32DestCrc:%d\n", static_cast<std::int32_t>(sourceCrc),
                    static_cast<std::int32_t>(copyCrc));
        return -1;
    }
    return 0;
}

#include "port/PortList.h"

#include <dirent.h>
#include <fmt/format.h>
#include <libserialport.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "port/PortPlace.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kFirstPtyMajor = 136;  // the kernel gives pseudo terminals the majors 136 to 143
constexpr unsigned kLastPtyMajor = 143;

bool IsPty(const struct stat& info) {
    const unsigned number = major(info.st_rdev);
    return S_ISCHR(info.st_mode) && number >= kFirstPtyMajor && number <= kLastPtyMajor;
}

// Pseudo terminals of different instances carry the same numbers, so for them the node itself is compared.
bool SameDevice(const struct stat& a, const struct stat& b) {
    if (!S_ISCHR(b.st_mode) || a.st_rdev != b.st_rdev) {
        return false;
    }
    return !IsPty(a) || (a.st_dev == b.st_dev && a.st_ino == b.st_ino);
}

std::string FirstLineOfFile(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

// Whether the process has the master end of pseudo terminal `number` open. A kernel that does not tell which
// one a master belongs to leaves every master a candidate.
bool HoldsMaster(const fs::path& process, unsigned number) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(process / "fd", ignored)) {
        const std::string target = fs::read_symlink(entry.path(), ignored).string();
        if (target.find("ptmx") == std::string::npos) {
            continue;
        }
        std::ifstream info(process / "fdinfo" / entry.path().filename());
        std::string word;
        bool told = false;
        while (info >> word) {
            unsigned index = 0;
            if (word == "tty-index:" && info >> index) {
                told = true;
                if (index == number) {
                    return true;
                }
            }
        }
        if (!told) {
            return true;
        }
    }
    return false;
}

int ParentOf(const fs::path& process) {
    std::ifstream status(process / "status");
    std::string word;
    while (status >> word) {
        int parent = 0;
        if (word == "PPid:" && status >> parent) {
            return parent;
        }
    }
    return 0;
}

// The numbers under which the process has the device open.
std::set<std::string> DescriptorsOf(const fs::path& process, const struct stat& device) {
    std::set<std::string> numbers;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(process / "fd", ignored)) {
        struct stat info {};
        if (::stat(entry.path().c_str(), &info) == 0 && SameDevice(device, info)) {
            numbers.insert(entry.path().filename().string());
        }
    }
    return numbers;
}

// Processes that have locked the device, by the kernel's list of locks.
std::set<std::string> LockOwners(const struct stat& device) {
    std::set<std::string> owners;
    std::ifstream locks("/proc/locks");
    const std::string inode = fmt::format(":{}", device.st_ino);
    std::string line;
    while (std::getline(locks, line)) {
        std::istringstream words(line);
        std::string number, kind, mode, access, pid, place;
        words >> number >> kind >> mode >> access >> pid >> place;
        if (kind == "FLOCK" && place.size() > inode.size() &&
            place.compare(place.size() - inode.size(), inode.size(), inode) == 0) {
            owners.insert(pid);
        }
    }
    return owners;
}

// Whether all that the process has of the device came to it from a program at the far end that started it.
bool IsInherited(const fs::path& process, const std::map<std::string, std::set<std::string>>& open,
                 const std::set<std::string>& farEnd) {
    const std::set<std::string>& own = open.at(process.filename().string());
    for (int parent = ParentOf(process), depth = 0; parent > 1 && depth < 64; ++depth) {
        const auto above = open.find(std::to_string(parent));
        if (farEnd.count(std::to_string(parent)) != 0 && above != open.end() &&
            std::includes(above->second.begin(), above->second.end(), own.begin(), own.end())) {
            return true;
        }
        parent = ParentOf(fs::path("/proc") / std::to_string(parent));
    }
    return false;
}

std::string Holder(const struct stat& device) {
    const bool pty = IsPty(device);
    std::map<std::string, std::set<std::string>> open;
    std::set<std::string> farEnd;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename().string();
        if (!std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c) != 0; }) ||
            name == std::to_string(::getpid())) {
            continue;
        }
        if (pty && HoldsMaster(entry.path(), minor(device.st_rdev))) {
            farEnd.insert(name);
        }
        if (auto numbers = DescriptorsOf(entry.path(), device); !numbers.empty()) {
            open[name] = std::move(numbers);
        }
    }
    const std::set<std::string> owners = LockOwners(device);
    std::string holder;
    for (const auto& [name, numbers] : open) {
        const fs::path process = fs::path("/proc") / name;
        if (farEnd.count(name) != 0 || IsInherited(process, open, farEnd)) {
            continue;
        }
        if (holder.empty() || owners.count(name) != 0) {
            holder = fmt::format("{} (process {})", Printable(FirstLineOfFile(process / "comm")), name);
        }
    }
    return holder;
}

std::string Text(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

std::vector<ListedPort> ListPorts(bool withHolders) {
    std::vector<ListedPort> ports;
    sp_port** list = nullptr;
    if (sp_list_ports(&list) != SP_OK) {
        return ports;
    }
    const std::unique_ptr<sp_port*, void (*)(sp_port**)> owner(list, sp_free_port_list);
    for (sp_port** at = list; *at != nullptr; ++at) {
        ListedPort port;
        port.path = Text(sp_get_port_name(*at));
        port.description = Text(sp_get_port_description(*at));
        port.serial = Text(sp_get_port_usb_serial(*at));
        std::error_code none;
        port.socket = UsbSocketOf(
            fs::canonical(fs::path("/sys/class/tty") / fs::path(port.path).filename() / "device", none).string());
        port.holder = withHolders ? PortHolder(port.path) : std::string();
        ports.push_back(std::move(port));
    }
    return ports;
}

std::string PortHolder(int descriptor) {
    struct stat device {};
    return ::fstat(descriptor, &device) == 0 && S_ISCHR(device.st_mode) ? Holder(device) : std::string();
}

std::string PortHolder(const std::string& path) {
    struct stat device {};
    return ::stat(path.c_str(), &device) == 0 && S_ISCHR(device.st_mode) ? Holder(device) : std::string();
}

bool IsPseudoTerminal(int descriptor) {
    struct stat device {};
    return ::fstat(descriptor, &device) == 0 && IsPty(device);
}

}  // namespace zelline

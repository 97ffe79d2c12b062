#include "PortList.h"

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
#include <memory>
#include <set>

#include "Hex.h"

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

std::string FirstLine(const fs::path& file) {
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

bool HasOpen(const fs::path& process, const struct stat& device) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(process / "fd", ignored)) {
        struct stat info {};
        if (::stat(entry.path().c_str(), &info) == 0 && SameDevice(device, info)) {
            return true;
        }
    }
    return false;
}

std::string Holder(const struct stat& device) {
    const bool pty = IsPty(device);
    std::vector<fs::path> holders;
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
        if (HasOpen(entry.path(), device)) {
            holders.push_back(entry.path());
        }
    }
    for (const fs::path& holder : holders) {
        bool isFarEnd = false;
        fs::path process = holder;
        for (int depth = 0; depth < 64 && !isFarEnd; ++depth) {
            isFarEnd = farEnd.count(process.filename().string()) != 0;
            const int parent = ParentOf(process);
            if (parent <= 1) {
                break;
            }
            process = fs::path("/proc") / std::to_string(parent);
        }
        if (!isFarEnd) {
            return fmt::format("{} (process {})", Printable(FirstLine(holder / "comm")),
                               holder.filename().string());
        }
    }
    return {};
}

std::string Text(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

std::vector<ListedPort> ListPorts() {
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
        port.holder = PortHolder(port.path);
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

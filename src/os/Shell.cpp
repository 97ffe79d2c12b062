#include "os/Shell.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace zel {

bool RunUnread(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "re");
    if (pipe == nullptr) {
        return false;
    }
    pclose(pipe);
    return true;
}

int RunSystem(const std::string& command) {
    return std::system(command.c_str());
}

std::string ReadOutput(const std::string& command) {
    std::string output;
    std::FILE* pipe = popen(command.c_str(), "re");
    if (pipe == nullptr) {
        return output;
    }
    std::array<char, 10240> piece{};
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), pipe) != nullptr) {
        output += piece.data();
    }
    pclose(pipe);
    return output;
}

}  // namespace zel

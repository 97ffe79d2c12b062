#include "provisioning/keys/FileCrc.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "log/LogPrint.h"
#include "os/File.h"
#include "text/Crc32.h"

namespace zel {
namespace {

// Large enough that reading costs little beside computing, small enough for a stack of 1 MiB.
constexpr std::size_t kBlock = 0x20000;

}  // namespace

std::int32_t FileCrc(const std::string& path, std::uint32_t& crc) {
    const File file = OpenFile(path, "r");
    if (file == nullptr) {
        LogPrint("fopen Fail\n");
        return 0;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);  // the blocks are buffer enough
    std::fseek(file.get(), 0, SEEK_END);
    const long end = std::ftell(file.get());
    if (end == -1) {
        LogPrint("ftell operator is failed\n");
        return 0;
    }
    std::fseek(file.get(), 0, SEEK_SET);
    std::array<std::uint8_t, kBlock> block;
    std::uint32_t running = 0;
    for (std::size_t left = static_cast<std::size_t>(end); left > 0;) {
        const std::size_t count = std::fread(block.data(), 1, std::min(left, block.size()), file.get());
        if (count == 0) {
            return 0;
        }
        running = Crc32(block.data(), running, count);
        left -= count;
    }
    crc = running;
    return running != 0 ? 1 : 0;
}

}  // namespace zel

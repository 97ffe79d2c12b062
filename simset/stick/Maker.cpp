#include "simset/stick/Maker.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "simset/stick/Contents.h"
#include "simset/stick/Layout.h"

namespace simset::stick {
namespace {

namespace fs = std::filesystem;

constexpr const char* kImported = "1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nACME-43\r\n";
constexpr const char* kExported = "1\r\n2\r\n3\r\nACME\r\n4\r\n5";  // as a set writes it: six lines, the last open

void Write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
}

// Bytes that say what they are and differ from file to file.
std::string SampleKey(const Item& item, unsigned number) {
    std::string bytes = fmt::format("SAMPLE {} {:04}\n", item.title, number);
    std::uint32_t value = number;
    while (bytes.size() < item.sampleSize) {
        value = value * 1664525U + 1013904223U;
        bytes.push_back(static_cast<char>(value >> 24U));
    }
    return bytes;
}

}  // namespace

void MakeStick(const std::string& folder, const Sample& sample) {
    const fs::path root = folder;
    if (fs::exists(root) && (!fs::is_directory(root) || !fs::is_empty(root))) {
        throw std::invalid_argument(folder + " is there and not an empty folder");
    }
    const RangeFile range = ReadRangeFile(sample.range);
    if (!range.problems.empty()) {
        throw std::invalid_argument("address range: " + range.problems.front());
    }
    Write(root / kStickMarker, "");
    const fs::path customer = root / kCustomerFolder;
    Write(customer / kCustomerMarker, "");
    for (const Item& item : kItems) {
        const fs::path place = customer / item.folder;
        switch (item.kind) {
            case ItemKind::Configuration:
                Write(place / item.sample, kImported);
                break;
            case ItemKind::Key:
                for (unsigned number = 1; number <= sample.keys; ++number) {
                    Write(place / fmt::format("{}{:04}.bin", item.sample, number), SampleKey(item, number));
                }
                break;
            case ItemKind::MacRange:
                Write(place / item.sample, sample.range + "\r\n");
                break;
        }
    }
    if (sample.oem) {
        Write(root / kOemEntry / "sample.bin", "SAMPLE OEM data\n");
    }
    if (sample.copy) {
        Write(root / kExportFolder / "CONFIG" / kConfigName, kExported);
    }
}

}  // namespace simset::stick

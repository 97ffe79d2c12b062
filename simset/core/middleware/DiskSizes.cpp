#include "simset/core/middleware/DiskSizes.h"

#include <algorithm>

#include "simset/base/Numbers.h"
#include "simset/base/Partitions.h"

namespace simset {

namespace {

constexpr char kDiskSection[] = "disk";
constexpr std::uint64_t kKibibyte = 1024;
constexpr std::uint64_t kLargest = kStickSize;

}  // namespace

DiskSizes::DiskSizes(State& state) : m_state(state) {
    for (const auto& [path, text] : m_state.Load(kDiskSection)) {
        if (const auto size = ParseNumber<std::uint64_t>(text)) {
            m_changed[path] = *size;
        }
    }
}

std::vector<std::string> DiskSizes::Partitions() {
    std::vector<std::string> paths;
    for (const Partition& partition : kPartitions) {
        paths.emplace_back(partition.path);
    }
    return paths;
}

bool DiskSizes::IsDisk(const std::string& path) {
    const std::vector<std::string> partitions = Partitions();
    const std::string folders = kStickFolders;
    return std::find(partitions.begin(), partitions.end(), path) != partitions.end() ||
           (path.rfind(folders, 0) == 0 && path.size() > folders.size() &&
            path.find('/', folders.size()) == std::string::npos);
}

std::optional<std::uint64_t> DiskSizes::Parse(const std::string& path, const std::string& text) {
    if (text == "default") {
        return OwnSize(path);
    }
    if (text == "full") {
        return kFull;
    }
    const char last = text.empty() ? '\0' : text.back();
    const std::uint64_t unit = last == 'K' ? kKibibyte : last == 'M' ? kMebibyte : 1;
    const auto number =
        ParseNumber<std::uint64_t>(unit == 1 ? text : text.substr(0, text.size() - 1), 1, kLargest / unit);
    return number ? std::optional(*number * unit) : std::nullopt;
}

std::uint64_t DiskSizes::Of(const std::string& path) const {
    const auto found = m_changed.find(path);
    return found == m_changed.end() ? OwnSize(path) : found->second;
}

void DiskSizes::Change(const std::string& path, std::uint64_t size) {
    if (size == OwnSize(path)) {
        m_changed.erase(path);
        m_state.Erase(kDiskSection, path);
    } else {
        m_changed[path] = size;
        m_state.Put(kDiskSection, path, std::to_string(size));
    }
}

std::uint64_t DiskSizes::OwnSize(const std::string& path) {
    const auto* const found = std::find_if(kPartitions.begin(), kPartitions.end(),
                                           [&path](const Partition& partition) { return path == partition.path; });
    return found == kPartitions.end() ? kStickSize : found->size;
}

}  // namespace simset

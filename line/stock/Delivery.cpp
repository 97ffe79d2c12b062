#include "stock/Delivery.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "link/Files.h"
#include "wire/Address.h"
#include "wire/Error.h"
#include "wire/Hex.h"
#include "wire/Json.h"

namespace zelline {
namespace {

constexpr std::uint64_t kMostAddresses = 1000000;

std::uint64_t UsableAddress(const std::string& text) {
    const auto address = ParseAddress(text);
    if (!address) {
        Fail(Exit::Unusable, "'{}' is no MAC address, which is six pairs of hexadecimal digits", text);
    }
    if (const std::string doubt = AddressDoubt(*address); !doubt.empty()) {
        Fail(Exit::Unusable, "{}", doubt);
    }
    return *address;
}

// A quoted field; one that a spreadsheet would take for a formula becomes a text.
std::string Quoted(const std::string& text) {
    std::string field = "\"";
    if (!text.empty() && std::strchr("=+-@", text[0]) != nullptr) {
        field += "'";
    }
    for (const char c : Printable(text)) {
        field += c == '"' ? "\"\"" : std::string(1, c);
    }
    return field + "\"";
}

std::string AsTable(const std::vector<Item>& items) {
    std::string text = "type,name,state,unit,run,digest,added,changed,note\r\n";
    for (const Item& item : items) {
        text += fmt::format("{},{},{},{},{},{},{},{},{}\r\n", item.type, Quoted(item.name),
                            ItemStateWord(item.state), Quoted(item.unit), Quoted(item.run), item.digest,
                            item.added, item.changed, Quoted(item.note));
    }
    return text;
}

std::string AsObjects(const std::vector<Item>& items) {
    Json rows = Json::array();
    for (const Item& item : items) {
        rows.push_back({{"type", item.type},
                        {"name", item.name},
                        {"state", ItemStateWord(item.state)},
                        {"unit", item.unit},
                        {"run", item.run},
                        {"digest", item.digest},
                        {"added", item.added},
                        {"changed", item.changed},
                        {"note", item.note}});
    }
    return Json({{"v", 1}, {"type", "stock"}, {"items", rows}})
               .dump(2, ' ', false, Json::error_handler_t::replace) +
           "\n";
}

}  // namespace

std::vector<Item> KeysIn(const std::string& type, const std::string& folder) {
    namespace fs = std::filesystem;
    FindKeyType(type);
    std::error_code status;
    std::vector<Item> items;
    for (fs::directory_iterator entry(folder, status); !status && entry != fs::directory_iterator();
         entry.increment(status)) {
        const std::string name = entry->path().filename().string();
        if (name[0] == '.' || entry->is_directory()) {
            continue;
        }
        Item item;
        item.type = type;
        item.name = name;
        item.content = LoadFile(entry->path().string());
        if (crc32(0, reinterpret_cast<const Bytef*>(item.content.data()),
                  static_cast<uInt>(item.content.size())) == 0) {
            Fail(Exit::Unusable, "{} has the CRC-32 0, so that it can be sent to no set", entry->path().string());
        }
        items.push_back(std::move(item));
    }
    if (status) {
        Fail(Exit::Unusable, "the folder {} cannot be read: {}", folder, status.message());
    }
    if (items.empty()) {
        Fail(Exit::Unusable, "the folder {} has no key files", folder);
    }
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.name < b.name; });
    return items;
}

std::vector<Item> AddressesFrom(const std::string& first, const std::string& last) {
    const std::uint64_t begin = UsableAddress(first);
    const std::uint64_t end = UsableAddress(last);
    if (end < begin) {
        Fail(Exit::Unusable, "{} lies behind {}: write the lower address first", first, last);
    }
    if (end - begin >= kMostAddresses) {
        Fail(Exit::Unusable, "from {} to {} there are {} addresses; {} at most are taken in at once", first, last,
             end - begin + 1, kMostAddresses);
    }
    std::vector<Item> items;
    for (std::uint64_t address = begin; address <= end; ++address) {
        Item item;
        item.type = kAddressStock;
        item.name = AddressText(address);
        item.content = item.name;
        items.push_back(std::move(item));
    }
    return items;
}

void Export(const std::vector<Item>& items, const std::string& path) {
    const std::string kind = std::filesystem::path(path).extension().string();
    if (kind != ".csv" && kind != ".json") {
        Fail(Exit::Unusable, "the export {} has no kind: end its name in .csv or .json", path);
    }
    const std::string text = kind == ".csv" ? AsTable(items) : AsObjects(items);
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        Fail(Exit::Record, "{} cannot be written: {}", path, std::strerror(errno));
    }
    std::size_t at = 0;
    while (at < text.size()) {
        const auto count = ::write(file, text.data() + at, text.size() - at);
        if (count < 0) {
            const int reason = errno;
            ::close(file);
            ::unlink(path.c_str());
            Fail(Exit::Record, "{} cannot be written: {}", path, std::strerror(reason));
        }
        at += static_cast<std::size_t>(count);
    }
    ::close(file);
}

}  // namespace zelline

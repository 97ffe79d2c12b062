#include "simset/stick/Checker.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <system_error>

#include "simset/base/Limits.h"
#include "simset/stick/Contents.h"
#include "simset/stick/Layout.h"
#include "simset/stick/Names.h"

namespace simset::stick {
namespace {

namespace fs = std::filesystem;

using Level = Finding::Level;

std::vector<std::string> Entries(const fs::path& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string Read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool IsWriteProtected(const std::string& folder) {
    struct stat info {};
    struct statvfs system {};
    constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    return (::stat(folder.c_str(), &info) == 0 && (info.st_mode & kAnyWrite) == 0) ||
           (::statvfs(folder.c_str(), &system) == 0 && (system.f_flag & ST_RDONLY) != 0);
}

class Checker {
  public:
    explicit Checker(std::string folder)
        : m_root(std::move(folder)),
          m_writeProtected(IsWriteProtected(m_root.string())),
          m_entries(Entries(m_root)) {}

    Report Run() {
        CheckRoot();
        const bool customer = fs::is_directory(m_root / kCustomerFolder);
        const bool oem = HasEntry(kOemEntry);
        m_report.expected.endsAging = customer || oem || fs::is_directory(m_root / kExportFolder);
        m_report.expected.imports = customer || oem;
        if (customer) {
            CheckCustomerFolder();
        }
        if (!m_report.expected.imports) {
            ExpectExport();
        } else {
            ExpectImport(oem);
        }
        return m_report;
    }

  private:
    // What an entry is worth.
    struct Content {
        bool taken = false;      // whether a set takes it without an error
        std::uint64_t sets = 0;  // how many sets it serves; not told of a configuration, which serves any number
    };

    void Add(Level level, const fs::path& path, const std::string& text) {
        m_report.findings.push_back({level, Printable(path.string()), text});
    }
    void Problem(const fs::path& path, const std::string& text) { Add(Level::Problem, path, text); }
    void Note(const fs::path& path, const std::string& text) { Add(Level::Note, path, text); }
    void Step(const std::string& text) { m_report.expected.steps.push_back(text); }

    bool HasEntry(const std::string& needle) const {
        return std::any_of(m_entries.begin(), m_entries.end(),
                           [&needle](const std::string& name) { return Contains(name, needle); });
    }

    void CheckRoot() {
        if (!HasEntry(kStickMarker) && !FindSlip(kStickMarker)) {
            Note("", fmt::format("no entry {}: the USB port check does not count this stick", kStickMarker));
        }
        if (!HasEntry(kOemEntry)) {
            FindSlip(kOemEntry);
        }
        for (const char* folder : {kCustomerFolder, kExportFolder}) {
            if (fs::exists(m_root / folder) && !fs::is_directory(m_root / folder)) {
                Problem(folder, "has to be a folder");
            } else if (!fs::exists(m_root / folder)) {
                FindSlip(folder);
            }
        }
        for (const std::string& name : m_entries) {
            FindStray(fs::path(), name, nullptr);
        }
    }

    // Reports an entry of the root that may be meant to have this name.
    bool FindSlip(const std::string& expected) {
        for (const std::string& name : m_entries) {
            if (name != kCustomerFolder && name != kExportFolder && IsNearlyFolder(name, expected)) {
                Problem(name, fmt::format("is not seen by a set; is it meant to be {}?", expected));
                return true;
            }
        }
        return false;
    }

    // Reports a file that belongs to an item into whose folder it was not put.
    bool FindStray(const fs::path& folder, const std::string& name, const Item* here) {
        const Item* owner = nullptr;
        for (const Item& item : kItems) {
            // The longest needle owns the name: one kind's name contains another's.
            if (Contains(name, item.needle) &&
                (owner == nullptr || std::string(item.needle).size() > std::string(owner->needle).size())) {
                owner = &item;
            }
        }
        if (owner == nullptr || owner == here) {
            return false;
        }
        Problem(folder / name, fmt::format("lies in the wrong folder: the {} belongs into {}/{}", owner->title,
                                           kCustomerFolder, owner->folder));
        return true;
    }

    void CheckCustomerFolder() {
        const fs::path customer = kCustomerFolder;
        const std::vector<std::string> names = Entries(m_root / customer);
        const auto marked = [](const std::string& name) { return Contains(name, kCustomerMarker); };
        if (std::none_of(names.begin(), names.end(), marked)) {
            const auto slip = std::find_if(names.begin(), names.end(), [](const std::string& name) {
                return IsNearlyFolder(name, kCustomerMarker);
            });
            if (slip != names.end()) {
                Problem(customer / *slip, fmt::format("is it meant to be {}?", kCustomerMarker));
            } else {
                Note(customer, fmt::format("no entry {}; a set imports nevertheless", kCustomerMarker));
            }
        }
        for (const std::string& name : names) {
            CheckCustomerEntry(customer, name);
        }
        for (const Item& item : kItems) {
            CheckItem(item);
        }
    }

    void CheckCustomerEntry(const fs::path& customer, const std::string& name) {
        const auto known = [&name](const Item& item) { return name == item.folder; };
        if (std::any_of(kItems.begin(), kItems.end(), known) || Contains(name, kCustomerMarker) ||
            IsNearlyFolder(name, kCustomerMarker) || FindStray(customer, name, nullptr)) {
            return;
        }
        for (const Item& item : kItems) {
            if (!fs::exists(m_root / customer / item.folder) && IsNearlyFolder(name, item.folder)) {
                Problem(customer / name,
                        fmt::format("is not looked into; is it meant to be the folder {}?", item.folder));
                return;
            }
        }
        Note(customer / name, "is not used");
    }

    void CheckItem(const Item& item) {
        const fs::path folder = fs::path(kCustomerFolder) / item.folder;
        if (!fs::is_directory(m_root / folder)) {
            if (fs::exists(m_root / folder)) {
                Problem(folder, "has to be a folder");
            }
            Note("", fmt::format("no folder {}: no {} is taken from this stick", folder.string(), item.title));
            return;
        }
        std::vector<std::string> matching;
        std::string slip;
        for (const std::string& name : Entries(m_root / folder)) {
            if (Contains(name, item.needle)) {
                matching.push_back(name);
                FindStray(folder, name, &item);
            } else if (!FindStray(folder, name, &item)) {
                if (slip.empty() && IsNearlyFile(name, item.needle)) {
                    slip = name;
                } else {
                    Note(folder / name, "is not used");
                }
            }
        }
        if (!slip.empty()) {
            Problem(folder / slip, fmt::format("is not seen by a set: its name has to contain {}", item.needle));
        }
        if (matching.empty()) {
            ++m_emptyFolders;
            Problem(folder,
                    fmt::format("no entry whose name contains {}: the whole import ends with an error; add "
                                "the file or take the folder away",
                                item.needle));
            return;
        }
        CheckMatching(item, folder, matching);
    }

    void CheckMatching(const Item& item, const fs::path& folder, const std::vector<std::string>& names) {
        std::vector<Content> contents;
        for (const std::string& name : names) {
            CheckName(folder / name, name);
            contents.push_back(CheckContent(item, folder / name));
        }
        if (names.size() > 1) {
            if (item.kind == ItemKind::Key) {
                Note(folder, fmt::format("{} files: one for each set, in the stick's own order", names.size()));
            } else {
                Problem(folder, fmt::format("{} entries contain {}: which one a set takes is chance", names.size(),
                                            item.needle));
            }
        }
        Expect(item, folder / names.front(), contents.front().taken);
        if (item.kind != ItemKind::Configuration) {
            const std::uint64_t sets =
                std::accumulate(contents.begin(), contents.end(), std::uint64_t{0},
                                [](std::uint64_t sum, const Content& content) { return sum + content.sets; });
            m_report.expected.sets = std::min(m_report.expected.sets.value_or(sets), sets);
        }
    }

    void CheckName(const fs::path& path, const std::string& name) {
        if (name.rfind("._", 0) == 0) {
            Problem(path, "looks like a computer's own note about a file; a set takes it for the file");
        }
        if (path.string().size() > kMaxPath) {
            Problem(path, fmt::format("the path has more than {} characters; a set may cut it", kMaxPath));
        }
        if (NeedsQuotes(name)) {
            Note(path, "the name has characters that a shell interprets; a set quotes it");
        }
    }

    Content CheckContent(const Item& item, const fs::path& path) {
        if (!fs::is_regular_file(m_root / path)) {
            Problem(path, "has to be a file");
            return {};
        }
        const std::string content = Read(m_root / path);
        if (content.empty()) {
            Problem(path, "is empty");
            return {};
        }
        if (item.kind == ItemKind::Key) {
            if (content.size() > kLongestKeyFile) {
                Problem(path, fmt::format("has more than {} MiB: no key store takes it", kLongestKeyFile >> 20U));
                return {};
            }
            return {true, 1};
        }
        if (item.kind == ItemKind::Configuration) {
            const ConfigurationFile file = ReadConfigurationFile(content);
            for (const std::string& text : file.problems) {
                Problem(path, text);
            }
            for (const std::string& text : file.notes) {
                Note(path, text);
            }
            return {file.taken, 0};
        }
        const RangeFile file = ReadRangeFile(content);
        for (const std::string& text : file.problems) {
            Problem(path, text);
        }
        if (file.problems.empty()) {
            Note(path, fmt::format("addresses left: {}; the next set gets {}", file.left, file.next));
        }
        if (file.moreLines) {
            Note(path, "only the first line is used");
        }
        return {file.taken, file.left};
    }

    void Expect(const Item& item, const fs::path& path, bool good) {
        // A protected range file cannot be moved on to the next address.
        const bool taken = good && !(m_writeProtected && item.kind == ItemKind::MacRange);
        if (taken) {
            m_succeeded = true;
            Step(fmt::format("take the {} from {}{}", item.title, Printable(path.string()),
                             item.kind == ItemKind::Key ? " and remove the file" : ""));
        } else {
            m_failed = true;
            m_report.expected.message += item.errorWord;
            Step(fmt::format("fail to take the {} from {}", item.title, Printable(path.string())));
        }
    }

    void ExpectImport(bool oem) {
        if (m_writeProtected) {
            Problem("", "the stick is write-protected: every set takes the same keys, and none gets an address");
            m_report.expected.sets.reset();
        }
        Expectation& expected = m_report.expected;
        if (m_emptyFolders == 0 && oem) {
            Step("have the set's supervisor take the OEM data (6 s)");
            m_succeeded = true;
        }
        if (m_emptyFolders > 0 || (!m_succeeded && !m_failed)) {
            expected.status = 0;
            expected.screen = "Update NG," + expected.message;
            if (m_emptyFolders == 0) {
                Problem(kCustomerFolder, "holds nothing that a set takes");
            }
        } else if (m_failed) {
            expected.status = 2;
            expected.screen = "Update NG:" + expected.message;
        } else {
            expected.status = 1;
            expected.screen = "Update Config OK";
        }
    }

    void ExpectExport() {
        Expectation& expected = m_report.expected;
        Note("", fmt::format("neither {} nor {}: a set writes its configuration onto this stick", kCustomerFolder,
                             kOemEntry));
        if (fs::exists(m_root / kExportFolder)) {
            Step(fmt::format("remove what is in {}", kExportFolder));
        }
        Step(fmt::format("write {}/CONFIG/{}", kExportFolder, kConfigName));
        Step("have the set's supervisor copy the OEM data (6 s)");
        expected.status = 3;
        expected.screen = "Copy Config OK";
        if (m_writeProtected) {
            Problem("", "the stick is write-protected: a set cannot write onto it");
            expected.status = 4;
            expected.message = "Config.bin;";
            expected.screen = "Copy NG:" + expected.message;
        }
    }

    fs::path m_root;
    bool m_writeProtected;
    std::vector<std::string> m_entries;
    Report m_report;
    unsigned m_emptyFolders = 0;
    bool m_succeeded = false;
    bool m_failed = false;
};

}  // namespace

bool Report::Usable() const {
    return std::none_of(findings.begin(), findings.end(),
                        [](const Finding& finding) { return finding.level == Level::Problem; });
}

Report CheckStick(const std::string& folder) {
    if (!fs::is_directory(folder)) {
        throw std::invalid_argument(folder + " is no folder");
    }
    return Checker(folder).Run();
}

}  // namespace simset::stick

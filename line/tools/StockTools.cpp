#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

#include "plan/PlanText.h"
#include "stock/Delivery.h"
#include "stock/Stock.h"
#include "tools/Tools.h"

namespace zelline {
namespace {

Exit AddStock(const Context& context, Stock& stock, const Words& words) {
    const std::string& type = words[1];
    const bool isRange = type == kAddressStock;
    if (words.size() != (isRange ? 4 : 3)) {
        Fail(Exit::Unusable, "write 'stock add TYPE FOLDER' or 'stock add {} FIRST LAST'", kAddressStock);
    }
    const auto items = isRange ? AddressesFrom(words[2], words[3]) : KeysIn(type, words[2]);
    const std::size_t added = stock.Add(items);
    const std::size_t known = items.size() - added;
    context.console.Result(
        {{"v", 1}, {"type", "stock"}, {"stock", type}, {"added", added}, {"known", known}},
        fmt::format("{}: {} taken in{}", type, added,
                    known == 0 ? "" : fmt::format(", {} left out, which the stock has or had before", known)));
    return Exit::Success;
}

Exit ShowStock(const Context& context, Stock& stock, const Words&) {
    constexpr const char* kRow = "{:<14} {:>8} {:>8} {:>8} {:>8} {:>8} {:>8}";
    const auto counts = stock.Count();
    if (!context.console.json) {
        context.console.out << fmt::format(kRow, "stock", "free", "leased", "reserved", "written", "verified",
                                           "spent")
                            << std::endl;
    }
    for (const StockCount& row : counts) {
        context.console.Result(
            {{"v", 1},
             {"type", "stock"},
             {"stock", row.type},
             {"free", row.free},
             {"leased", row.leased},
             {"reserved", row.reserved},
             {"written", row.written},
             {"verified", row.verified},
             {"spent", row.spent}},
            fmt::format(kRow, row.type, row.free, row.leased, row.reserved, row.written, row.verified, row.spent));
    }
    for (const StockLease& row : stock.Leases()) {
        context.console.Result(
            {{"v", 1},
             {"type", "lease"},
             {"stock", row.type},
             {"station", row.station},
             {"ledger", row.ledger},
             {"free", row.free}},
            fmt::format("{} {} are leased to {} (ledger {})", row.free, row.type, row.station, row.ledger));
    }
    return Exit::Success;
}

Exit CheckStock(const Context& context, Stock& stock, const Words&) {
    const auto problems = stock.Check();
    for (const std::string& words : problems) {
        context.console.Result({{"v", 1}, {"type", "problem"}, {"words", words}}, words);
    }
    std::size_t items = 0;
    for (const StockCount& row : stock.Count()) {
        items += row.free + row.reserved + row.written + row.verified + row.spent;
    }
    context.console.Result({{"v", 1}, {"type", "stock"}, {"items", items}, {"problems", problems.size()}},
                           problems.empty() ? fmt::format("{} items, all in order", items)
                                            : fmt::format("{} items, {} problems", items, problems.size()));
    return problems.empty() ? Exit::Success : Exit::Failure;
}

Exit ExportStock(const Context& context, Stock& stock, const Words& words) {
    const auto items = stock.All();
    Export(items, words[1]);
    context.console.Result({{"v", 1}, {"type", "stock"}, {"file", words[1]}, {"items", items.size()}},
                           fmt::format("{}: {} items", words[1], items.size()));
    return Exit::Success;
}

Exit RetireItem(const Context& context, Stock& stock, const Words& words) {
    if (!stock.Retire(words[1], words[2], "retired by hand")) {
        Fail(Exit::Unusable, "the stock has no {} named {} that could be retired", words[1], words[2]);
    }
    context.console.Result({{"v", 1}, {"type", "stock"}, {"stock", words[1]}, {"retired", words[2]}},
                           fmt::format("{} {} is spent, and no unit gets it again", words[1], words[2]));
    return Exit::Success;
}

Exit RetireLedger(const Context& context, Stock& stock, const Words& words) {
    if (!stock.RetireLedger(words[2])) {
        Fail(Exit::Unusable, "the store knows no ledger {}; 'stock status' lists those that have items", words[2]);
    }
    context.console.Result({{"v", 1}, {"type", "stock"}, {"retired", words[2]}},
                           fmt::format("what the ledger {} had free or reserved is spent", words[2]));
    return Exit::Success;
}

struct StockForm {
    std::string_view words;  // those in small letters stand for themselves
    Exit (*run)(const Context&, Stock&, const Words&);
};

constexpr std::array<StockForm, 7> kStockForms = {{{"add TYPE FOLDER", AddStock},
                                                   {"add mac FIRST LAST", AddStock},
                                                   {"status", ShowStock},
                                                   {"check", CheckStock},
                                                   {"export FILE", ExportStock},
                                                   {"retire ledger NAME", RetireLedger},
                                                   {"retire TYPE NAME", RetireItem}}};

bool Fits(const StockForm& form, const Words& words) {
    const Words parts = SplitWords(form.words);
    return parts.size() == words.size() &&
           std::equal(parts.begin(), parts.end(), words.begin(),
                      [](const std::string& part, const std::string& word) {
                          return part == word || std::isupper(static_cast<unsigned char>(part[0])) != 0;
                      });
}

}  // namespace

Store OpenStore(const Options& options, bool isNew) {
    if (options.store.empty()) {
        Fail(Exit::Unusable, "which store? Write --store FILE or --store postgresql://..., or set ZELLINE_STORE");
    }
    std::error_code status;
    if (!isNew && !IsServer(options.store) && !std::filesystem::exists(options.store, status)) {
        Fail(Exit::Unusable, "there is no store {}: 'stock add' and 'run' make one", options.store);
    }
    return Store(options.store);
}

std::vector<std::string_view> StockForms() {
    std::vector<std::string_view> forms;
    for (const StockForm& form : kStockForms) {
        forms.push_back(form.words);
    }
    return forms;
}

Exit WorkOnStock(const Context& context) {
    const Words& words = context.options.words;
    std::string forms;
    for (const StockForm& form : kStockForms) {
        if (Fits(form, words)) {
            Store store = OpenStore(context.options, words[0] == "add");
            Stock stock(store);
            return form.run(context, stock, words);
        }
        forms += fmt::format("{}'stock {}'", forms.empty() ? "" : ", ", form.words);
    }
    Fail(Exit::Unusable, "write {}", forms);
}

}  // namespace zelline

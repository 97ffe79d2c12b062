#include "record/UnitItems.h"

#include <fmt/format.h>
#include <zlib.h>

#include "protocol/CommandCatalogue.h"
#include "protocol/KeyFiles.h"

namespace zelline {
namespace {

constexpr char kItemPrefix[] = "stock.";

// The types that the text names as variables.
std::set<std::string> TypesNamedIn(const std::string& text) {
    std::set<std::string> types;
    for (const Reference& reference : ReferencesIn(text)) {
        if (reference.name.rfind(kItemPrefix, 0) == 0) {
            types.insert(reference.name.substr(sizeof kItemPrefix - 1));
        }
    }
    return types;
}

// The type that the step takes with the word for it; empty when it takes none.
std::string TakenBy(const Step& step, const Plan& plan) {
    for (const std::string& word : step.words) {
        if (word == kFromStock) {
            return StepAction(step, VariablesOf(step, plan.variables, {})).stock;
        }
    }
    return {};
}

std::string VariableValue(const Item& item) {
    return item.type == kAddressStock
               ? item.content
               : fmt::format("{:08X}", crc32(0, reinterpret_cast<const Bytef*>(item.content.data()),
                                             static_cast<uInt>(item.content.size())));
}

}  // namespace

std::string ItemVariable(const std::string& type) {
    return kItemPrefix + type;
}

std::vector<std::string> ItemTypes() {
    std::vector<std::string> types = {kAddressStock};
    for (const zel::KeyFileInfo& type : zel::kKeyFiles) {
        if (type.file != zel::KeyFile::Config) {
            types.emplace_back(type.name);
        }
    }
    return types;
}

Variables ProvidedVariables(const std::string& unit) {
    Variables provided;
    if (!unit.empty()) {
        provided["unit"] = unit;
    }
    for (const std::string& type : ItemTypes()) {
        provided[ItemVariable(type)] = type == kAddressStock ? "02:00:00:00:00:01" : "00000000";
    }
    return provided;
}

std::set<std::string> ItemTypesOf(const Plan& plan) {
    std::set<std::string> types;
    for (Step step : plan.steps) {
        for (const std::string* text : TextsOf(step)) {
            types.merge(TypesNamedIn(*text));
        }
        types.insert(TakenBy(step, plan));
    }
    types.erase("");
    return types;
}

UnitItems::~UnitItems() {
    try {
        m_stock.Release(m_run);
    } catch (const Error&) {  // they stay reserved for the unit
    }
}

void UnitItems::Reserve(Plan& plan) {
    const auto types = ItemTypesOf(plan);
    for (const std::string& type : ItemTypes()) {
        plan.variables.erase(ItemVariable(type));  // what stood in for it when the plan was checked
    }
    for (const std::string& type : types) {
        const Item item = m_stock.Reserve(type, m_unit, m_run);
        plan.variables[ItemVariable(type)] = VariableValue(item);
        m_items.emplace(type, item);
        if (item.state == ItemState::Written) {
            m_written.insert(type);
        }
    }
    for (std::size_t number = 0; number < plan.steps.size(); ++number) {
        Step& step = plan.steps[number];
        for (const std::string& word : step.words) {
            m_uses[number].merge(TypesNamedIn(word));
        }
        if (const std::string type = TakenBy(step, plan); !type.empty()) {
            step.item = m_items.at(type).content;
            m_uses[number].insert(type);
        }
    }
}

void UnitItems::StepBegins(std::size_t number, const Action& action) {
    if (IsForOperator(action)) {
        return;  // an item that a question names is not sent by it
    }
    for (const std::string& type : m_uses[number]) {
        m_stock.Sending(m_items.at(type), m_run);
        m_written.erase(type);
        m_sent.insert(number);
    }
    if (action.kind == Action::Kind::Ask && action.request.id == zel::command::kReadMac) {
        m_reads.insert(number);
    }
}

void UnitItems::StepEnded(std::size_t number, const StepResult& result) {
    const bool passed = result.state == StepState::Passed;
    if (m_reads.erase(number) != 0 && passed && m_written.count(kAddressStock) != 0 &&
        result.value == m_items.at(kAddressStock).content) {
        Settle(m_items.at(kAddressStock), ItemState::Verified, "");
    }
    if (m_sent.erase(number) == 0) {
        return;
    }
    for (const std::string& type : m_uses[number]) {
        const Item& item = m_items.at(type);
        if (!passed) {
            Settle(item, ItemState::Spent, fmt::format("run {}: {}", m_run, result.words));
            continue;
        }
        m_written.insert(type);
        // A key that was sent has been compared by its checksum.
        Settle(item, type == kAddressStock ? ItemState::Written : ItemState::Verified, "");
    }
}

void UnitItems::Settle(const Item& item, ItemState state, const std::string& note) {
    try {
        m_stock.Settle(item, state, note);
    } catch (const Error& error) {
        m_problems.push_back(error);
    }
}

}  // namespace zelline

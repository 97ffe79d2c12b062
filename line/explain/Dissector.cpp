#include <fmt/format.h>

#include "explain/Reference.h"
#include "protocol/CommandCatalogue.h"
#include "wire/Hex.h"
#include "wire/Request.h"

namespace zelline {
namespace {

// The forms that the script knows, by the names of what it does with them.
const char* AnswerWord(zel::AnswerForm form) {
    switch (form) {
        case zel::AnswerForm::Text:
        case zel::AnswerForm::TextOrNothing:
            return "text";
        case zel::AnswerForm::TextOrUnreadable:
            return "text or unreadable";
        case zel::AnswerForm::Byte:
            return "byte";
        case zel::AnswerForm::Bits32Little:
            return "little";
        case zel::AnswerForm::Bits32Big:
            return "big";
        default:
            return "";
    }
}

const char* RequestWord(const zel::CommandInfo& row) {
    if (CarriesFileBytes(row.id)) {
        return "chunk";
    }
    return row.payload == zel::PayloadRule::VolumeByte ? "byte" : "text";
}

constexpr std::string_view kTablesBegin = "local commands = {\n";
constexpr std::string_view kTablesEnd = "\nlocal START";

}  // namespace

std::string DissectorScript() {
    std::string tables(kTablesBegin);
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        const bool ignored = row.group == zel::CommandGroup::Ignored;
        tables += fmt::format("  [{}] = {{\"{}\", \"{}\", \"{}\"}},\n", IdText(row.id),
                              ignored ? "ignored" : row.name, RequestWord(row), AnswerWord(row.answer));
    }
    tables += fmt::format("}}\n\nlocal READY, KEY_PRESS = {}, {}", IdText(zel::command::kReady),
                          IdText(zel::command::kKeyPressReport));
    std::string script(DissectorInDocuments());
    const auto begin = script.find(kTablesBegin);
    script.replace(begin, script.find(kTablesEnd, begin) - begin, tables);
    return script;
}

}  // namespace zelline

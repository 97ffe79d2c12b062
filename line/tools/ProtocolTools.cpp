#include <fmt/format.h>

#include "explain/Explain.h"
#include "explain/Reference.h"
#include "protocol/CommandCatalogue.h"
#include "tools/Tools.h"

namespace zelline {

Exit Decode(const Context& context) {
    const auto stretches = Dissect(FromHex(fmt::format("{}", fmt::join(context.options.words, " "))));
    if (stretches.empty()) {
        Fail(Exit::Unusable, "there are no bytes to decode: write them as 'zelline decode 79 00 12 73 ...'");
    }
    for (const Stretch& stretch : stretches) {
        Json object = {{"v", 1}, {"type", stretch.intact ? "frame" : "damage"}, {"at", stretch.at}};
        if (stretch.intact) {
            object["id"] = IdText(stretch.frame.CommandId());
            object["kind"] = stretch.frame.kind;
            object["length"] = stretch.frame.length;
            object["payload"] = ToHex(stretch.frame.payload.data(), stretch.frame.length);
            object["trailer"] = {stretch.frame.trailerA, stretch.frame.trailerB};
        }
        object["hex"] = ToHex(stretch.bytes);
        object["words"] = stretch.words;
        context.console.Result(
            object, fmt::format("{:5}  {}\n       {}", stretch.at, ToHex(stretch.bytes), stretch.words));
    }
    return Exit::Success;
}

Exit ShowCommands(const Context& context) {
    const Console& console = context.console;
    if (context.options.markdown) {
        console.out << ProtocolReference();
        return Exit::Success;
    }
    if (context.options.lua) {
        console.out << DissectorScript();
        return Exit::Success;
    }
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.reply == zel::ReplyRule::None && row.name.empty() && !console.json) {
            continue;
        }
        console.Result({{"v", 1},
                        {"type", "command"},
                        {"id", IdText(row.id)},
                        {"decimal", row.id},
                        {"name", row.name},
                        {"payload", row.payloadText},
                        {"answer", row.answerText}},
                       fmt::format("{}  {:<26} {}\n{:36}-> {}", IdText(row.id), row.name,
                                   row.payloadText.empty() ? "none" : row.payloadText, "", row.answerText));
    }
    if (!console.json) {
        console.Note("Ids from 0x1273 to 0x12BA that are not listed are dropped by the set.");
    }
    return Exit::Success;
}

}  // namespace zelline

#include "link/Missing.h"

#include <fmt/format.h>

#include "protocol/CommandCatalogue.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

std::string Reasons(const Request& request, const Seen& seen) {
    const std::string dropped = DropReason(request.id, request.payload);
    if (!dropped.empty()) {
        return ": " + dropped;
    }
    if (seen.connected || seen.other) {
        return ": the set is alive, so it is still busy with this command (give it longer with --timeout), or the "
               "frame was damaged on the line (--retries)";
    }
    if (seen.ready) {
        return ": the set sends ready frames but does not hear us; check the line towards the set";
    }
    if (seen.noise) {
        return ": only noise arrived; check ground, baud rate (115200) and that this is the factory port";
    }
    return ": nothing arrived; check that the set is on and in factory mode, and the cable. A set that has left "
           "factory mode stays silent, one that is in a long command answers after it";
}

}  // namespace

std::string NoAnswerText(const Request& request, int tries, Millis timeout, const Seen& seen) {
    const zel::CommandInfo* row = zel::FindCommand(request.id);
    const bool isOpen =
        row != nullptr && row->repeat == zel::RepeatRule::Counts && row->reply == zel::ReplyRule::Status;
    return fmt::format("no answer to {}{} within {}{} ms{}{}", IdText(request.id),
                       row == nullptr || row->name.empty() ? "" : fmt::format(" ({})", row->name),
                       tries == 1 ? "" : fmt::format("{} tries of ", tries), timeout.count(),
                       Reasons(request, seen), isOpen ? ". Whether the set has carried it out is not known" : "");
}

}  // namespace zelline

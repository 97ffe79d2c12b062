#include "explain/Reference.h"

#include <fmt/format.h>

#include "explain/Explain.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Answer.h"
#include "wire/Request.h"

namespace zelline {
namespace {

const char* GroupTitle(zel::CommandGroup group) {
    switch (group) {
        case zel::CommandGroup::Link:
            return "Link";
        case zel::CommandGroup::Record:
            return "Records";
        case zel::CommandGroup::Address:
            return "Addresses";
        case zel::CommandGroup::Key:
            return "Keys and configuration";
        case zel::CommandGroup::Input:
            return "Inputs";
        case zel::CommandGroup::Picture:
            return "Picture";
        case zel::CommandGroup::Sound:
            return "Sound";
        case zel::CommandGroup::Board:
            return "Board";
        case zel::CommandGroup::Radio:
            return "Radios";
        case zel::CommandGroup::Network:
            return "Network";
        case zel::CommandGroup::Finish:
            return "Finish";
        default:
            return "Ignored";
    }
}

const char* PayloadRuleWords(zel::PayloadRule rule) {
    switch (rule) {
        case zel::PayloadRule::NotEmpty:
            return "An empty payload is dropped without an answer.";
        case zel::PayloadRule::MacText:
            return "Any other length than 17 is dropped without an answer.";
        case zel::PayloadRule::VolumeByte:
            return "Another length or a byte above 100 is dropped without an answer.";
        case zel::PayloadRule::KeyChunk:
            return "An empty payload is answered with status 1.";
        default:
            return "";
    }
}

constexpr std::string_view kHead =
    "# Factory serial protocol\n\n"
    "Made by `zelline commands --markdown` from the command catalogue that the application and the line tool\n"
    "share; do not edit it by hand.\n\n"
    "The line runs at 115200 baud, 8 data bits, no parity, 1 stop bit, no flow control. The line's tool asks, "
    "the\n"
    "set answers. The set takes the bytes of a burst together: it looks at them once 0.5 s of silence have "
    "passed,\n"
    "so an answer takes at least that long. Frames are carried out strictly in order, one at a time; several\n"
    "may go out in one burst. Up to 1024 wait while the set is busy, four whole files; what comes on top of them "
    "is\n"
    "dropped.\n\n"
    "## Envelope\n\n"
    "One frame form in both directions, LEN + 9 bytes, 73 at most. Numbers of several bytes are big-endian, but "
    "the\n"
    "running time, which is little-endian.\n\n"
    "| Offset | Field | Value |\n|---|---|---|\n"
    "| 0 | start | 79 |\n"
    "| 1 | kind | 00 in requests and the ready frame, 10 status or answer without data, 11 answer with data, 20 "
    "link closing |\n"
    "| 2, 3 | command id | high byte first |\n"
    "| 4 | LEN | 0 to 64 |\n"
    "| 5 | payload | LEN bytes |\n"
    "| 5 + LEN | trailer A | chunk index in file transfers, else 0 |\n"
    "| 6 + LEN | trailer B | number of chunks in file transfers; in answers 1 with a status or data, 0 without "
    "data; else 0 |\n"
    "| 7 + LEN | checksum | below |\n"
    "| 8 + LEN | end | FE |\n\n"
    "## Checksum\n\n"
    "The two's complement of the sum of bytes 1 to 6 + LEN: all of them and the checksum add up to 0 modulo 256.\n"
    "A frame with a wrong checksum, length or end byte is dropped without an answer.\n\n";

constexpr std::string_view kAnswers =
    "## Answers\n\n"
    "A status answer has kind 10, LEN 1 and one byte: 0 success, 1 failure. An answer with data has kind 11.\n"
    "What the set drops (an id outside the table, an ignored one, a payload that the row says it drops, anything\n"
    "before the connect) gets no answer at all.\n\n"
    "Until it is connected the set sends the ready frame about every 2 s. Once connected it reports presses of\n"
    "keys under 0x1287 with kind 11 and the key's name: POWER, CHUP, VODOWN, CHDOWN, MENU, VOUP or SOURCE, each "
    "at\n"
    "most ten times, and an empty name for any other key.\n\n"
    "## Files\n\n"
    "Keys and the configuration travel in chunks of up to 64 bytes, index in trailer A, number of chunks in\n"
    "trailer B. The set appends chunks in the order in which they come and drops an index that it has; send\n"
    "them in order. It answers once, when as many have come as trailer B says and the file has been installed.\n"
    "The number is one byte: 255 chunks, 16320 bytes, are the most. 256 would be sent as 0, a number that no\n"
    "count of chunks reaches, so such a file would never be complete and never be answered.\n\n"
    "The answer to a key is the set's check of that key in its store, and nothing else. Where an older good key "
    "is in\n"
    "the store and the new one cannot be written over it, the check passes and the answer is success; the "
    "checksum\n"
    "query does not show it either, for it tells of the file that was received. The ESN/ULPK/MAC file is checked "
    "as\n"
    "the Widevine keybox: without an installed keybox its answer is failure, with one it is that keybox's.\n\n"
    "A chunk under another id throws away what has come; while a file is being installed it waits for that "
    "file's\n"
    "answer. Begin the next file when the answer is there: frames that wait behind a file's last chunk are "
    "dropped\n"
    "when it is installed. After a key was installed the set keeps only the first chunk of the next file until "
    "one\n"
    "of the checksum queries has come.\n\n";

}  // namespace

std::string ProtocolReference() {
    std::string page(kHead);
    UartFrame ready = zel::MakeFrame(zel::FrameKind::Ready, zel::command::kReady);
    zel::SetPayload(ready, "\x02");
    ready.trailerB = 1;
    page += fmt::format("Worked example, the ready frame: `{}`. ", WireHex(ready));
    const zel::WireFrame wire = zel::EncodeFrame(ready);
    unsigned sum = 0;
    for (std::size_t i = 1; i + 2 < wire.size; ++i) {
        sum += wire.bytes[i];
    }
    page += fmt::format("The bytes {} add up to {:02X}; 100 - {:02X} = {:02X}.\n\n",
                        ToHex(wire.bytes.data() + 1, wire.size - 3), sum & 0xFFU, sum & 0xFFU,
                        wire.bytes[wire.size - 2]);
    page += kAnswers;
    page += "## Commands\n\n| Id | Decimal | Name | Payload | Answer |\n|---|---|---|---|---|\n";
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        const bool ignored = row.group == zel::CommandGroup::Ignored;
        page += fmt::format("| {} | {} | {} | {} | {} |\n", IdText(row.id), row.id, ignored ? "ignored" : row.name,
                            row.payloadText, ignored ? "none" : row.answerText);
    }
    page += "\n## Each command\n";
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.group == zel::CommandGroup::Ignored) {
            continue;
        }
        page += fmt::format("\n### {} {}\n\n{}. Payload: {}. {}{}Answer: {}.\n\n", IdText(row.id), row.name,
                            GroupTitle(row.group), row.payloadText, PayloadRuleWords(row.payload),
                            *PayloadRuleWords(row.payload) == '\0' ? "" : " ", row.answerText);
        const std::uint8_t chunks = CarriesFileBytes(row.id) ? 1 : 0;
        const UartFrame request = FrameOf({row.id, std::string(row.exampleAsked), 0, chunks});
        page += fmt::format("    > {}\n      {}\n", WireHex(request), Explain(request));
        if (row.reply != zel::ReplyRule::None) {
            const UartFrame reply = zel::AnswerFrame(row.id, row.answer, row.exampleAnswer);
            for (int i = 0; i < (row.reply == zel::ReplyRule::StatusTwice ? 2 : 1); ++i) {
                page += fmt::format("    < {}\n      {}\n", WireHex(reply), Explain(reply));
            }
        }
    }
    return page;
}

}  // namespace zelline

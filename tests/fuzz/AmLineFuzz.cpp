// The manager's command lines, from any bytes: whatever was cut out of the line lies inside it, and what was
// parsed reads the same when it is put together again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

// The client's two parsers are all of it that needs no set.
#include "src/amclient/LineGrammar.cpp"  // NOLINT(bugprone-suspicious-include)
#include "src/amclient/PendingLine.cpp"  // NOLINT(bugprone-suspicious-include)

namespace {

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::string Joined(const std::vector<std::string_view>& texts) {
    std::string joined;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        joined += i == 0 ? "" : ",";
        joined += texts[i];
    }
    return joined;
}

// Absent and empty fields look alike, so the header is compared as it stands in the line.
void CheckParsed(std::string_view line, const zel::AmLine& parsed) {
    const std::size_t headerEnd = line.find(':', 1);
    std::string again(line.substr(0, headerEnd + 1));
    for (const zel::AmParameter& parameter : parsed.parameters) {
        Require(!parameter.name.empty());
        again += again.size() == headerEnd + 1 ? "" : ",";
        again += std::string(parameter.name) + "=";
        again += parameter.isList ? "[" + Joined(parameter.elements) + "]" : std::string(parameter.text);
    }
    Require(again == line);
}

void CheckLine(std::string_view line) {
    const zel::AmLine parsed = zel::ParseAmLine(line);
    if (parsed.result == zel::AmLineResult::Parsed) {
        Require(!parsed.header[0].empty() && !parsed.parameters.empty());
        CheckParsed(line, parsed);
    } else {
        Require(parsed.parameters.empty() && !zel::IsForApplication(parsed));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    CheckLine(bytes);

    // The same bytes as a stream, in pieces whose size the first byte says, into a small buffer.
    std::string buffer(64, '\0');
    zel::PendingLine pending(buffer.data(), buffer.size());
    const std::size_t piece = size == 0 ? 1 : 1 + data[0] % 16U;
    for (std::size_t place = 0; place < size; place += piece) {
        std::string_view rest = std::string_view(bytes).substr(place, piece);
        while (!rest.empty()) {
            const bool complete = pending.Take(rest);
            Require(pending.Line().size() < buffer.size());
            if (complete && !pending.IsOverlong()) {
                CheckLine(pending.Line());
            }
        }
    }
    return 0;
}

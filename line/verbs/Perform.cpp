#include "verbs/Perform.h"

#include <fmt/format.h>

#include <algorithm>

#include "explain/Explain.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace zelline {
namespace {

constexpr int kUploadRetries = 3;

void Finish(Outcome& outcome, const Action& action) {
    Json json = {{"v", 1}, {"type", "result"}, {"verb", action.verb}};
    json["outcome"] = StatusWord(outcome.status);
    json["exit"] = static_cast<int>(outcome.status);
    json.update(outcome.json);
    json["words"] = outcome.words;
    json["tries"] = outcome.tries;
    json["ms"] = outcome.elapsed.count();
    outcome.json = std::move(json);
}

AskOptions OptionsFor(const Action& action, const Settings& settings) {
    AskOptions options;
    const std::uint16_t id = action.request.id;
    options.timeout = settings.timeout.value_or(DefaultTimeout(id));
    options.retries = settings.retries.value_or(MayRepeat(id) ? 1 : 0);
    options.connect = settings.connect;
    const zel::CommandInfo* row = zel::FindCommand(id);
    options.second = row != nullptr && row->reply == zel::ReplyRule::StatusTwice;
    return options;
}

Outcome PerformAsk(Link& link, const Action& action, const Settings& settings, UploadProgress* progress) {
    AskOptions options = OptionsFor(action, settings);
    if (progress != nullptr) {
        options.onWait = [progress](Millis elapsed) { progress->Waiting(elapsed); };
    }
    const Answered answered = link.Ask(action.request, options);
    Outcome outcome = OutcomeOf(action, answered.frame, answered.answers);
    outcome.tries = answered.tries;
    outcome.elapsed = answered.elapsed;
    return outcome;
}

// The connect's answer shows that the set had the burst. Probing afterwards whether it has gone silent would
// leave bytes in its port that its next start reads.
Outcome PerformLeave(Link& link, const Action& action, const Settings& settings) {
    const Millis start = link.Line().Now();
    const Millis deadline = start + settings.timeout.value_or(DefaultTimeout(action.request.id));
    link.Send({ConnectFrame(), FrameOf(action.request)});
    Outcome outcome;
    outcome.status = Exit::NoAnswer;
    outcome.tries = 1;
    outcome.words = "the set does not answer: it was silent before it could be told to leave";
    while (const auto frame = link.Receive(deadline)) {
        if (frame->CommandId() == zel::command::kConnect) {
            outcome.status = Exit::Success;
            outcome.words = "the set was listening and has been told to leave; it does not answer this command";
            break;
        }
    }
    link.ForgetAnswers();
    outcome.elapsed = link.Line().Now() - start;
    outcome.json["id"] = IdText(action.request.id);
    return outcome;
}

Outcome PerformUpload(Link& link, const Action& action, const Settings& settings, UploadProgress* progress) {
    UploadOptions options;
    options.retries = settings.retries.value_or(kUploadRetries);
    options.pace = settings.pace;
    options.install = settings.timeout.value_or(options.install);
    options.query = std::min(settings.timeout.value_or(options.query), options.query);
    options.queryRetries = settings.retries.value_or(options.queryRetries);
    const std::string content = action.stock.empty() ? LoadFile(action.path) : action.content;
    Uploader uploader(link, *action.type, content, options, progress);
    const UploadResult result = uploader.Run();
    Outcome outcome;
    outcome.status = result.status;
    outcome.words = result.words;
    outcome.tries = result.transfers;
    outcome.elapsed = result.elapsed;
    outcome.hasValue = result.setChecksum.has_value();
    outcome.value = outcome.hasValue ? fmt::format("{:08X}", *result.setChecksum) : std::string();
    outcome.json["id"] = IdText(action.type->transfer);
    outcome.json["file_type"] = action.type->name;
    outcome.json["bytes"] = result.bytes;
    outcome.json["chunks"] = result.chunks;
    outcome.json["crc32"] = fmt::format("{:08X}", result.fileChecksum);
    outcome.json["set_crc32"] = outcome.hasValue ? Json(outcome.value) : Json(nullptr);
    outcome.json["transfers"] = result.transfers;
    return outcome;
}

}  // namespace

BurstItem ItemOf(const Action& action, const Settings& settings) {
    const AskOptions options = OptionsFor(action, settings);
    return {action.request, options.second ? 2 : 1, options.timeout, options.retries};
}

Outcome OutcomeOf(const Action& action, const UartFrame& answer, int answers) {
    const Reading reading = ReadAnswer(answer);
    Outcome outcome;
    outcome.status = reading.success ? Exit::Success : Exit::Failure;
    outcome.words = reading.words;
    outcome.hasValue = reading.type != ValueType::None;
    outcome.value = reading.text;
    outcome.json["id"] = IdText(action.request.id);
    outcome.isNumber = reading.type == ValueType::Number;
    if (outcome.isNumber) {
        outcome.json["value"] = reading.number;
    } else if (outcome.hasValue) {
        outcome.json["value"] = reading.text;
    }
    if (OptionsFor(action, {}).second) {
        outcome.json["answers"] = answers;
        outcome.words += answers == 2 ? ", answered twice as it should be" : ", answered once instead of twice";
    }
    outcome.json["payload"] = ToHex(answer.payload.data(), answer.length);
    return outcome;
}

Outcome Perform(Link& link, const Action& action, const Settings& settings, UploadProgress* progress) {
    Outcome outcome;
    const Millis start = link.Line().Now();
    try {
        outcome = action.kind == Action::Kind::Ask     ? PerformAsk(link, action, settings, progress)
                  : action.kind == Action::Kind::Leave ? PerformLeave(link, action, settings)
                                                       : PerformUpload(link, action, settings, progress);
    } catch (const Error& error) {
        if (error.Status() != Exit::NoAnswer) {
            throw;
        }
        outcome.status = Exit::NoAnswer;
        outcome.words = error.what();
        outcome.tries = action.kind == Action::Kind::Ask ? OptionsFor(action, settings).retries + 1 : 1;
        outcome.elapsed = link.Line().Now() - start;
        const bool isFile = action.kind == Action::Kind::Upload;
        outcome.json["id"] = IdText(isFile ? action.type->transfer : action.request.id);
    }
    if (progress != nullptr) {
        progress->End();
    }
    Finish(outcome, action);
    return outcome;
}

std::string FrameLine(const UartFrame& frame) {
    return fmt::format("{}   {}", WireHex(frame), Explain(frame));
}

std::vector<std::string> Preview(const Action& action, const Settings& settings, bool inStep) {
    if (action.kind == Action::Kind::Question || action.kind == Action::Kind::Confirm) {
        return {"asks the operator: " + action.question};
    }
    if (action.kind == Action::Kind::Press) {
        std::vector<std::string> lines = {
            fmt::format("has the operator press {}, and waits for the set's report of it", action.key)};
        if (!inStep && settings.connect) {
            lines.insert(lines.begin(), FrameLine(ConnectFrame()));
        }
        return lines;
    }
    if (!action.stock.empty()) {
        return {fmt::format("the unit's {} from the stock", action.stock)};
    }
    if (action.kind == Action::Kind::Upload) {
        const std::size_t size = LoadFile(action.path).size();
        return {fmt::format("{}: {}, {} bytes in {} chunks under {}", action.path, action.type->words, size,
                            (size + zel::kMaxPayload - 1) / zel::kMaxPayload, IdText(action.type->transfer))};
    }
    std::vector<std::string> lines;
    const bool first = !inStep && settings.connect;
    if (action.kind == Action::Kind::Leave || (first && action.request.id != zel::command::kConnect)) {
        lines.push_back(FrameLine(ConnectFrame()));
    }
    lines.push_back(FrameLine(FrameOf(action.request)));
    return lines;
}

}  // namespace zelline

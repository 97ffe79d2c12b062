#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>

#include "amclient/AmClientState.h"

namespace {

const char* TextOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

// As printf. Throws bad_alloc.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::int32_t ReportState(const char* command, const char* state, const char* text) {
    try {
        return AmClientSend(command, Format("%s=%s", state, TextOrEmpty(text)).c_str());
    } catch (const std::bad_alloc&) {
        return kAmFailed;
    }
}

}  // namespace

std::int32_t AmClientSend(const char* command, const char* payload) {
    if (g_i4_done != 0) {
        return kAmStopping;
    }
    if (payload == nullptr) {
        return kAmFailed;
    }
    try {
        const std::string line = Format("\n:%s,%s,%s:%s\n", g_record->name, "am", TextOrEmpty(command), payload);
        const AmSendLock lock;
        if (!lock || !g_cmdcvt_info.realOutput.Write(line)) {
            return kAmFailed;
        }
        if (g_cmdcvt_info.realOutput.HasBacklog()) {
            AmWake(g_cmdcvt_info.relayWake);
        }
    } catch (const std::bad_alloc&) {
        return kAmFailed;
    }
    return kAmSent;
}

std::int32_t AmClientReportResumed(const char* command, const char* text) {
    return ReportState(command, "resumed", text);
}

std::int32_t AmClientReportPaused(const char* command, const char* text) {
    return ReportState(command, "paused", text);
}

std::int32_t AmClientReportFailed(const char* command, const char* text, std::int32_t code, const char* message) {
    try {
        const std::string payload =
            message == nullptr
                ? Format("%s=%s,%s=%3d", "failed", TextOrEmpty(text), "err_code", code)
                : Format("%s=%s,%s=%3d,%s=%s", "failed", TextOrEmpty(text), "err_code", code, "err_msg", message);
        return AmClientSend(command, payload.c_str());
    } catch (const std::bad_alloc&) {
        return kAmFailed;
    }
}

void AmClientTestHook1() {
    AmClientReportResumed(nullptr, g_am_client.name);
}

void AmClientTestHook2() {
    AmClientReportFailed(nullptr, g_am_client.name, 0, nullptr);
}

#include "log/LogPrint.h"

#include <cstdio>
#include <cstring>

namespace zel {
namespace {

constexpr std::size_t kLogBuffer = 256;
constexpr int kNeverReported = 110;  // the thread wrappers have reported it themselves

}  // namespace

int LogPrintV(const char* format, std::va_list arguments) {
    char text[kLogBuffer] = {};
    std::vsnprintf(text, sizeof text, format, arguments);
    return std::fputs(text, stdout) < 0 ? 0 : static_cast<int>(std::strlen(text));
}

int LogPrint(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int printed = LogPrintV(format, arguments);
    va_end(arguments);
    return printed;
}

int LogFail(const char* operation, int line) {
    return LogPrint(" %s %d fail\n", operation, line);
}

int LogFailLoud(const char* operation, int line) {
    return LogPrint(" %s %d fail!!!\n", operation, line);
}

int LogFailCode(const char* operation, int line, std::int32_t code) {
    return LogPrint(" %s %d fail ret:%d\n", operation, line, code);
}

void PrintFail(const char* operation, int line) {
    std::printf(" %s %d fail\n", operation, line);
}

std::int32_t LogIfFailed(std::int32_t result, const char* operation, int line) {
    if (result != 0) {
        LogFail(operation, line);
    }
    return result;
}

std::int32_t PrintIfFailed(std::int32_t result, const char* operation, int line) {
    if (result != 0) {
        PrintFail(operation, line);
    }
    return result;
}

bool ReportThreadError(int result, int line, const char* call) {
    if (result == 0 || result == kNeverReported) {
        return false;
    }
    std::printf("[PTHREAD] %s: %d: %s: %s\n", "./src/UartManager", line, call, strerror(result));
    return true;
}

}  // namespace zel

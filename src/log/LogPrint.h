// The application's log: plain text on standard output. Callable from any thread.
#ifndef ZELFAC_LOG_LOGPRINT_H
#define ZELFAC_LOG_LOGPRINT_H

#include <cstdarg>
#include <cstdint>

namespace zel {

// Formats as printf does into 256 zeroed bytes (at most 255 characters, the rest is cut) and prints the result.
// Returns the number of characters printed.
[[gnu::format(printf, 1, 2)]] int LogPrint(const char* format, ...);
[[gnu::format(printf, 1, 0)]] int LogPrintV(const char* format, std::va_list arguments);

// LogPrint of the failure lines " %s %d fail\n", " %s %d fail!!!\n" and " %s %d fail ret:%d\n" with the
// operation's name and the source line.
int LogFail(const char* operation, int line);
int LogFailLoud(const char* operation, int line);
int LogFailCode(const char* operation, int line, std::int32_t code);

// The first of them printed straight to standard output, uncut.
void PrintFail(const char* operation, int line);

// LogFail and PrintFail for a step whose `result` is not 0. Return `result`.
std::int32_t LogIfFailed(std::int32_t result, const char* operation, int line);
std::int32_t PrintIfFailed(std::int32_t result, const char* operation, int line);

// Prints "[PTHREAD] %s: %d: %s: %s\n" for a failed thread-library call: nothing when `result` is 0 or 110.
// `call` is the call's text. Whether it printed.
bool ReportThreadError(int result, int line, const char* call);

}  // namespace zel

#endif

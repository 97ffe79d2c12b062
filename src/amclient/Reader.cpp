// The command reader: the manager's lines, to the record's callbacks and the application's standard input.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "amclient/AmClientState.h"
#include "amclient/LineGrammar.h"
#include "amclient/PendingLine.h"

namespace {

constexpr std::size_t kLongestListText = 254;

thread_local bool t_isReader = false;

// Puts a text into a work buffer, zero behind it. `limit` bytes of it at most.
void PutText(char* buffer, std::string_view text, std::size_t limit) {
    const std::size_t kept = std::min(text.size(), limit);
    std::memcpy(buffer, text.data(), kept);
    buffer[kept] = '\0';
}

// "[a,b]" in a work buffer. A list that is too long loses its end, not its bracket.
void PutList(char* buffer, const std::vector<std::string_view>& elements) {
    constexpr std::size_t kLongestInside = kLongestListText - 2;
    std::size_t length = 0;
    buffer[length++] = '[';
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (i != 0 && length <= kLongestInside) {
            buffer[length++] = ',';
        }
        const std::size_t kept = std::min(elements[i].size(), kLongestInside + 1 - length);
        std::memcpy(buffer + length, elements[i].data(), kept);
        length += kept;
    }
    buffer[length++] = ']';
    buffer[length] = '\0';
}

void RunCommand(const zel::AmLine& line) {
    char* value = g_cmdcvt_info.value;
    const std::string acknowledgement(line.header[2]);
    for (const zel::AmParameter& parameter : line.parameters) {
        const std::string name(parameter.name);
        std::fprintf(stderr, "[AM_CLIENT]parse cmd %s \n", name.c_str());
        if (parameter.isList) {
            PutList(value, parameter.elements);
        } else {
            PutText(value, parameter.text, kAmWorkBuffer - 1);
        }
        // "name=" gives the name no value at all.
        AmClientDispatch(name.c_str(), value[0] == '\0' ? nullptr : value,
                         acknowledgement.empty() ? nullptr : acknowledgement.c_str());
    }
}

// A line of at most kAmWorkBuffer - 1 bytes, and its newline, in one write: the pipe takes it whole or, when the
// application does not read its input, not at all.
void PassThrough(std::string_view line) {
    char* text = g_cmdcvt_info.passThrough;
    std::memcpy(text, line.data(), line.size());
    text[line.size()] = '\n';
    ssize_t written;
    do {
        written = write(g_cmdcvt_info.input.write, text, line.size() + 1);
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        std::fputs("[AM_CLIENT] standard input not read, line dropped\n", stderr);
    }
}

// Carries out one line. The parser's result, also when there is not enough memory for the line's texts.
zel::AmLineResult HandleLine(const zel::PendingLine& pending) {
    const zel::AmLine line = pending.IsOverlong() ? zel::AmLine{} : zel::ParseAmLine(pending.Line());
    if (line.result == zel::AmLineResult::PassThrough) {
        PassThrough(pending.Line());
    } else if (zel::IsForApplication(line)) {
        try {
            RunCommand(line);
        } catch (const std::bad_alloc&) {
            return zel::AmLineResult::OutOfMemory;
        }
    }
    return line.result;
}

// One read from the manager; the end of its input closes it.
void ReadManager(zel::PendingLine& pending) {
    std::array<char, kAmReadBuffer> text{};
    const ssize_t got = read(g_cmdcvt_info.realInput, text.data(), text.size() - 1);
    if (got == 0) {
        AmClose(g_cmdcvt_info.realInput);
    } else if (got < 0 && errno != EINTR && errno != EAGAIN) {
        AmPause();
    }
    std::string_view bytes(text.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    while (!bytes.empty() && g_i4_done == 0) {
        if (pending.Take(bytes) && static_cast<int>(HandleLine(pending)) < 0) {
            std::fputs("[_cmd_convert_parse] parse failed\n", stderr);
        }
    }
}

}  // namespace

bool AmOnReaderThread() {
    return t_isReader;
}

void* AmReaderThread(void*) {
    t_isReader = true;
    zel::PendingLine pending(g_cmdcvt_info.pendingLine, kAmWorkBuffer);
    while (g_i4_done == 0) {
        pollfd places[] = {{g_cmdcvt_info.realInput, POLLIN, 0}, {g_cmdcvt_info.readerWake.read, POLLIN, 0}};
        const int ready = poll(places, 2, -1);
        if (ready < 0 && errno != EINTR) {
            AmPause();
        } else if (ready > 0 && g_i4_done == 0 && places[0].revents != 0) {
            ReadManager(pending);
        }
    }
    AmClose(g_cmdcvt_info.realInput);
    return nullptr;
}

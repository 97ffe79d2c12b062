#include "simset/board/preload/Report.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace simset::preload {
namespace {

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// Length of the valid UTF-8 sequence at `text`, 0 when there is none. Forms that JSON readers refuse (overlong,
// surrogates) count as invalid.
size_t SequenceLength(const char* text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const auto next = static_cast<unsigned char>(text[1]);
    size_t length = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if ((lead == 0xE0 && next < 0xA0) || (lead == 0xED && next > 0x9F)) {
            return 0;
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if ((lead == 0xF0 && next < 0x90) || (lead == 0xF4 && next > 0x8F)) {
            return 0;
        }
    }
    for (size_t i = 1; i < length; ++i) {
        if (!IsContinuation(text[i])) {
            return 0;
        }
    }
    return length;
}

// The status in an answer, of which the rest is not looked at; 0 when none comes.
int ReceiveStatus(int socket) {
    char answer[512] = {};
    size_t size = 0;
    for (char byte = 0; recv(socket, &byte, 1, 0) == 1 && byte != '\n';) {
        if (size + 1 < sizeof answer) {
            answer[size++] = byte;
        }
    }
    constexpr char kMember[] = "\"status\":";
    const char* const found = strstr(answer, kMember);
    return found == nullptr ? 0 : static_cast<int>(strtol(found + sizeof kMember - 1, nullptr, 10));
}

}  // namespace

bool IsPort(int fd) {
    struct stat opened {};
    struct stat port {};
    return fstat(fd, &opened) == 0 && S_ISCHR(opened.st_mode) && stat("/dev/ttyS0", &port) == 0 &&
           opened.st_rdev == port.st_rdev;
}

bool InApplication() {
    constexpr char kApplications[] = "/simset/bin/";
    static int known = -1;
    if (known < 0) {
        char self[sizeof kApplications] = {};
        const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
        known = size > 0 && strcmp(self, kApplications) == 0 ? 1 : 0;
    }
    return known == 1;
}

void Line::Put(char byte) {
    m_bytes[m_size++] = byte;
}

void Line::Raw(const char* text) {
    for (; *text != '\0' && m_size < kCapacity; ++text) {
        Put(*text);
    }
}

void Line::Number(long value) {
    char digits[24];
    snprintf(digits, sizeof digits, "%ld", value);
    Raw(digits);
}

void Line::Text(const char* text) {
    Put('"');
    constexpr size_t kLongestForm = 6;  // \u00XX
    while (*text != '\0' && m_size + kLongestForm + kTail < kCapacity) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte == '"' || byte == '\\') {
            Put('\\');
            Put(*text++);
        } else if (byte >= 0x20 && byte < 0x7F) {
            Put(*text++);
        } else if (const size_t length = SequenceLength(text); length > 0) {
            for (size_t i = 0; i < length; ++i) {
                Put(*text++);
            }
        } else {
            char escaped[kLongestForm + 1];
            snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            Raw(escaped);
            ++text;
        }
    }
    Put('"');
}

void AddThread(Line& line) {
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    line.Raw("\"thread\":");
    line.Text(name);
    line.Raw(",");
}

int Report(Line& line) {
    int status = 0;
    const int savedErrno = errno;
    const char* path = getenv("SIMSET_SOCKET");
    const size_t length = path == nullptr ? 0 : strlen(path);
    sockaddr_un address{};
    if (length > 0 && length < sizeof address.sun_path) {
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, path, length);
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd >= 0) {
            const auto* target = static_cast<const sockaddr*>(static_cast<const void*>(&address));
            line.Raw("\n");
            if (connect(fd, target, sizeof address) == 0 &&
                send(fd, line.Data(), line.Size(), MSG_NOSIGNAL) == static_cast<ssize_t>(line.Size())) {
                status = ReceiveStatus(fd);
            }
            close(fd);
        }
    }
    errno = savedErrno;
    return status;
}

}  // namespace simset::preload

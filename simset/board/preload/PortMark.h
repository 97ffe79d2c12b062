// Where the set's port keeps what a pseudo terminal cannot: data bits and parity.
#ifndef SIMSET_PRELOAD_PORTMARK_H
#define SIMSET_PRELOAD_PORTMARK_H

#include <termios.h>

namespace simset::preload {

// A pseudo terminal takes every character size and parity for 8N1. What a program asked for lies in a control
// character that the kernel keeps and does not use, so that the terminal alone tells, whoever asks it.
constexpr int kPortMark = 17;
constexpr unsigned char kMarked = 0x80;
constexpr unsigned char kMarkedParity = 0x01;
constexpr unsigned kMarkedSizeShift = 1;  // then data bits less 5, in two bits

constexpr tcflag_t kMarkedFlags = CSIZE | PARENB;

// The mark for the character size and parity of `flags`, which are control flags.
constexpr unsigned char MarkOf(tcflag_t flags) {
    const unsigned size = (flags & CSIZE) == CS8 ? 3 : (flags & CSIZE) == CS7 ? 2 : (flags & CSIZE) == CS6 ? 1 : 0;
    return static_cast<unsigned char>(kMarked | size << kMarkedSizeShift |
                                      ((flags & PARENB) != 0 ? kMarkedParity : 0U));
}

// The control flags `flags` with what `mark` says; unchanged when it is none.
constexpr tcflag_t Unmarked(tcflag_t flags, unsigned char mark) {
    if ((mark & kMarked) == 0) {
        return flags;
    }
    constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
    return (flags & ~kMarkedFlags) | kSizes[mark >> kMarkedSizeShift & 3U] |
           ((mark & kMarkedParity) != 0 ? static_cast<tcflag_t>(PARENB) : 0U);
}

}  // namespace simset::preload

#endif

// Line numbers that log lines carry for good.
#ifndef ZELFAC_LOG_FIXEDLINE_H
#define ZELFAC_LOG_FIXEDLINE_H

namespace zel {

// Most log lines end in the source line that they come from, and that may move. These may not: whoever reads a
// console of the line or of service finds such a message by its number, which is the only thing that tells it from
// others of the same text. The number belongs to the message, wherever the source has it now; a new message takes
// __LINE__.
constexpr int FixedLine(int number) {
    return number;
}

}  // namespace zel

#endif

#include "simset/board/line/TerminalSpeed.h"

// The kernel's own declarations, which cannot stand beside <termios.h>.
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace simset {

unsigned SpeedOf(int terminal) {
    termios2 settings{};
    return ::ioctl(terminal, TCGETS2, &settings) == 0 ? settings.c_ospeed : 0;
}

}  // namespace simset

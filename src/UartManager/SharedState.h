// Flags that rooms above the serial link share with each other.
#ifndef ZELFAC_UARTMANAGER_SHAREDSTATE_H
#define ZELFAC_UARTMANAGER_SHAREDSTATE_H

#include <atomic>
#include <cstdint>

#include "text/SharedText.h"

// Set when a key file (not a configuration file) was installed; while set, all but the first chunk of a further
// transfer are ignored. Cleared by the queries of a key's checksum.
extern std::atomic<bool> m_bCurrentKeyFinish;

// What the USB update came to: 0 nothing usable, 1 import done, 2 import with errors, 3 export done, 4 export with
// errors; and the words collected on the way, each ending in ";".
extern std::atomic<std::int32_t> m_secondUpdateStatus;
extern zel::SharedText m_strSecondUpdateMessage;

#endif

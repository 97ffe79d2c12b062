// What import and export of customer files have in common.
#ifndef ZELFAC_PROVISIONING_USB_SECONDUPDATE_H
#define ZELFAC_PROVISIONING_USB_SECONDUPDATE_H

#include <atomic>
#include <cstdint>

#include "text/SharedText.h"

class UartManager;

namespace zel {

enum UpdateStatus : std::int32_t { NothingUsable = 0, ImportDone, ImportErrors, ExportDone, ExportErrors };

}  // namespace zel

// What the USB update came to (a zel::UpdateStatus), and the words collected on the way, each ending in ";".
inline std::atomic<std::int32_t> m_secondUpdateStatus{zel::NothingUsable};
inline zel::SharedText m_strSecondUpdateMessage;

namespace zel {

// Whether a search came upon no folder to look in at all.
inline bool NothingToSearch(std::int32_t searchResult) {
    return static_cast<std::uint32_t>(searchResult) > 1;
}

// What the steps of an import or export came to.
struct UpdateOutcome {
    static constexpr std::uint32_t kSucceeded = 1;  // at least one step did
    static constexpr std::uint32_t kFailed = 2;     // at least one step did not
    std::uint32_t bits = 0;
};

// A request to the set's supervisor, which answers in a marker file, and the words for what can fail.
struct SupervisorRequest {
    const char* operation;  // who asks, for the log
    int number;
    const char* touchWord;      // the marker cannot be made
    const char* sendWord;       // the request cannot be sent
    const char* noAnswerWord;   // the marker is gone after the wait
    const char* badAnswerWord;  // the marker does not tell success
    const char* removal;        // what the log calls the removal of the marker
};

// Makes the marker, sends the request, waits 6 s, reads the answer and removes the marker. Words go to the update
// message. Main thread.
void AskSupervisor(const SupervisorRequest& request, UpdateOutcome& outcome);

// Leaves the status, with a steady light in the place of the flicker when all went well (the operator may take the
// stick), and has the screen redrawn. Main thread.
void EndUpdate(UartManager& manager, const char* operation, UpdateStatus status);

}  // namespace zel

#endif

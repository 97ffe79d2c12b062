// What import and export of customer files have in common.
#ifndef ZELFAC_PROVISIONING_USB_SECONDUPDATE_H
#define ZELFAC_PROVISIONING_USB_SECONDUPDATE_H

#include <cstdint>
#include <string>

class ModelClient;

namespace zel {

// On the stick.
constexpr char kCustomerFolder[] = "RW9602CustomerFile";
constexpr char kCustomerMarker[] = "ZelFacTest_Eu4K";  // entry of the customer folder
constexpr char kOemEntry[] = "OEM_data";               // entry of the root
constexpr char kConfigName[] = "CONFIG.bin";

// Whether a search came upon no folder to look in at all.
inline bool NothingToSearch(std::int32_t searchResult) {
    return static_cast<std::uint32_t>(searchResult) > 1;
}

// What the steps of an import or export came to.
struct Outcome {
    static constexpr std::uint32_t kSucceeded = 1;  // at least one step did
    static constexpr std::uint32_t kFailed = 2;     // at least one step did not
    std::uint32_t bits = 0;
};

// A request to the set's supervisor, which answers in a marker file: the commands and texts of its steps, and the
// words for what can fail. Log lines take the operation's name and the source line.
struct SupervisorRequest {
    const char* operation;  // who asks, for the log
    const char* marker;     // path of the marker file
    const char* touch;      // command: make the marker
    const char* touchFailed;
    const char* touchWord;
    const char* send;  // command: send the request
    const char* sendFailed;
    const char* sendWord;
    const char* noAnswer;  // the marker is gone after the wait
    const char* noAnswerWord;
    const char* badAnswerWord;  // the marker does not tell success
    const char* goodAnswer;
    const char* removal;  // command: remove the marker
    const char* removalFailed;
};

// Makes the marker, sends the request, waits 6 s, reads the answer and removes the marker. Words go to the update
// message. Main thread.
void AskSupervisor(const SupervisorRequest& request, Outcome& outcome);

// Steady light in the place of the flicker: the operator may take the stick. Failures are logged.
void ShowSuccessOnLed(ModelClient& model, const char* operation);

}  // namespace zel

#endif

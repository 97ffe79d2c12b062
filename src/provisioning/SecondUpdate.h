// What import and export of customer files have in common.
#ifndef ZELFAC_PROVISIONING_SECONDUPDATE_H
#define ZELFAC_PROVISIONING_SECONDUPDATE_H

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

// A request to the set's supervisor, which answers in a marker file: its texts and the words for what can fail.
struct SupervisorRequest {
    const char* operation;      // who asks, for the log
    const char* number;         // the request
    const char* removal;        // the marker's removal as its log line has it
    const char* touchWord;      // marker not made
    const char* sendWord;       // request not sent
    const char* noAnswerWord;   // marker gone after the wait
    const char* badAnswerWord;  // no success in the marker
};

// Makes the marker, sends the request, waits 6 s, reads the answer and removes the marker. Words go to the update
// message. Main thread.
void AskSupervisor(const SupervisorRequest& request, Outcome& outcome);

// Steady light in the place of the flicker: the operator may take the stick. Failures are logged.
void ShowSuccessOnLed(ModelClient& model, const char* operation);

}  // namespace zel

#endif

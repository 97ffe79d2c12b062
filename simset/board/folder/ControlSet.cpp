#include "simset/board/folder/ControlSet.h"

#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include "simset/base/Descriptor.h"
#include "simset/board/folder/FileVerbs.h"
#include "simset/board/folder/SavedFiles.h"
#include "simset/board/folder/StateFolder.h"
#include "simset/board/folder/Sticks.h"
#include "simset/control/ControlSocket.h"
#include "simset/core/middleware/Middleware.h"

namespace simset {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kTurnPatience{10};        // with a simset that starts or ends
constexpr std::chrono::milliseconds kTurnLookAgain{20};  // nothing tells that a socket listens or a lock is free

// Whether a set answered. `state` need not exist.
bool AskRunning(const std::string& state, const Words& words, const Caller& caller) {
    const Descriptor folder(::open(state.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return false;
    }
    try {
        // By descriptor, since a socket's address has no room for a long path.
        CallControl("/proc/self/fd/" + std::to_string(folder.Get()) + "/control", caller.folder, words,
                    [&caller](const std::string& out) { caller.print(out); });
        return true;
    } catch (const NoSetError&) {
        return false;
    }
}

// A set that is off: looks into what its state folder keeps, and changes it. The folder stays locked meanwhile.
class OffSet {
  public:
    explicit OffSet(const StateFolder& folder);

    // Carries out a verb of `form`. What changes the set is told in the trace.
    std::string Run(const VerbForm& form, const Words& words, const Caller& caller);

  private:
    Middleware m_middleware;
    Sticks m_sticks;
    SavedFiles m_saved;
    FileVerbs m_files;
};

OffSet::OffSet(const StateFolder& folder)
    : m_middleware(folder.Path()),
      m_sticks(folder.Folder()),
      m_saved(folder.Folder()),
      m_files(folder.Folder(), m_sticks, m_saved) {
    m_middleware.PowerOff();
    m_middleware.CloseTrace();
}

std::string OffSet::Run(const VerbForm& form, const Words& words, const Caller& caller) {
    if (words[0] == "trace" || words[0] == "violations") {
        m_middleware.RecallRun();
    }
    return m_middleware.Told(form, words, [&] {
        const std::vector<VerbForm> ofFiles = FileVerbs::Forms();
        const bool isOfFiles = std::any_of(ofFiles.begin(), ofFiles.end(),
                                           [&words](const VerbForm& one) { return words[0] == one.verb; });
        return isOfFiles ? m_files.Run(words, caller) : m_middleware.Control(words, caller);
    });
}

}  // namespace

void ControlSet(const std::string& state, const std::vector<VerbForm>& forms, const Words& words,
                const Caller& caller, const std::function<void(const std::string& line)>& note) {
    for (const auto end = Clock::now() + kTurnPatience; !AskRunning(state, words, caller);
         std::this_thread::sleep_for(kTurnLookAgain)) {
        const VerbForm* const form = FindForm(forms, words);
        if (form == nullptr) {
            RefuseVerb(forms, words);
        }
        const bool makesOne = form->changes && form->when == When::Always;
        const auto has = [&state](const char* file) { return ::access((state + file).c_str(), F_OK) == 0; };
        const ControlError none("there is no set in " + state + "; make one with: simset run --state " + state);
        if (!has("/lock") && !makesOne) {
            throw none;
        }
        try {
            const StateFolder folder(state, StateFolder::For::Control);
            const bool isNew = !has("/state.db");
            if (isNew && !makesOne) {
                throw none;
            }
            if (form->when == When::On) {
                throw ControlError("the set is off, and \"" + words[0] +
                                   "\" wants one that is on; switch it on with: simset run --state " + state);
            }
            if (isNew) {
                note(state + " is a factory-new set now, and off");
            }
            caller.print(OffSet(folder).Run(*form, words, caller));
            return;
        } catch (const FolderInUse& inUse) {
            if (Clock::now() > end) {
                throw ControlError(std::string(inUse.what()) + ", which does not answer");
            }
        }
    }
}

}  // namespace simset

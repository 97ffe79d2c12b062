// The verbs of `simset ctl` about the set's files and its sticks, whether it is on or off.
#ifndef SIMSET_FOLDER_FILEVERBS_H
#define SIMSET_FOLDER_FILEVERBS_H

#include <mutex>
#include <string>
#include <vector>

#include "simset/base/Descriptor.h"
#include "simset/board/folder/Sticks.h"
#include "simset/control/Verbs.h"

namespace simset {

// Where the set's files and the contents of its sticks are. `path` is the set's own, from its root on. All of them
// throw std::runtime_error with a sentence for the user.
class SetContent {
  public:
    virtual ~SetContent() = default;

    virtual Descriptor OpenPath(const std::string& path) = 0;
    // The content of the open file `from` becomes that of `path`; missing folders are made.
    virtual void PutPath(const std::string& path, int from) = 0;
    virtual void RemovePath(const std::string& path) = 0;
    // The names in a folder; of a file its path.
    virtual std::vector<std::string> ListPath(const std::string& path) = 0;

    // A stick that the state folder holds comes in; one that is in goes out, after what is on it was saved.
    virtual void StickIn(const Stick& stick) = 0;
    virtual void StickOut(const std::string& name) = 0;
    // Copies what is on a stick that is in into the open folder `to`.
    virtual void CopyStick(const std::string& name, int to) = 0;
};

// Any thread.
class FileVerbs {
  public:
    // `stateFolder` is the state folder's descriptor; it and all that is named must outlive this.
    FileVerbs(int stateFolder, Sticks& sticks, SetContent& content)
        : m_state(stateFolder), m_sticks(sticks), m_content(content) {}

    static std::vector<VerbForm> Forms() { return FormsOf(Verbs()); }

    // The text to print. Throws ControlError, and what the content throws.
    std::string Run(const Words& words, const Caller& caller) { return RunVerb(Verbs(), *this, words, caller); }

    // Held over each verb about sticks.
    std::mutex& StickMutex() { return m_stickMutex; }

  private:
    static const std::vector<Verb<FileVerbs>>& Verbs();

    std::string PlugStick(const Arguments& arguments);
    std::string ListSticks(const Arguments& arguments);
    std::string UnplugStick(const Arguments& arguments);
    std::string ReadStick(const Arguments& arguments);
    std::string Cat(const Arguments& arguments);
    std::string Put(const Arguments& arguments);
    std::string Remove(const Arguments& arguments);
    std::string List(const Arguments& arguments);

    int m_state;
    Sticks& m_sticks;
    SetContent& m_content;
    std::mutex m_stickMutex;
};

}  // namespace simset

#endif

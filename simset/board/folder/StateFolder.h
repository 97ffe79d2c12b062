// The folder that holds a set.
#ifndef SIMSET_FOLDER_STATEFOLDER_H
#define SIMSET_FOLDER_STATEFOLDER_H

#include <cstdint>
#include <string>

#include "simset/base/Descriptor.h"
#include "simset/base/Errors.h"

namespace simset {

// Another process has the state folder.
class FolderInUse : public RunError {
  public:
    using RunError::RunError;
};

// The folder that holds a set, locked for this process as long as the object lives.
class StateFolder {
  public:
    enum class For : std::uint8_t { Run, Control };

    // Opens the folder, makes it when it is missing, and locks it, for a set that is to be on or for one change
    // from outside. The end of such a change is waited for by who wants to run a set, nothing else is waited for.
    // Throws FolderInUse, RunError: kExitUsage when it is no folder, kExitState when it cannot be written.
    explicit StateFolder(const std::string& path, For purpose = For::Run);
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    const std::string& Path() const { return m_path; }  // absolute
    std::string At(const std::string& name) const { return m_path + "/" + name; }
    int Folder() const { return m_folder.Get(); }

    // A path of `name` in the folder that is short enough for a socket's address; valid in this process only.
    std::string ShortPath(const std::string& name) const;

    // Makes the link "line" to a terminal; it is removed with the object. Throws RunError when something that is
    // no link has that name.
    void LinkLine(const std::string& terminal);

  private:
    void Lock(For purpose);

    std::string m_path;
    Descriptor m_folder;
    Descriptor m_lock;
    bool m_linked = false;
};

}  // namespace simset

#endif

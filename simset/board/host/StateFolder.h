// The folder that holds a set.
#ifndef SIMSET_HOST_STATEFOLDER_H
#define SIMSET_HOST_STATEFOLDER_H

#include <string>

#include "simset/base/Descriptor.h"

namespace simset {

// The folder that holds a set, locked for this simset as long as the object lives.
class StateFolder {
  public:
    // Opens the folder, makes it when it is missing, and locks it. Throws RunError: kExitUsage when another
    // simset uses it or it is no folder, kExitState when it cannot be written.
    explicit StateFolder(const std::string& path);
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
    std::string m_path;
    Descriptor m_folder;
    Descriptor m_lock;
    bool m_linked = false;
};

}  // namespace simset

#endif

// The files of a set that is off: what the state folder keeps of them.
#ifndef SIMSET_FOLDER_SAVEDFILES_H
#define SIMSET_FOLDER_SAVEDFILES_H

#include <string>
#include <vector>

#include "simset/board/folder/FileVerbs.h"

namespace simset {

// The saved partitions, which must not be in use by a set that is on. Links lead where they lead inside the set,
// never out of it. Not thread-safe.
class SavedFiles : public SetContent {
  public:
    // `stateFolder` is the state folder's descriptor and stays the caller's.
    explicit SavedFiles(int stateFolder) : m_state(stateFolder) {}

    Descriptor OpenPath(const std::string& path) override;
    void PutPath(const std::string& path, int from) override;
    void RemovePath(const std::string& path) override;
    std::vector<std::string> ListPath(const std::string& path) override;
    // The state folder has all there is of a stick.
    void StickIn(const Stick&) override {}
    void StickOut(const std::string&) override {}
    void CopyStick(const std::string& name, int to) override;

  private:
    // Where something lies, or is to lie.
    struct Place {
        Descriptor folder;
        std::string name;
    };

    int Root();
    Descriptor Open(const std::string& path, int flags);
    Descriptor MakeFolder(const std::string& path);
    Place PlaceOf(const std::string& path, const Descriptor& folder);

    int m_state;
    Descriptor m_root;
};

}  // namespace simset

#endif

// The sticks that belong to a set.
#ifndef SIMSET_FOLDER_STICKS_H
#define SIMSET_FOLDER_STICKS_H

#include <string>
#include <vector>

#include "simset/board/inside/Protocol.h"

namespace simset {

// The sticks that belong to a set, kept in the state folder: the content of each in "usb/NAME", and in "usb.json"
// which are plugged, in the order in which they were. Not thread-safe.
class Sticks {
  public:
    // `stateFolder` is the descriptor of the state folder and stays the caller's. Throws std::runtime_error.
    explicit Sticks(int stateFolder);

    const std::vector<Stick>& Plugged() const { return m_plugged; }

    // Copies a folder's content as a new stick. A folder without any write permission makes a write-protected
    // one. `name` is "vu_…" or without that prefix; empty: the next free of vu_sda1, vu_sdb1, … Throws
    // std::runtime_error; then nothing is plugged.
    Stick Add(const std::string& folder, const std::string& name, bool readOnly);

    // Takes a stick out of the list; its content stays for reading. Throws std::runtime_error when it is not in
    // it.
    void Remove(const std::string& name);

    // Takes all out of the list.
    void Clear();

    bool IsPlugged(const std::string& name) const;

    // A stick's name with the prefix that devices have. Throws std::runtime_error for one that cannot be
    // a device's name.
    static std::string FullName(const std::string& name);

  private:
    void SaveList() const;
    std::string FreeName() const;

    int m_state;
    std::vector<Stick> m_plugged;
};

}  // namespace simset

#endif

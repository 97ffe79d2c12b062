// The set's panel: an X server to draw on.
#ifndef SIMSET_PANEL_PANEL_H
#define SIMSET_PANEL_PANEL_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "simset/base/Descriptor.h"

namespace simset {

// The panel's size in pixels.
struct PanelSize {
    unsigned width = 1920;
    unsigned height = 1080;
};

// The size that a text like "1920x1080" names; nothing for any other text. Both sides are 48..4096.
std::optional<PanelSize> ParsePanelSize(const std::string& text);

// The panel: an X server of simset's own that draws into memory, or the user's display.
class Panel {
  public:
    // Starts the X server and waits until it answers; the calling thread must live as long as the panel, since
    // its death ends the server. What the server prints goes to `logFile`. Throws RunError (kExitPanel).
    Panel(PanelSize size, bool ownDisplay, const std::string& logFile);
    ~Panel();
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    const std::string& Display() const { return m_display; }  // for the variable DISPLAY
    const std::string& Socket() const { return m_socket; }    // the server's socket file
    PanelSize Size() const { return m_size; }

    // Readable once the X server has ended, which nobody asked it for; -1 on the user's display.
    int EndedFd() const { return m_ended.Get(); }

  private:
    void StartServer(const std::string& logFile);
    void UseOwnDisplay();
    void Stop();

    PanelSize m_size;
    std::string m_display;
    std::string m_socket;
    pid_t m_server = -1;
    Descriptor m_ended;
};

}  // namespace simset

#endif

#ifndef SIMSET_BOARD_PANEL_H
#define SIMSET_BOARD_PANEL_H

#include <sys/types.h>

#include <string>

#include "simset/board/RunOptions.h"

namespace simset {

/// The panel: an X server of simset's own that draws into memory, or the user's display.
class Panel {
  public:
    /// Starts the X server and waits until it answers; the calling thread must live as long as the panel, since
    /// its death ends the server. Throws RunError (kExitPanel).
    /// @param logFile file for what the server prints
    Panel(PanelSize size, bool ownDisplay, const std::string& logFile);
    ~Panel();
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    const std::string& Display() const { return m_display; }  ///< for the variable DISPLAY
    const std::string& Socket() const { return m_socket; }    ///< the server's socket file
    PanelSize Size() const { return m_size; }

  private:
    void StartServer(const std::string& logFile);
    void UseOwnDisplay();
    void Stop();

    PanelSize m_size;
    std::string m_display;
    std::string m_socket;
    pid_t m_server = -1;
};

/// Writes what a display shows into a PNG file. Throws std::runtime_error with a sentence.
void TakeScreenshot(const std::string& display, const std::string& file);

}  // namespace simset

#endif  // SIMSET_BOARD_PANEL_H

// The verbs that do not ask the set for one thing.
#ifndef ZELLINE_LINE_TOOLS_H
#define ZELLINE_LINE_TOOLS_H

#include <optional>
#include <string>

#include "Console.h"
#include "Link.h"
#include "Perform.h"

namespace zelline {

// Shows frames until the time is over, or until Error with Exit::Interrupted comes out of the transport. Noise
// is shown by `NoiseSink` below.
Exit Listen(const Console& console, Link& link, std::optional<Millis> time);

// Shows noise as listen does; for the link that Listen works on.
class NoiseSink : public LineObserver {
  public:
    // `next` hears of everything too; may be null.
    NoiseSink(const Console& console, LineObserver* next) : m_console(console), m_next(next) {}
    void Sent(const UartFrame& frame, Millis when) override;
    void Received(const UartFrame& frame, Millis when) override;
    void Noise(const Bytes& bytes, Millis when) override;

  private:
    const Console& m_console;
    LineObserver* m_next;
};

Exit ShowPorts(const Console& console);
Exit Decode(const Console& console, const std::string& hex);
Exit ShowCommands(const Console& console, bool markdown);
Exit Replay(const Console& console, Link& link, const std::string& path, const Settings& settings);

// The protocol reference, made from the command catalogue.
std::string ProtocolReference();

}  // namespace zelline

#endif

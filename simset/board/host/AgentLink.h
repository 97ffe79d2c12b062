// simset's end of the agent.
#ifndef SIMSET_HOST_AGENTLINK_H
#define SIMSET_HOST_AGENTLINK_H

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simset/board/inside/Protocol.h"
#include "simset/wire/Message.h"

namespace simset {

// simset's end of the agent: makes the namespaces with the agent as their first process, hands it requests and
// receives its events. Destroying it ends everything inside.
class AgentLink {
  public:
    // Makes the namespaces and builds the set in them. The calling thread must live as long as the set: its death
    // ends the agent. `stateFolder` is the descriptor of the state folder, `streams` are the application's ends of
    // its standard input, output and error. Throws RunError.
    AgentLink(const AgentConfig& config, int stateFolder, const std::array<int, 3>& streams);
    ~AgentLink();
    AgentLink(const AgentLink&) = delete;
    AgentLink& operator=(const AgentLink&) = delete;

    // The partitions and sticks that held more than their size when the set was built, and are full with that.
    const std::vector<std::string>& TooSmall() const { return m_tooSmall; }

    // Carries out one request; any thread; throws std::runtime_error with a sentence when it failed.
    Message Request(const std::vector<std::string>& parts, const std::vector<int>& fds = {});

    // Starts the application. Returns its process id as the PC sees it. Throws RunError.
    pid_t StartApplication();

    // Descriptor that becomes readable when an event waits or the agent died.
    int EventFd() const { return m_events.Get(); }

    // The next event; nothing when the agent is dead
    std::optional<Message> NextEvent() { return ReceiveMessage(m_events.Get()); }

    // Ends every process in the set at once, without saving anything, and returns when all are gone. The thread
    // that made the object only.
    void Kill();

  private:
    void Spawn(int stateFolder, const std::array<int, 3>& streams, const Descriptor& requestEnd,
               const Descriptor& eventEnd);

    Descriptor m_requests;
    Descriptor m_events;
    pid_t m_init = -1;
    std::vector<std::string> m_tooSmall;
    std::mutex m_requestMutex;
};

}  // namespace simset

#endif

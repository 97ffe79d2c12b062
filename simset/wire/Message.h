// Messages of texts and open descriptors between two processes of simset.
#ifndef SIMSET_WIRE_MESSAGE_H
#define SIMSET_WIRE_MESSAGE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "simset/base/Descriptor.h"

namespace simset {

// One message between two processes of simset over a stream socket: texts of any bytes and, where the socket
// reaches it, open descriptors. On the wire: number of texts and total size (32 bit each, host order), then each
// text behind its 32-bit length. Both ends always run on the same machine.
struct Message {
    std::vector<std::string> parts;
    std::vector<Descriptor> fds;
    pid_t sender = 0;  // the sending process as the receiver sees it; only on sockets with SO_PASSCRED
};

// Most bytes that one message carries; a larger announcement means that the peer does not speak this protocol.
constexpr std::size_t kMaxMessageBytes = std::size_t{1} << 30;

// Sends a message whole. The descriptors are duplicated into the peer and stay the caller's.
// Returns false when the peer is gone.
bool SendMessage(int socket, const std::vector<std::string>& parts, const std::vector<int>& fds = {});

// Receives a message whole; waits for it.
// Returns nothing at the end of the stream or when the peer breaks the protocol.
std::optional<Message> ReceiveMessage(int socket);

}  // namespace simset

#endif

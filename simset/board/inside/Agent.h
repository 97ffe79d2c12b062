// The part of simset that lives inside the set's namespaces.
#ifndef SIMSET_INSIDE_AGENT_H
#define SIMSET_INSIDE_AGENT_H

namespace simset {

// The agent is the first process of the set's namespaces: it builds the file tree, starts the application and does
// file work there on request. When it dies the kernel ends everything in the namespaces and drops their mounts; it
// dies with simset, whatever way simset ends.
//
// Body of the agent; to be called by main when its first argument is kAgentArgument. Returns the process's exit
// status.
int RunAgent();

}  // namespace simset

#endif

// Access to the television's model: one member operation per kind of value and direction, and the channel-list
// and source functions built on them.
#ifndef ZELFAC_MODEL_MODELCLIENT_H
#define ZELFAC_MODEL_MODELCLIENT_H

#include <cstdint>
#include <string>
#include <vector>

// Every operation runs the whole cycle for one key (start the proxy, get the interface, connect, operate, wait
// 50 ms, disconnect) and returns 0, or -1 after one log line saying what failed. Nothing is retried or cached.
// The class has no state; all operations may be called from any thread, several at once, and block it for at
// least 50 ms when they succeed. Output arguments are untouched when the call fails before the read.
class ModelClient {
  public:
    // Writes `value` to an integer key.
    std::int32_t ZelSetValue(const std::string& key, std::int32_t value);
    // Reads an integer key. Returns 0 whenever the connect succeeded: what the library's read gave is `out`.
    std::int32_t ZelGetValue(const std::string& key, std::int32_t& out);
    // Reads a whole vector of integers.
    std::int32_t ZelGetVectorValue(const std::string& key, std::vector<std::int32_t>& out);
    // Writes element `index` (not checked here) of a vector of integers; the others stay.
    std::int32_t ZelSetVectorValue(const std::string& key, std::int32_t index, std::int32_t value);
    // Reads a whole vector of texts.
    std::int32_t ZelGetVectorString(const std::string& key, std::vector<std::string>& out);
    std::int32_t ZelSetString(const std::string& key, const std::string& value);
    // Reads a text. Returns 0 whenever the connect succeeded.
    std::int32_t ZelGetString(const std::string& key, std::string& out);
    // Invokes an action without arguments; its results are not looked at.
    std::int32_t ZelSetAction(const std::string& key);

    // Loads the factory channel preset, then learns the tuners and a reference channel of each. Failures are
    // only printed. Blocks for up to about 7 s.
    void ZelSetPresetChannel();
    // Loads preset database entry `presetId` and waits up to 5.1 s for message 338; a wait that runs out is no
    // failure. 0 or -1; 0 also when the database yields no handle.
    std::int32_t ZelSetFacPreset(const std::string& presetId);
    // Learns the three tuner identities from the favourite list; waits up to 1 s.
    std::int32_t ZelGetDvbUuid();
    // Learns the reference channel of the tuner `tunerUuid` from the service list; waits up to 1 s.
    std::int32_t ZelGetDvbChannelList(const std::string& tunerUuid);

    // Switches to the external input `source` by invoking action `key`. A null source is left out of the
    // argument list.
    std::int32_t ZelSetSource(const std::string& key, const char* source);
    // Tune to a channel. On the wire the uuid goes before the number.
    std::int32_t ZelSetDvbTVChannel(const std::string& channelNumber, const std::string& channelUuid);
    std::int32_t ZelSetTVChannel(const std::string& channelNumber, const std::string& channelUuid);
};

#endif

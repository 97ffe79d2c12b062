// The order in which an application has to make its calls to the auxiliary library and to the application manager.
#ifndef SIMSET_RULES_CALLORDER_H
#define SIMSET_RULES_CALLORDER_H

#include <cstdint>
#include <optional>
#include <string>

namespace simset {

// A rule that a call broke, and in words what would have been right.
struct Broken {
    std::string rule;
    std::string expected;
};

// The calls are judged as they were made: whether they succeeded is the set's affair. Not thread-safe.
class AuxiliaryOrder {
  public:
    // init_factory_aux answered `status`.
    std::optional<Broken> Init(std::int32_t status);
    // Any other operation of the library.
    std::optional<Broken> Use() const;

    // The library was away: it may have been asked to initialise.
    void Excuse() { m_asked = true; }

  private:
    bool m_asked = false;
    bool m_initialised = false;
};

class ManagerOrder {
  public:
    std::optional<Broken> SetRpcEnv();
    std::optional<Broken> GetInstance() const;
    // The manager answered `status`.
    std::optional<Broken> Register(const std::string& identity, std::int32_t status);
    std::optional<Broken> Notify(const std::string& identity, std::int32_t value);
    std::optional<Broken> Unregister(const std::string& identity);
    // The manager asks the application to stop. One that has not said yet that it runs is about to, on another
    // thread: that may then come at any time.
    void AskToStop() { m_startCrossesStop = m_registered && m_lastStatus == 0; }
    // The application has answered the manager's request to stop.
    std::optional<Broken> Stopped() const;
    // The manager was away: what was asked of it then is not known, and nothing is judged any more.
    void Excuse() { m_excused = true; }
    bool IsExcused() const { return m_excused; }
    // The application has ended by itself.
    std::optional<Broken> Ended() const;

  private:
    std::optional<Broken> JudgeIdentity(const std::string& identity, const char* call) const;

    bool m_excused = false;
    bool m_rpc = false;
    bool m_registered = false;
    bool m_startCrossesStop = false;
    std::string m_identity;  // of the first registration
    std::int32_t m_lastStatus = 0;
};

}  // namespace simset

#endif

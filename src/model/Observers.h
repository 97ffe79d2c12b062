// Observers of values and actions. None of them holds state of its own: what others wait for is in the model's
// globals, the rest is a trace on standard output. The library calls them on threads of its own.
#ifndef ZELFAC_MODEL_OBSERVERS_H
#define ZELFAC_MODEL_OBSERVERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "vumodelapi/Observers.h"

// Integer keys.
class ObserverIntegerImpl : public vumodelapi::ObserverNumericInteger {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t value) override;
};

// Vectors of integers: prints how many there are.
class ObserverVectorIntegerImpl : public vumodelapi::ObserverVectorNumericInteger {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyIntegerVector(const std::vector<std::int32_t>& values) override;
};

// Text keys. A null text puts std::cout in its failed state.
class ObserverStringImpl : public vumodelapi::ObserverString {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyString(const char* text) override;
};

// Actions whose outcome nobody waits for.
class ObserverActionImpl : public vumodelapi::ObserverAction {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyExecutionResult(const vumodelapi::ArgumentList& results) override;
    void notifyExecutionError(std::int32_t error) override;
};

// The set's messages: sets m_bPresetChannelFinish when a preset load has ended (338), never clears it.
class changePreSignalStateObserverImpl : public vumodelapi::ObserverNumericInteger {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t value) override;
};

// All vectors of texts, the list of Bluetooth devices first among them.
class btSearchStateObserverImpl : public vumodelapi::ObserverVectorString {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyStringVector(const std::vector<std::string>& texts) override;
};

// The factory-ready action: factory_ready_val becomes 1 when the first result is exactly "1", else 0.
class FactoryReadyActionObserver : public vumodelapi::ObserverAction {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyExecutionResult(const vumodelapi::ArgumentList& results) override;
    void notifyExecutionError(std::int32_t error) override;
};

// The hand-over and the check of a CI+ key. The outcome is printed and not kept.
class SetCIKeyActionObserver : public vumodelapi::ObserverAction {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyExecutionResult(const vumodelapi::ArgumentList& results) override;
    void notifyExecutionError(std::int32_t error) override;
};

#endif

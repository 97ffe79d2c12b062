#include "model/ModelClient.h"

#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"

using zel::CycleLines;
using zel::CycleTexts;
using zel::RunModelCycle;

namespace {

// The vector operations report every failure with the interface-reference text; the line tells them apart.
constexpr CycleTexts kVectorTexts = {nullptr, nullptr};

}  // namespace

std::int32_t ModelClient::ZelSetValue(const std::string& key, std::int32_t value) {
    ObserverIntegerImpl observer;
    return RunModelCycle<vumodelapi::NumericInteger>(
        "ZelSetValue", {__LINE__, 0, 0}, {"ZelSetValue connect failed", "ZelSetValue setValue failed"}, key,
        observer, [&](vumodelapi::NumericInteger& handle) { return handle.setValue(value); });
}

std::int32_t ModelClient::ZelGetValue(const std::string& key, std::int32_t& out) {
    ObserverIntegerImpl observer;
    return RunModelCycle<vumodelapi::NumericInteger>("ZelGetValue", {__LINE__, 0, 0},
                                                     {"ZelGetValue connect", nullptr}, key, observer,
                                                     [&](vumodelapi::NumericInteger& handle) {
                                                         out = handle.getValue();
                                                         return 0;
                                                     });
}

std::int32_t ModelClient::ZelGetVectorValue(const std::string& key, std::vector<std::int32_t>& out) {
    const CycleLines lines = {__LINE__,   // interface
                              __LINE__,   // connect
                              __LINE__};  // operation
    ObserverVectorIntegerImpl observer;
    return RunModelCycle<vumodelapi::VectorNumericInteger>(
        "ZelGetVectorValue", lines, kVectorTexts, key, observer,
        [&](vumodelapi::VectorNumericInteger& handle) { return handle.getValue(out); });
}

std::int32_t ModelClient::ZelSetVectorValue(const std::string& key, std::int32_t index, std::int32_t value) {
    const CycleLines lines = {__LINE__,   // interface
                              __LINE__,   // connect
                              __LINE__};  // operation
    ObserverVectorIntegerImpl observer;
    return RunModelCycle<vumodelapi::VectorNumericInteger>("ZelSetVectorValue", lines, kVectorTexts, key, observer,
                                                           [&](vumodelapi::VectorNumericInteger& handle) {
                                                               return handle.setValue({{index, value}});
                                                           });
}

std::int32_t ModelClient::ZelGetVectorString(const std::string& key, std::vector<std::string>& out) {
    const CycleLines lines = {__LINE__,   // interface
                              __LINE__,   // connect
                              __LINE__};  // operation
    btSearchStateObserverImpl observer;   // serves every key of this kind
    return RunModelCycle<vumodelapi::VectorString>(
        "ZelGetVectorString", lines, kVectorTexts, key, observer,
        [&](vumodelapi::VectorString& handle) { return handle.getValue(out); });
}

std::int32_t ModelClient::ZelSetString(const std::string& key, const std::string& value) {
    ObserverStringImpl observer;
    return RunModelCycle<vumodelapi::String>("ZelSetString", {__LINE__, 0, 0},
                                             {"connect failed", "setValue failed"}, key, observer,
                                             [&](vumodelapi::String& handle) { return handle.setValue(value); });
}

std::int32_t ModelClient::ZelGetString(const std::string& key, std::string& out) {
    ObserverStringImpl observer;
    return RunModelCycle<vumodelapi::String>("ZelGetString", {__LINE__, 0, 0}, {"connect failed", nullptr}, key,
                                             observer, [&](vumodelapi::String& handle) {
                                                 handle.getValue(out);
                                                 return 0;
                                             });
}

std::int32_t ModelClient::ZelSetAction(const std::string& key) {
    ObserverActionImpl observer;
    return zel::InvokeAction({"ZelSetAction", __LINE__}, key, observer, {});
}

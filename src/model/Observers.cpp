#include "model/Observers.h"

#include <cstdio>
#include <iostream>

#include "model/ModelGlobals.h"

namespace {

constexpr std::int32_t kPresetLoaded = 338;  // the set's message at the end of a preset load

// The first result's text; empty when the library reports none.
std::string FirstResult(const vumodelapi::ArgumentList& results) {
    return results.empty() ? std::string() : results.front().values;
}

}  // namespace

void ObserverIntegerImpl::notifyInteger(std::int32_t value) {
    std::cout << "ObserverIntegerImpl: new value = " << value << "\n" << std::endl;
}

void ObserverVectorIntegerImpl::notifyIntegerVector(const std::vector<std::int32_t>& values) {
    std::cout << "ObserverVectorIntegerImpl: new value = " << values.size() << "\n" << std::endl;
}

void ObserverStringImpl::notifyString(const char* text) {
    std::cout << "ObserverStringImpl: new value = ";
    if (text == nullptr) {
        std::cout.setstate(std::ios_base::badbit);  // what follows is lost, here and in later notifications
    } else {
        std::cout << text;
    }
    std::cout << "\n" << std::endl;
}

void ObserverActionImpl::notifyExecutionResult(const vumodelapi::ArgumentList&) {
    std::cout << "ObserverActionImpl: new value \n" << std::endl;
}

void ObserverActionImpl::notifyExecutionError(std::int32_t) {
    std::cout << "ObserverActionImpl: new value \n" << std::endl;
}

void changePreSignalStateObserverImpl::notifyInteger(std::int32_t value) {
    std::cout << "changePreSignalStateObserverImpl: new value = " << value << "\n" << std::endl;
    if (value == kPresetLoaded) {
        m_bPresetChannelFinish = true;
    }
}

void btSearchStateObserverImpl::notifyStringVector(const std::vector<std::string>& texts) {
    std::cout << "notifyStringVector \n" << std::endl;
    std::printf("========notifyStringVector======i:%d\n", static_cast<int>(texts.size()));
}

void FactoryReadyActionObserver::notifyExecutionResult(const vumodelapi::ArgumentList& results) {
    factory_ready_val = FirstResult(results) == "1" ? 1 : 0;
}

void FactoryReadyActionObserver::notifyExecutionError(std::int32_t) {
    std::cout << "========notifyExecutionError=======" << std::endl;
}

void SetCIKeyActionObserver::notifyExecutionResult(const vumodelapi::ArgumentList& results) {
    // "Success" or "Failed". Nobody waits for either: an accepted action counts as done.
    std::printf("results[0].values:%s \n", FirstResult(results).c_str());
}

void SetCIKeyActionObserver::notifyExecutionError(std::int32_t) {
    std::printf(" %s %d\n", "notifyExecutionError", zel::FixedLine(602));
}

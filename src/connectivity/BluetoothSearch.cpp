#include <cstdio>
#include <string>
#include <vector>

#include "UartManager/SharedState.h"
#include "UartManager/UartManager.h"
#include "connectivity/ScanLimits.h"
#include "log/LogPrint.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Delay.h"

namespace {

constexpr std::int32_t kBluetoothOff = 1;
constexpr std::int32_t kBluetoothOn = 0;
constexpr std::int32_t kStopSearch = 0;
constexpr int kLooks = 4;
constexpr std::uint32_t kLookSeconds = 2;

}  // namespace

void UartManager::ZelBTSearchAP() {
    const auto check = [](std::int32_t result, int line) {
        if (result != 0) {
            zel::PrintFail("ZelBTSearchAP", line);
        }
    };
    ++m_u8BTScanTestAPCount;
    m_radioScan.fBTSearching = 1;
    check(ZelSetValue(zel::key::kAccessPointSearch, kStopSearch), __LINE__);

    std::int32_t status = kBluetoothOn;
    check(ZelGetValue(zel::key::kBluetoothStatus, status), __LINE__);
    std::printf("======SL2_TVAPI_I32_BLUETOOTH_ENUM_STATUS:%d,off:%d,on:%d\n", status, kBluetoothOff,
                kBluetoothOn);
    if (status != kBluetoothOn) {
        check(ZelSetAction(zel::key::kBluetoothEnable), __LINE__);
    }

    check(ZelSetAction(zel::key::kBluetoothSearchStart), __LINE__);
    check(ZelSearchBtDevice(), __LINE__);
    int looks = 0;
    std::int32_t devices = 0;
    while (looks < kLooks && devices < 1) {
        ++looks;
        zel::DelaySeconds(kLookSeconds);
        check(ZelSearchBtDevice(), __LINE__);
        check(ZelGetValue(zel::key::kBluetoothDeviceCount, devices), __LINE__);
    }
    std::printf("whileCount:%d i32BTDeviceCount:%d\n", looks, devices);
    check(ZelSetAction(zel::key::kBluetoothSearchStop), __LINE__);

    if (devices > 0) {
        m_radioScan.m_u32BTDeviceCount = static_cast<std::uint32_t>(devices);
        m_radioScan.fBTSearching = 0;
        check(ZelSetAction(zel::key::kBluetoothDisable), __LINE__);
    }
    if (m_u8BTScanTestAPCount >= zel::kBluetoothAttempts) {
        m_radioScan.fBTSearching = 0;
    }
}

std::int32_t UartManager::ZelSearchBtDevice() {
    const zel::CycleLines lines = {__LINE__,   // interface
                                   __LINE__,   // connect
                                   __LINE__};  // operation
    // The names are of no interest here: the list is read so that the set keeps its count current.
    std::vector<std::string> names;
    btSearchStateObserverImpl observer;
    return zel::RunModelCycle<vumodelapi::VectorString>(
        "ZelSearchBtDevice", lines, {nullptr, nullptr}, zel::key::kBluetoothDeviceName, observer,
        [&](vumodelapi::VectorString& handle) { return handle.getValue(names); });
}

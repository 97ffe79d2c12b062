#include <cstdio>
#include <string>
#include <vector>

#include "UartManager/UartManager.h"
#include "connectivity/RadioScan.h"
#include "log/LogPrint.h"
#include "model/ModelCycle.h"
#include "model/ModelKeys.h"
#include "model/Observers.h"
#include "os/Delay.h"

namespace {

constexpr std::int32_t kBluetoothOff = 1;
constexpr std::int32_t kBluetoothOn = 0;
constexpr int kLooks = 4;
constexpr std::uint32_t kLookSeconds = 2;

}  // namespace

void UartManager::ZelBTSearchAP() {
    constexpr char kName[] = "ZelBTSearchAP";
    ++m_u8BTScanTestAPCount;
    m_radioScan->fBTSearching = 1;
    zel::PrintIfFailed(ZelSetValue(zel::key::kAccessPointSearch, zel::kStopSearch), kName, __LINE__);

    std::int32_t status = kBluetoothOn;
    zel::PrintIfFailed(ZelGetValue(zel::key::kBluetoothStatus, status), kName, __LINE__);
    std::printf("======SL2_TVAPI_I32_BLUETOOTH_ENUM_STATUS:%d,off:%d,on:%d\n", status, kBluetoothOff,
                kBluetoothOn);
    if (status != kBluetoothOn) {
        zel::PrintIfFailed(ZelSetAction(zel::key::kBluetoothEnable), kName, __LINE__);
    }

    zel::PrintIfFailed(ZelSetAction(zel::key::kBluetoothSearchStart), kName, __LINE__);
    zel::PrintIfFailed(ZelSearchBtDevice(), kName, __LINE__);
    int looks = 0;
    std::int32_t devices = 0;
    while (looks < kLooks && devices < 1) {
        ++looks;
        zel::DelaySeconds(kLookSeconds);
        zel::PrintIfFailed(ZelSearchBtDevice(), kName, __LINE__);
        zel::PrintIfFailed(ZelGetValue(zel::key::kBluetoothDeviceCount, devices), kName, __LINE__);
    }
    std::printf("whileCount:%d i32BTDeviceCount:%d\n", looks, devices);
    zel::PrintIfFailed(ZelSetAction(zel::key::kBluetoothSearchStop), kName, __LINE__);

    if (devices > 0) {
        m_radioScan->m_u32BTDeviceCount = static_cast<std::uint32_t>(devices);
        m_radioScan->fBTSearching = 0;
        zel::PrintIfFailed(ZelSetAction(zel::key::kBluetoothDisable), kName, __LINE__);
    }
    if (m_u8BTScanTestAPCount >= zel::kBluetoothAttempts) {
        m_radioScan->fBTSearching = 0;
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

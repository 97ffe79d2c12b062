#include <algorithm>
#include <cstdio>
#include <vector>

#include "UartManager/UartManager.h"
#include "connectivity/RadioScan.h"
#include "log/LogPrint.h"
#include "model/ModelKeys.h"
#include "os/Delay.h"
#include "os/Thread.h"

namespace {

constexpr std::uint32_t kRoundMilliseconds = 100;
constexpr std::uint32_t kPauseSeconds = 5;
constexpr std::uint32_t kLookMilliseconds = 100;
constexpr std::int32_t kStartSearch = 1;

void PrintRound(std::int32_t accessPoints, const zel::RadioScan& scan) {
    std::printf("wifidevice:%d APCount:%d m_u32WifiLevel:%d\n", accessPoints, m_u8WifiScanTestAPCount.load(),
                static_cast<int>(scan.m_u32WifiLevel));
}

}  // namespace

std::shared_ptr<zel::RadioScan> zel::MakeRadioScan() {
    return std::make_shared<RadioScan>();
}

void UartManager::ZelWifiScan() {
    const int result = zel::StartThread(m_threadWifiScan, ZelWifiScanThread, this, __LINE__);
    if (zel::ReportThreadError(result, __LINE__,
                               "pthread_create(&m_threadWifiScan, &attr, ZelWifiScanThread, this)")) {
        std::printf(" %s %d \n", "ZelWifiScan", __LINE__);
    }
}

void UartManager::RunWifiScanRound() {
    const auto finish = [this] {
        m_radioScan->fWifiScanning = 0;
        ZelSetValue(zel::key::kAccessPointSearch, zel::kStopSearch);
    };
    ZelSetValue(zel::key::kAccessPointSearch, kStartSearch);
    zel::DelayMilliseconds(kRoundMilliseconds);
    std::int32_t accessPoints = 0;
    ZelGetValue(zel::key::kAccessPointCount, accessPoints);
    if (accessPoints < 1) {
        PrintRound(accessPoints, *m_radioScan);
        return;
    }
    std::vector<std::int32_t> signals;
    ZelGetVectorValue(zel::key::kAccessPointSignal, signals);
    std::uint32_t level = m_radioScan->m_u32WifiLevel;
    for (const std::int32_t signal : signals) {
        level = std::max(level, static_cast<std::uint32_t>(std::max(signal, 0)));
    }
    m_radioScan->m_u32WifiLevel = std::min(level, zel::kHighestLevel);
    if (m_radioScan->m_u32WifiLevel > zel::kWeakSignal) {
        finish();
    }
    if (++m_u8WifiScanTestAPCount > zel::kMostScanRounds) {
        finish();
    }
    PrintRound(accessPoints, *m_radioScan);
}

void* UartManager::ZelWifiScanThread(void* manager) {
    zel::NameThread("ZelWifiScan Task");
    zel::DetachThisThread();
    UartManager& self = *static_cast<UartManager*>(manager);
    zel::RadioScan& scan = *self.m_radioScan;
    scan.fWifiScanning = 1;

    std::vector<std::string> support;
    zel::PrintIfFailed(self.ZelGetVectorString(zel::key::kBluetoothSupport, support), "ZelWifiScanThread",
                       __LINE__);
    support.resize(std::max<std::size_t>(support.size(), 4));
    std::printf("=======iVetorBluetoothSupport[0]:%s [1]:%s [2]:%s [3]:%s=======\n", support[0].c_str(),
                support[1].c_str(), support[2].c_str(), support[3].c_str());
    const bool hasBluetooth = support[1].rfind('1', 0) == 0;

    while (true) {
        const bool searchesWifi = m_u8WifiScanTestAPCount <= zel::kLastScanRound &&
                                  scan.m_u32WifiLevel <= zel::kWeakSignal && scan.fWifiScanning == 1;
        if (searchesWifi) {
            self.RunWifiScanRound();
        }
        const bool searchesBluetooth =
            hasBluetooth && scan.m_u32BTDeviceCount == 0 && m_u8BTScanTestAPCount < zel::kBluetoothAttempts;
        if (searchesBluetooth) {
            self.ZelBTSearchAP();
        }
        std::printf("wifi:%d bt:%d wificount:%d btcount:%d\n", static_cast<int>(scan.m_u32WifiLevel),
                    static_cast<int>(scan.m_u32BTDeviceCount), m_u8WifiScanTestAPCount.load(),
                    m_u8BTScanTestAPCount.load());
        std::printf("fWifiScanning:%d fBTSearching:%d\n", scan.fWifiScanning.load(), scan.fBTSearching.load());
        if (hasBluetooth && scan.fBTSearching == 1) {
            // The next search follows at once. A search of the line's is looked after without turning for nothing.
            if (!searchesWifi && !searchesBluetooth) {
                zel::DelayMilliseconds(kLookMilliseconds);
            }
            continue;
        }
        if (scan.fWifiScanning == 0) {
            break;
        }
        zel::DelaySeconds(kPauseSeconds);
    }
    std::printf(" %s %d pthread_exit ZelWifiScanThread\n", "ZelWifiScanThread", __LINE__);
    return nullptr;
}

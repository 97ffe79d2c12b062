#include <algorithm>
#include <iostream>
#include <vector>

#include "UartManager/UartManager.h"
#include "commands/FactoryFinish.h"
#include "connectivity/RadioScan.h"
#include "model/ModelGlobals.h"
#include "provisioning/configuration/ConfigFile.h"
#include "provisioning/keys/KeyTransfer.h"
#include "provisioning/usb/SecondUpdate.h"
#include "scripted/Script.h"
#include "test_adapter/ApplicationTest.h"

namespace scripted {

void ResetGlobals() {
    factory_ready_val = 0;
    m_i32ChannelCount = 0;
    m_bPresetChannelFinish = false;
    m_bGeTunerUuidFinish = false;
    for (zel::SharedText* text : {&dst_ATV_tuner_uuid, &dst_DTV_tuner_uuid, &dst_DTVS2_tuner_uuid, &m_strAtvUuid,
                                  &m_strDtvUuid, &m_strDtvS2Uuid, &m_strAtvNum, &m_strDtvNum}) {
        text->Set("");
    }
    ptrFavListTabLelterator.reset();

    m_bCurrentKeyFinish = false;
    m_i32RetCheckPlayreadyYoutube = -1;
    m_secondUpdateStatus = 0;
    m_strSecondUpdateMessage.Set("");
    m_u8WifiScanTestAPCount = 0;
    m_u8BTScanTestAPCount = 0;

    for (char* line :
         {m_strCountry, m_strRegion, m_strLogo, m_strBrand, m_strLanguage, m_strProjectId, m_strCustomerModel}) {
        std::fill_n(line, kConfigLineSize, '\0');
    }
    s_appManagerClientAdapter = nullptr;

    // The one object is never destroyed. Those of former tests stay reachable, so that no leak is reported.
    static std::vector<const UartManager*>& former = *new std::vector<const UartManager*>;
    former.push_back(UartManager::m_UartInstance);
    UartManager::m_UartInstance = nullptr;
    UartManager::input_fd = -1;
    UartManager::_bExitUartDebug = 1;

    std::cout.clear();
}

}  // namespace scripted

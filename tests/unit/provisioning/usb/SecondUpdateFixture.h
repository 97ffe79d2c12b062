// The calls that import, export and their entry have in common, and what they leave behind.
#ifndef ZELFAC_TESTS_PROVISIONING_USB_SECONDUPDATEFIXTURE_H
#define ZELFAC_TESTS_PROVISIONING_USB_SECONDUPDATEFIXTURE_H

#include <string>

#include "provisioning/ProvisioningFixture.h"
#include "provisioning/usb/SecondUpdate.h"

namespace scripted {

inline constexpr char kFlicker[] = "tovix.sl2.system.ctrl.led.flicker";
inline constexpr char kLed[] = "tovix.sl2.system.ctrl.led.gpio";
inline constexpr int kExit1 = 0x100;  // a status of system(): the shell exited with 1

class SecondUpdateTest : public ProvisioningTest {
  protected:
    void ExpectLeds() {
        script.ExpectSet(kFlicker, 0);
        script.ExpectSet(kLed, 1);
    }
    // The supervisor answers `answer` in its marker; null: it takes the marker away.
    void ExpectSupervisor(const std::string& number, const char* answer) {
        const std::string marker = "/var/run/.superwatch" + number;
        script.Expect("system touch " + marker).Then([this, marker] { script.PutFile(marker, ""); });
        script.Expect("delay 100000");
        script.Expect("sync");
        script.Expect("system echo " + number + " > /var/run/superwatch").Then([this, marker, answer] {
            if (answer == nullptr) {
                script.RemoveFile(marker);
            } else {
                script.PutFile(marker, answer);
            }
        });
        script.Expect("delay-seconds 6");
        script.Expect("sync");
        script.Expect("system rm -rf " + marker);
        script.Expect("sync");
    }
    void ExpectRebuild() {
        script.Expect("flash.set db_table=0");
        script.Expect("sync");
    }
    void ExpectOutcome(std::int32_t status, const std::string& message) {
        EXPECT_EQ(m_secondUpdateStatus, status);
        EXPECT_EQ(m_strSecondUpdateMessage.Get(), message);
        EXPECT_EQ(m_manager->GetStatusChanged(), 1);
    }

    std::string m_output;
};

}  // namespace scripted

#endif

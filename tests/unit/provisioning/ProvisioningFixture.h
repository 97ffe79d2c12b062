// A manager on the scripted set, with sticks in its mount table and nothing left of an earlier configuration.
#ifndef ZELFAC_TESTS_PROVISIONING_PROVISIONINGFIXTURE_H
#define ZELFAC_TESTS_PROVISIONING_PROVISIONINGFIXTURE_H

#include <cstring>
#include <functional>
#include <string>

#include "UartManager/LinkFixture.h"
#include "provisioning/configuration/ConfigFile.h"

namespace scripted {

class ProvisioningTest : public LinkTest {
  protected:
    void SetUp() override {
        LinkTest::SetUp();
        for (char* const line : {m_strCountry, m_strRegion, m_strLogo, m_strBrand, m_strLanguage, m_strProjectId,
                                 m_strCustomerModel}) {
            std::memset(line, 0, kConfigLineSize);
        }
    }

    // A line left by an earlier file.
    static void SetLine(char* buffer, const char* line) { std::snprintf(buffer, kConfigLineSize, "%s", line); }

    // What `work` prints.
    std::string OutputOf(const std::function<void()>& work) {
        script.CaptureOutput();
        work();
        return script.Output();
    }

    // The mount table: something that is no stick, then a stick at each of `mountPoints`.
    void PutSticks(const std::vector<std::string>& mountPoints) {
        std::string table = "proc /proc proc rw 0 0\n";
        int number = 0;
        for (const std::string& mountPoint : mountPoints) {
            table += "/dev/shm/shm_tmp/vu_sd" + std::to_string(number++) + " " + mountPoint + " vfat rw 0 0\n";
            script.MakeFolder(mountPoint);
        }
        script.PutFile("/proc/mounts", table);
    }

    // Whether `text` has `before`, a number and `after` in a row: a log line with the source line in it.
    static bool HasLine(const std::string& text, const std::string& before, const std::string& after) {
        for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + 1)) {
            std::size_t end = at + before.size();
            while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
                ++end;
            }
            if (end > at + before.size() && text.compare(end, after.size(), after) == 0) {
                return true;
            }
        }
        return false;
    }
    static bool HasFail(const std::string& text, const std::string& operation) {
        return HasLine(text, " " + operation + " ", " fail\n");
    }
    static int Count(const std::string& text, const std::string& part) {
        int count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
            ++count;
        }
        return count;
    }
};

}  // namespace scripted

#endif

// A manager on the scripted set, and frames made without the code under test.
#ifndef ZELFAC_TESTS_UARTMANAGER_LINKFIXTURE_H
#define ZELFAC_TESTS_UARTMANAGER_LINKFIXTURE_H

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "UartManager/UartManager.h"
#include "scripted/Script.h"

namespace scripted {

using Bytes = std::vector<std::uint8_t>;

inline Bytes ToBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// A wire frame written out byte by byte.
inline Bytes WireFrameOf(std::uint8_t kind, std::uint16_t id, const Bytes& payload, std::uint8_t trailerA = 0,
                         std::uint8_t trailerB = 0) {
    Bytes wire = {0x79, kind, static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id & 0xFF),
                  static_cast<std::uint8_t>(payload.size())};
    for (const std::uint8_t byte : payload) {
        wire.push_back(byte);
    }
    wire.push_back(trailerA);
    wire.push_back(trailerB);
    unsigned sum = 0;
    for (std::size_t i = 1; i < wire.size(); ++i) {
        sum += wire[i];
    }
    wire.push_back(static_cast<std::uint8_t>((256 - sum % 256) % 256));
    wire.push_back(0xFE);
    return wire;
}

inline std::string Hex(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char pair[4];
        std::snprintf(pair, sizeof pair, "%s%02X", text.empty() ? "" : " ", static_cast<unsigned>(byte));
        text += pair;
    }
    return text;
}

class LinkTest : public Test {
  protected:
    ~LinkTest() override {
        // The manager's destructor joins threads that a test has left running.
        script.Allow("join");
        script.CaptureOutput();
        m_manager.reset();
        script.Output();
    }

    void SetUp() override {
        Test::SetUp();
        m_manager = std::make_unique<UartManager>();
        UartManager::input_fd = 3;
    }

    using Ids = std::initializer_list<std::uint16_t>;

    // A received frame as the decoder gets it.
    static UartFrame Received(std::uint16_t id, const std::string& payload = "", std::uint8_t trailerA = 0,
                              std::uint8_t trailerB = 0) {
        UartFrame frame{};
        frame.start = 0x79;
        frame.commandHigh = static_cast<std::uint8_t>(id >> 8);
        frame.commandLow = static_cast<std::uint8_t>(id & 0xFF);
        frame.length = static_cast<std::uint8_t>(payload.size());
        for (std::size_t i = 0; i < payload.size(); ++i) {
            frame.payload[i] = static_cast<std::uint8_t>(payload[i]);
        }
        frame.trailerA = trailerA;
        frame.trailerB = trailerB;
        frame.end = 0xFE;
        return frame;
    }

    void ExpectFrame(std::uint8_t kind, std::uint16_t id, const std::string& payload, std::uint8_t trailerB) {
        script.Expect("serial.write " + Hex(WireFrameOf(kind, id, ToBytes(payload), 0, trailerB)));
    }
    void ExpectStatus(std::uint16_t id, std::uint8_t status) {
        ExpectFrame(0x10, id, std::string(1, static_cast<char>(status)), 1);
    }
    void ExpectResult(std::uint16_t id, const std::string& payload) { ExpectFrame(0x11, id, payload, 1); }
    void ExpectEmpty(std::uint16_t id) { ExpectFrame(0x10, id, "", 0); }

    // Lets the decoder carry out one frame of a line that has connected.
    void Decode(std::uint16_t id, const std::string& payload = "") {
        m_manager->m_bConnected = 1;
        m_manager->ZelDecodeFacAutoTestCommand(Received(id, payload));
    }
    // The same with everything printed on the way.
    std::string DecodeOutput(std::uint16_t id, const std::string& payload = "") {
        script.CaptureOutput();
        Decode(id, payload);
        return script.Output();
    }

    std::unique_ptr<UartManager> m_manager;
};

}  // namespace scripted

#endif

// A small model of the set's end of the line, for transfers: bursts, order, chunks, worker, answers, line noise.
//
// It is written from what a set does and shares no code with the application; only its time is scripted.
#ifndef ZELLINE_TESTS_SIMULATEDRECEIVER_H
#define ZELLINE_TESTS_SIMULATEDRECEIVER_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "port/Transport.h"
#include "wire/Hex.h"

namespace zelline {

struct Noise {
    double drop = 0;  // probability per byte, both ways
    double flip = 0;
    unsigned seed = 1;
};

class SimulatedReceiver : public Transport {
  public:
    explicit SimulatedReceiver(const Noise& noise = {}) : m_noise(noise), m_random(noise.seed) {}

    void Write(const std::uint8_t* bytes, std::size_t size) override;
    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override;
    Millis Now() const override { return Millis(m_now / 1000); }
    void Sleep(Millis time) override { Advance(m_now + time.count() * 1000); }

    // Starts anew at that time: until it is connected again it sends a ready frame every 2 s.
    void RestartAt(Millis when) { m_restart = when.count() * 1000; }

    // Lets the set come to rest, without noise from here on.
    void Settle();

    // Knobs.
    long installMs = 300;
    long bootMs =
        0;  // after a restart; what arrives meanwhile waits in the port, and the first ready frame takes 2 s more
    bool refuses = false;          // the installation fails
    bool swallowsAnswers = false;  // answers of the worker never arrive
    int damages = 0;               // that many files are assembled with one wrong byte
    bool connected = false;
    std::map<int, std::string> texts;  // answers with data, by id
    bool isDead = false;               // hears nothing
    std::function<void(int)> onFrame;  // hears of each frame's id before it is carried out

    // What the set has.
    std::map<int, std::string> installed;        // by transfer id, the last file
    std::vector<std::string> handedToInstaller;  // every file
    int connects = 0;
    std::vector<int> received;  // ids, in order
    std::vector<std::string> payloads;

  private:
    using Micros = std::int64_t;

    struct Frame {
        int id = 0;
        std::string payload;
        int index = 0;
        int total = 0;
    };

    void Advance(Micros until);
    void EndBurst();
    void Handle(const Frame& frame);
    void TakeChunk(const Frame& frame);
    void FinishWorker();
    void Answer(int id, int kind, const std::string& payload, int trailerB);
    std::optional<std::uint8_t> Damage(std::uint8_t byte);

    Noise m_noise;
    std::mt19937 m_random;
    Micros m_now = 1000000;
    Micros m_wireFree = 0;
    Micros m_lastByte = 0;
    Micros m_nextPass = 0;
    Micros m_restart = INT64_MAX;
    Micros m_booted = 0;
    Micros m_nextReady = INT64_MAX;
    Bytes m_burst;
    std::deque<Frame> m_frames;
    std::deque<std::pair<Micros, std::uint8_t>> m_outgoing;

    int m_transfer = 0;
    std::set<int> m_indices;
    std::string m_assembled;
    bool m_finished = false;
    bool m_busy = false;
    Micros m_workerEnd = 0;
    std::map<int, std::uint32_t> m_checksums;  // by transfer id
};

}  // namespace zelline

#endif

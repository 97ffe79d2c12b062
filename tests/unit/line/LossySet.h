// A set's end of the line that keeps what it is told, and loses the frames that a test names.
#ifndef ZELLINE_TESTS_LOSSYSET_H
#define ZELLINE_TESTS_LOSSYSET_H

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "port/Transport.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "protocol/RxParser.h"
#include "wire/Hex.h"

namespace zelline {

// It takes a burst when 0.5 s of silence have passed, and each frame of it in `took` ms, one behind the other.
class LossySet : public Transport {
  public:
    // Decides by the number of the frame, over all that arrive here, whether it, or its answer, is lost.
    std::function<bool(std::size_t)> losesRequest = [](std::size_t) { return false; };
    std::function<bool(std::size_t)> losesAnswer = [](std::size_t) { return false; };
    std::map<int, long> took;          // ms, by id; 10 for the others
    std::map<int, std::string> texts;  // what queries answer, by id
    std::set<std::string> refuses;     // payloads that are answered with failure

    // What it has been told.
    std::vector<std::string> done;  // "1288 HDMI1", connects and fences left out
    std::map<zel::Subject, std::string> state;
    int flushes = 0;
    std::vector<std::size_t> bursts;  // frames of each

    void Write(const std::uint8_t* bytes, std::size_t size) override {
        if (std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; })) {
            ++flushes;
            return;
        }
        Micros when = std::max(m_busyUntil, m_now + kSilence);
        bursts.push_back(0);
        UartFrame frame{};
        for (std::size_t i = 0; i < size; ++i) {
            if (m_parser.ParseRxByte(bytes[i], frame)) {
                ++bursts.back();
                when = Take(frame, when);
            }
        }
        m_busyUntil = when;
    }

    std::size_t Read(std::uint8_t* bytes, std::size_t size, Millis wait) override {
        const Micros end = m_now + wait.count() * 1000;
        if (m_answers.empty() || m_answers.front().first > end) {
            m_now = end;
            return 0;
        }
        m_now = std::max(m_now, m_answers.front().first);
        const Bytes answer = m_answers.front().second;
        m_answers.pop_front();
        EXPECT_LE(answer.size(), size);
        std::copy(answer.begin(), answer.end(), bytes);
        return answer.size();
    }

    Millis Now() const override { return Millis(m_now / 1000); }
    void Sleep(Millis time) override { m_now += time.count() * 1000; }

  private:
    using Micros = std::int64_t;
    static constexpr Micros kSilence = 500000;

    Micros Take(const UartFrame& frame, Micros when) {
        const std::size_t number = m_count++;
        if (losesRequest(number)) {
            return when;
        }
        const int id = frame.CommandId();
        const zel::CommandInfo* row = zel::FindCommand(static_cast<std::uint32_t>(id));
        const std::string payload(frame.payload.begin(), frame.payload.begin() + frame.length);
        when += (took.count(id) != 0 ? took[id] : 10) * 1000;
        if (row == nullptr || row->reply == zel::ReplyRule::None) {
            return when;
        }
        const bool isFence = row->answer == zel::AnswerForm::Empty;
        if (!isFence && id != 0x1273) {
            done.push_back(IdText(static_cast<std::uint16_t>(id)).substr(2) +
                           (payload.empty() ? "" : " " + payload));
        }
        UartFrame answer = zel::MakeFrame(zel::FrameKind::Plain, static_cast<std::uint16_t>(id));
        if (row->answer == zel::AnswerForm::Status) {
            zel::SetPayload(answer, std::string(1, refuses.count(payload) != 0 ? '\1' : '\0'));
            answer.trailerB = 1;
            if (zel::ChangesSubject(*row)) {
                state[row->subject] = id == 0x128E ? "\x05" : id == 0x128D ? "\x64" : payload;
            }
        } else if (!isFence) {
            answer.kind = static_cast<std::uint8_t>(zel::FrameKind::Result);
            const auto text = texts.find(id);
            zel::SetPayload(answer, text != texts.end() ? text->second : state[row->subject]);
            answer.trailerB = 1;
        }
        for (int i = 0; i < (row->reply == zel::ReplyRule::StatusTwice ? 2 : 1); ++i) {
            if (!losesAnswer(number)) {
                const zel::WireFrame wire = zel::EncodeFrame(answer);
                m_answers.emplace_back(
                    when, Bytes(wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size)));
            }
        }
        return when;
    }

    zel::RxParser m_parser;
    Micros m_now = 1000000;
    Micros m_busyUntil = 0;
    std::size_t m_count = 0;
    std::deque<std::pair<Micros, Bytes>> m_answers;
};

}  // namespace zelline

#endif

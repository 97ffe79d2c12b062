// Requests and answers over a transport: matching, repeats, and what else arrives meanwhile.
#ifndef ZELLINE_LINK_LINK_H
#define ZELLINE_LINK_LINK_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "link/Missing.h"
#include "port/Transport.h"
#include "protocol/RxParser.h"
#include "protocol/UartFrame.h"
#include "wire/Request.h"

namespace zelline {

// Told of everything on the line, in order, as far as it asks for it. The trace is one.
class LineObserver {
  public:
    LineObserver() = default;
    LineObserver(const LineObserver&) = delete;
    LineObserver& operator=(const LineObserver&) = delete;
    virtual ~LineObserver() = default;

    virtual void Sent(const UartFrame&, Millis) {}
    // kFlush was sent.
    virtual void Flushed(Millis) {}
    virtual void Received(const UartFrame&, Millis) {}
    // Received bytes that belong to no intact frame.
    virtual void Noise(const Bytes&, Millis) {}
};

constexpr Millis kShowWait{500};  // between two signs that a wait goes on

struct AskOptions {
    Millis timeout{3000};
    int retries = 1;      // further tries after one without an answer
    bool connect = true;  // put a connect in front where it is not certain that the set is in step with us
    bool second = false;  // the command answers twice: wait for both
    std::function<void(const UartFrame&)> onEvent;  // ready frames and key presses that arrive meanwhile
    std::function<void(Millis)> onWait;             // hears from time to time how long nothing has come
};

struct Answered {
    UartFrame frame{};
    int answers = 1;  // 2 when both of a double answer came
    int tries = 1;
    Millis elapsed{0};  // from the first byte sent, all tries
};

// Frames in front of a request whose answers show that what comes behind them answers the request, and nothing
// that was asked before: they come one directly behind the other.
class Mark {
  public:
    Mark() = default;
    explicit Mark(std::vector<UartFrame> frames) : m_frames(std::move(frames)) {}

    const std::vector<UartFrame>& Frames() const { return m_frames; }
    bool IsPassed() const { return m_answered == m_frames.size(); }
    // Takes the next answer that came, as long as the mark is not passed.
    void Take(const UartFrame& answer);

  private:
    std::vector<UartFrame> m_frames;
    std::size_t m_answered = 0;
};

// One session with one set.
//
// The first command of a session, and the first after a missing answer, goes out behind a connect in the same
// burst. The set takes both in order and would have taken as long for one, so this costs no time; it ends the
// ready frames where there are any; and since answers come in order, whatever arrives before the connect's
// answer is a left-over of an earlier command and is not mistaken for this one's. Behind a missing answer, which
// may still come, a fence follows the connect, each time another one: a connect may be answered late as well. Once
// a set that is watched for a restart has answered a connect, the fence goes out twice in its place: a set that
// has restarted ignores it and goes on with its ready frames, by which it is known.
//
// In front of that burst go 73 zero bytes. A set to which a frame came damaged in its length may still be waiting
// for up to 73 bytes, over any silence: it would take them out of this command, and carry out the old one late.
class Link {
  public:
    explicit Link(Transport& transport, std::vector<LineObserver*> observers = {});
    ~Link();

    // Sends and waits for the answer of the same id. Throws Error with Exit::NoAnswer, whose message says what
    // was seen instead and what the reasons may be, and what the transport throws.
    Answered Ask(const Request& request, const AskOptions& options);

    // Sends frames as one burst. `onProgress` hears of the bytes that have left so far, as far as the port and the
    // wire's pace tell, and of all; the burst then takes the time that the wire takes.
    void Send(const std::vector<UartFrame>& frames,
              const std::function<void(std::size_t, std::size_t)>& onProgress = {});

    // The next frame of any role, or nothing when `deadline` (in the transport's time) has passed.
    std::optional<UartFrame> Receive(Millis deadline);

    // The next Ask puts a connect in front again.
    void LoseStep() { m_inStep = false; }

    // Whether nothing that was asked is still unanswered.
    bool IsInStep() const { return m_inStep; }

    // What goes in front of the next requests for certain that their answers are told from earlier ones: a connect
    // and a fence, or a fence twice.
    Mark NextMark();

    // All that was asked has been answered, or something has not. What AskTogether and Ask find out.
    void SetStep(bool allAnswered);

    // What was being sent may have been cut short: ends whatever the set still waits for, and loses step.
    void Abandon();

    // Sends kFlush.
    void Flush();

    // Takes in what has arrived by now, without waiting for more; ready frames, key presses and late answers.
    void TakeIn();

    // Whether the set has sent ready frames again after it had answered, as it does when it has restarted. The
    // next Ask then connects it again, and the question is asked anew.
    bool TakeRestart();
    bool HasRestarted() const { return m_restarted; }

    // Whether bytes have come that were no frame.
    bool HasHeardNoise() const { return m_noisy || !m_unparsed.empty(); }

    // Ready frames are in order from here on: the set was told to leave.
    void ForgetAnswers() {
        m_answered.reset();
        m_isConnected = false;
    }

    // From here on it matters that a set has restarted, and nothing may hide it: a connect that waits in its port
    // when it comes to itself ends its ready frames before the first. Without this call a set may restart, and is
    // connected again.
    void WatchForRestart() { m_watchesForRestart = true; }

    // Whether the set that is watched has answered a connect, and has not restarted since as far as is known.
    bool IsConnected() const { return m_watchesForRestart && m_isConnected && !m_restarted; }

    Transport& Line() { return m_transport; }

  private:
    std::optional<Answered> Try(const Request& request, const AskOptions& options, Mark mark, Seen& seen);
    void Deliver(const UartFrame& frame);
    void FlushNoise();

    Transport& m_transport;
    std::vector<LineObserver*> m_observers;
    zel::RxParser m_parser;
    Bytes m_unparsed;                  // received, not yet part of a frame
    std::vector<UartFrame> m_arrived;  // received, not yet handed out
    std::optional<Millis> m_answered;  // when the set answered first
    bool m_watchesForRestart = false;
    bool m_isConnected = false;
    bool m_restarted = false;
    bool m_inStep = false;
    bool m_missing = false;  // an answer is, which may still come
    std::size_t m_marks = 0;
    bool m_noisy = false;  // bytes that were no frame have come
};

}  // namespace zelline

#endif

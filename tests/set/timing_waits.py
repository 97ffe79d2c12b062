"""How long things take that somebody on the line waits for: held against the clock, while no other set runs."""

import statistics
import time

import runner
from finishes import COMMANDS, READY, finish, running
from radios import DEVICES, searching
from runner import AtOnce
from setlib import NEVER, Set
from zelfac import READY_FRAME, status

# A confirmation is looked for every 500 ms, and 150 ms later the action is disconnected: with twice that, nobody looks
# twice in vain, nor waits for something else.
SOON = 1500


class Waits(AtOnce):
    def test_ready_frames_come_every_two_seconds(self):
        with Set() as tv:
            tv.line.await_bytes(READY_FRAME)
            times = []
            for _ in range(6):
                tv.line.receive(NEVER, lambda data: len(data) == len(READY_FRAME))
                times.append(time.monotonic())
            gaps = [later - earlier for earlier, later in zip(times, times[1:])]
            self.assertAlmostEqual(statistics.median(gaps), 2.05, delta=0.25)

    def test_a_start_without_a_mode_shows_its_screen_for_three_seconds(self):
        with Set(mode="none", wait=False) as tv:
            begin = time.monotonic()
            self.assertEqual(tv.await_end(), 0)
            took = time.monotonic() - begin
        self.assertGreaterEqual(took, 3)
        self.assertLess(took, 15)

    def service_waited_for(self, tv):
        """Milliseconds from the invocation of the last finish to its end."""
        ms = {row["call"]: row["ms"] for row in tv.trace(key=READY)}
        return ms["disconnect"] - ms["invoke"]

    def test_a_service_that_confirms_at_once(self):
        with running(("behave", "factory-ready", "0")) as tv:
            finish(tv)
            self.assertGreaterEqual(self.service_waited_for(tv), 100)
            self.assertLess(self.service_waited_for(tv), SOON)

    def test_a_service_that_confirms_late_is_waited_for_once(self):
        with running(("behave", "factory-ready", "3000")) as tv:
            finish(tv)
            self.assertGreaterEqual(self.service_waited_for(tv), 3000)
            self.assertLess(self.service_waited_for(tv), 3000 + SOON)
            tv.behave("factory-ready", "off")
            for command in COMMANDS[1:]:
                finish(tv, command)
                self.assertLess(self.service_waited_for(tv), SOON)

    def test_a_service_that_never_confirms_is_given_twenty_seconds(self):
        with running(("behave", "factory-ready", "off")) as tv:
            finish(tv)
            self.assertGreaterEqual(self.service_waited_for(tv), 20100)
            self.assertLess(self.service_waited_for(tv), 25000)

    def test_an_action_that_cannot_be_invoked_is_not_waited_for(self):
        with running(("model", "fail", READY, "operate", "6")) as tv:
            begin = time.monotonic()
            finish(tv)
            self.assertLess(time.monotonic() - begin, 15)

    def test_the_device_search_under_way_is_waited_for(self):
        with searching(("behave", "bluetooth", "5000")) as tv:
            begin = time.monotonic()
            self.assertEqual(tv.line.ask(DEVICES), status(DEVICES, 0))
            self.assertGreater(time.monotonic() - begin, 9)
            self.assertLess(time.monotonic() - begin, 14)


if __name__ == "__main__":
    runner.main()

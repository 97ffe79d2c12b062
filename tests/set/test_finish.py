"""The end of the line: the handshake with the television's service and what is closed after it."""

import runner
from finishes import COMMANDS, READY, check_closed, check_open, finish, running
from runner import AtOnce, cases
from zelfac import status


class Finish(AtOnce):
    @cases({f"{command:04x}": command for command in COMMANDS})
    def test_confirmed_at_once(self, command):
        with running(("behave", "factory-ready", "0")) as tv:
            check_open(self, tv)
            self.assertEqual(finish(tv, command), status(command, 0))
            check_closed(self, tv)

    def test_confirmed_once_is_confirmed_for_good(self):
        with running(("behave", "factory-ready", "500")) as tv:
            self.assertEqual(finish(tv, COMMANDS[0]), status(COMMANDS[0], 0))
            tv.behave("factory-ready", "off")
            for command in COMMANDS[1:]:
                tv.flash.set("FactoryOK", "Off")
                self.assertEqual(finish(tv, command), status(command, 0))
                check_closed(self, tv)

    def test_never_confirmed_then_tried_again(self):
        with running(("behave", "factory-ready", "off")) as tv:
            self.assertEqual(finish(tv), status(0x129A, 1))
            # The records say so, and nothing is closed.
            check_open(self, tv, ("Off", "On"))
            self.assertRegex(tv.output(), r" ZelDecodeFacAutoTestCommand \d+ fail\n")
            tv.behave("factory-ready", "0")
            self.assertEqual(finish(tv), status(0x129A, 0))
            check_closed(self, tv)

    @cases({"129a": (0x129A, "playready"), "129b": (0x129B, "youtube"), "12a6": (0x12A6, "playready")})
    def test_refused_while_a_key_check_failed(self, case):
        command, key = case
        with running(("keys", "fail", key, "check", "4")) as tv:
            tv.clear_trace()
            self.assertEqual(finish(tv, command), status(command, 1))
            check_open(self, tv)
            self.assertEqual(tv.trace(key=READY), [], "the service was told")
            self.assertRegex(tv.output(), r" ZelDecodeFacAutoTestCommand \d+ fail\n")

    def test_an_action_that_cannot_be_invoked(self):
        with running(("model", "fail", READY, "operate", "6")) as tv:
            self.assertEqual(finish(tv), status(0x129A, 1))
            check_open(self, tv, ("Off", "On"))
            self.assertIn("invoke failed, ret = 6\n", tv.output())


if __name__ == "__main__":
    runner.main()

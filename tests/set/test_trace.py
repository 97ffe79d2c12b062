"""The trace of a set that runs: everything in one order, what waits for it, and why a run ended."""

import json
import os
import pathlib
import signal
import subprocess
import unittest

import runner
from runner import AtOnce, cases
from setlib import NEVER, Set
from zelfac import matching, programs

READY = "0x1272"
WRITE_SERIAL = "0x1274"
VOLUME = "tovix.sl2.i32.sound.main.volume"


def run_alone(state, *options):
    """What a `simset run` that is over soon says: exit status, the lines of standard output, standard error."""
    done = subprocess.run(
        [programs.find("simset"), "run", "--state", state, "--panel", "none", *options], capture_output=True, timeout=NEVER, text=True
    )
    return done.returncode, [json.loads(line) for line in done.stdout.splitlines()], done.stderr


class Rows(AtOnce):
    def test_a_request_its_calls_and_its_answer_are_in_one_order(self):
        with Set() as tv:
            tv.ctl("wait", f"who=line id={READY}", "--since", 0, "--timeout", NEVER)
            tv.line.connect()
            tv.line.ask(0x1274, b"ABC 1")
            rows = tv.trace()
            request = matching(rows, who="line", id=WRITE_SERIAL, to="set")[0]
            answer = matching(rows, who="line", id=WRITE_SERIAL, to="line")[0]
            self.assertEqual((request["role"], request["payload"], request["text"]), ("request", "4142432031", "ABC 1"))
            self.assertEqual((answer["role"], answer["payload"]), ("status", "00"))
            between = [row for row in rows if request["seq"] < row["seq"] < answer["seq"]]
            self.assertIn("sync", [row["who"] for row in between])
            self.assertIn("UartCommand Tas", [row.get("thread") for row in between])
            self.assertEqual(matching(rows, who="line", call="noise"), [])
            self.assertTrue(matching(rows, who="line", id=READY, role="ready", to="line"))

    def test_bytes_that_are_no_frame_are_noise(self):
        with Set() as tv:
            tv.line.connect()
            tv.line.send(b"\x79\x00\x12\x75\x00nonsense")
            row = json.loads(tv.text("wait", "who=line call=noise", "--since", 0, "--timeout", NEVER))
            self.assertEqual((row["bytes"], row["head"], row["to"]), (13, "7900127500", "set"))

    def test_shell_commands_have_an_end(self):
        with Set(app="/bin/sh", wait=True) as tv:
            tv.am("sh -c 'exit 3'; sh -c 'kill -9 $$'; echo status $?")
            tv.await_output("status 137")
            rows = tv.trace()
            self.assertEqual([row["command"] for row in matching(rows, who="shell")], ["exit 3", "kill -9 $$"])
            ends = matching(rows, who="shell-end")
            self.assertEqual([(row["command"], row["status"]) for row in ends], [("exit 3", 3), ("kill -9 $$", 137)])
            self.assertGreaterEqual(ends[0]["tookMs"], 0)

    def test_mounts_do_what_they_are_asked_for(self):
        with Set() as tv:
            tv.await_started()
            mounts = matching(tv.trace(), who="mount", call="mount")
            self.assertEqual({(row["status"], row["thread"]) for row in mounts}, {(0, "ZelFacTest_Eu4K")})
            self.assertIn("/zodata/critical", [row["target"] for row in mounts])

    def test_events_and_actions_of_ctl_are_told(self):
        with Set() as tv:
            tv.await_started()
            tv.ctl("model", "set", VOLUME, 12)
            tv.ctl("model", "get", VOLUME)
            self.assertNotEqual(tv.ctl("model", "set", VOLUME, "loud", check=False).returncode, 0)
            rows = matching(tv.trace(), who="ctl")
            self.assertEqual([(row["call"], row["words"]) for row in rows],
                             [("model", ["set", VOLUME, "12"]), *[("model", ["set", VOLUME, "loud"])] * 2])
            self.assertNotIn("error", rows[1])
            self.assertIn("32-bit integer", rows[2]["error"])
            preset = matching(tv.trace(), who="event", key="tovix.sl2.messages.messageid", value=338)
            self.assertEqual(preset[0]["call"], "value")

    def test_numbers_go_on_over_restarts_and_reboots(self):
        with Set() as tv:
            tv.reboot()
            tv.stop()
            tv.start()
            tv.await_started()
            first = tv.trace()[0]
            rows = tv.trace_file()
            self.assertEqual([row["seq"] for row in rows], list(range(1, len(rows) + 1)))
            power = [row["call"] for row in rows if row["who"] == "power"]
            self.assertEqual(power, ["on", "reboot", "on", "off", "on"])
            self.assertEqual(first["seq"], matching(rows, who="power", call="on")[2]["seq"])

    def test_key_bytes_are_in_no_row(self):
        secret = b"A key that nobody may read in the trace of a set, however it comes."
        with Set() as tv:
            tv.line.connect()
            key = tv.folder / "key"
            key.write_bytes(secret)
            tv.zelline("key", "send", "hdcp1", key)
            rows = matching(tv.trace(), who="line", chunks=2)
            self.assertEqual([(row["chunk"], row["bytes"]) for row in rows], [(0, 64), (1, len(secret) - 64)])
            text = (tv.state / "trace.jsonl").read_text()
            self.assertNotIn(secret[:12].hex(), text)
            self.assertNotIn(secret[:12].decode(), text)


class Waiting(AtOnce):
    def test_following_ends_with_the_set(self):
        with Set() as tv:
            follower = subprocess.Popen([programs.find("simset"), "ctl", "--state", tv.state, "trace", "--follow", "--match", "who=power"],
                                        stdout=subprocess.PIPE)
            self.assertEqual(json.loads(follower.stdout.readline())["call"], "on")
            tv.stop()
            self.assertEqual(json.loads(follower.stdout.readline())["ended"], "stopped")
            self.assertEqual(follower.stdout.read(), b"")
            self.assertEqual(follower.wait(NEVER), 0)
            follower.stdout.close()

    def test_waiting_ends_with_a_row_or_in_time(self):
        with Set() as tv:
            row = json.loads(tv.text("wait", "who=flash name=ZelFacMode", "--since", 0))
            self.assertEqual(row["value"], "1")
            late = tv.ctl("wait", "who=nobody", "--timeout", "0.2", check=False)
            self.assertEqual((late.returncode, late.stderr), (1, b"simset: no row matched who=nobody within 0.2 s\n"))


class Ends(AtOnce):
    def check(self, tv, reason, code, **more):
        """The last line, the last row and the exit status of a set that ends say the same."""
        self.assertEqual(tv.await_end(), code)
        said = {"ended": reason, "status": code, **more}
        self.assertEqual(tv.said[-1], said)
        row = matching(tv.trace_file(), who="power")[-1]
        self.assertEqual({name: row.get(name) for name in ("who", *said)}, {"who": "power", **said})

    @cases({"by_itself": ("exit 5", "application", 5, {}), "by_a_signal": ("kill -SEGV $$", "killed", 139, {"signal": "SEGV"})})
    def test_the_application_ended(self, how):
        line, reason, code, more = how
        with Set(app="/bin/sh") as tv:
            tv.am(line)
            self.check(tv, reason, code, **more)

    def test_it_was_stopped(self):
        with Set() as tv:
            os.kill(tv.process.pid, signal.SIGINT)
            self.check(tv, "stopped", 0)

    def test_the_power_was_cut(self):
        with Set() as tv:
            tv.power_cut()
            self.check(tv, "power-cut", 137)
            self.assertEqual(tv.trace_file()[-1]["call"], "cut")

    def test_the_set_was_killed(self):
        with Set() as tv:
            children = pathlib.Path(f"/proc/{tv.process.pid}/task/{tv.process.pid}/children").read_text().split()
            os.kill(int(children[-1]), signal.SIGKILL)
            self.check(tv, "set-lost", 137)
            self.assertIn("namespaces was killed", tv.errors())

    def test_the_reboot_failed(self):
        with Set(wait=False) as other:
            other.stop()
            application = other.folder / "application"
            application.write_bytes(pathlib.Path("/bin/sh").read_bytes())
            application.chmod(0o755)
            with Set(app=application) as tv:
                application.unlink()
                self.assertNotEqual(tv.ctl("reboot", check=False).returncode, 0)
                code = tv.await_end()
                self.check(tv, "reboot-failed", code)
                self.assertNotEqual(code, 0)

    def test_it_did_not_start(self):
        with Set() as tv:
            code, lines, said = run_alone(tv.state)
            self.assertEqual((code, lines), (2, [{"ended": "no-start", "status": 2}]))
            self.assertIn("in use", said)


if __name__ == "__main__":
    runner.main()

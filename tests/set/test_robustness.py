"""What is left behind when something ends the hard way, and what is said about it."""

import json
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest

import runner
from runner import AtOnce
from setlib import NEVER, Set, run
from zelfac import Line, programs, result, status


def processes_of(state):
    """Processes whose command line or environment names the state folder."""
    found = []
    for process in pathlib.Path("/proc").iterdir():
        if process.name.isdigit() and int(process.name) != os.getpid():
            for part in ("cmdline", "environ"):
                try:
                    if str(state).encode() in (process / part).read_bytes():
                        found.append(int(process.name))
                        break
                except OSError:
                    continue
    return found


def mounts_of(state):
    """Mounts of the machine that name the state folder."""
    return [line for line in pathlib.Path("/proc/self/mounts").read_text().splitlines() if str(state) in line]


def children(pid):
    try:
        return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def descendants(pid):
    every = []
    for child in children(pid):
        every += [child, *descendants(child)]
    return every


class Ends(AtOnce):
    def assert_nothing_left(self, tv, others):
        tv.await_true(lambda: not any(pathlib.Path(f"/proc/{pid}").exists() for pid in others), "all processes to end")
        self.assertEqual(processes_of(tv.state), [])
        self.assertEqual(mounts_of(tv.state), [])

    def end(self, act, expected):
        with Set() as tv:
            tv.line.connect()
            others = descendants(tv.process.pid)
            self.assertIn(tv.ready["pid"], others)
            act(tv)
            self.assertEqual(tv.await_end(), expected)
            self.assert_nothing_left(tv, others)
            # The state is usable at once.
            tv.stop()
            again = Set(state=tv.state)
            with again:
                again.line.connect()

    def test_interrupt(self):
        self.end(lambda tv: tv.process.send_signal(signal.SIGINT), 0)

    def test_terminate(self):
        self.end(lambda tv: tv.process.send_signal(signal.SIGTERM), 0)

    def test_kill_the_application(self):
        self.end(lambda tv: os.kill(tv.ready["pid"], signal.SIGKILL), 128 + signal.SIGKILL)

    def test_kill_simset(self):
        self.end(lambda tv: tv.process.kill(), -signal.SIGKILL)

    def test_power_cut(self):
        self.end(lambda tv: tv.power_cut(), 128 + signal.SIGKILL)


class State(AtOnce):
    def test_what_was_synced_survives_a_power_cut(self):
        with Set() as tv:
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1274, b"KEPT"), status(0x1274, 0))
            tv.await_started()
            tv.put(b"x", "/var/local/lost")
            tv.power_cut()
            tv.await_end()
            tv.stop()
            with Set(state=tv.state) as again:
                again.line.connect()
                self.assertEqual(again.line.ask(0x1275), result(0x1275, b"KEPT"))
                self.assertNotIn("lost", again.ls("/var/local"))

    def test_a_second_simset_on_the_same_state_is_refused(self):
        with Set() as tv:
            done = run("simset", "run", "--state", tv.state, "--panel", "none")
            self.assertEqual(done.returncode, 2)
            self.assertIn(str(tv.process.pid), done.stderr)
            tv.line.connect()

    def test_a_full_disk_is_named(self):
        """The state folder on a file system of 64 KiB, in a namespace of its own."""
        with tempfile.TemporaryDirectory() as folder:
            script = (
                f"mount -t tmpfs -o size=64k full {folder} && "
                f"exec {programs.find('simset')} run --state {folder}/state --panel none"
            )
            done = run("unshare", "--map-root-user", "--mount", "sh", "-c", script)
            self.assertNotIn(done.returncode, (0, 3), done.stderr)
            self.assertRegex(done.stderr.lower(), "full|no space")
            self.assertEqual(done.stdout, '{"ended":"no-start","status":4}\n')

    def test_unusable_arguments(self):
        for arguments in ("run", "run --state /proc/no/such", "run --state /tmp/x --mode 9", "fly"):
            done = run("simset", *arguments.split())
            self.assertEqual(done.returncode, 2, arguments)
            self.assertNotEqual(done.stderr, "")


class Ports(AtOnce):
    def test_a_taken_port_names_its_holder(self):
        with Set() as tv:
            tv.line.close()
            command = [programs.find("zelline"), "--port", tv.ready["line"], "listen"]
            listener = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            try:
                listener.stdout.read(1)  # a ready frame: the port is open
                done = tv.zelline("connect")
                self.assertEqual(done.returncode, 4)
                self.assertIn(str(listener.pid).encode(), done.stderr)
                self.assertIn(b"zelline", done.stderr)
            finally:
                listener.send_signal(signal.SIGINT)
                listener.communicate(timeout=NEVER)
            self.assertEqual(tv.zelline("connect").returncode, 0)

    def test_a_missing_port(self):
        done = run("zelline", "--port", "/dev/no-such-port", "connect")
        self.assertEqual(done.returncode, 4)
        self.assertIn("/dev/no-such-port", done.stderr)

    def test_a_port_that_is_lost(self):
        with Set() as tv:
            tv.line.close()
            waiting = subprocess.Popen(
                [programs.find("zelline"), "--port", tv.ready["line"], "--timeout", "20000", "listen"],
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
            )
            waiting.stdout.read(1)
            tv.process.kill()
            tv.process.wait()
            _, errors = waiting.communicate(timeout=NEVER)
            self.assertEqual(waiting.returncode, 4, errors)


class Locked(unittest.TestCase):
    def test_where_namespaces_are_not_allowed_the_setting_is_named(self):
        """A user namespace in which no further one may be made."""
        script = (
            "echo 0 > /proc/sys/user/max_user_namespaces; echo 0 > /proc/sys/user/max_mnt_namespaces; "
            'exec setpriv --bounding-set=-all --inh-caps=-all --ambient-caps=-all "$0" "$@"'
        )
        with tempfile.TemporaryDirectory() as folder:
            simset = [programs.find("simset"), "run", "--state", folder + "/s", "--panel", "none"]
            done = run("unshare", "--map-root-user", "sh", "-c", script, *simset)
            self.assertEqual(done.returncode, 3, done.stderr)
            self.assertRegex(done.stderr, "max_user_namespaces|unprivileged_userns_clone|seccomp|SYS_ADMIN")


class OrdinaryUser(unittest.TestCase):
    @unittest.skipUnless(os.getuid() == 0, "only root can become somebody else")
    def test_a_session(self):
        """The same set, run by a user without any privilege."""
        folder = tempfile.mkdtemp(prefix="zelfac-user.")
        os.chown(folder, 65534, 65534)
        try:
            user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
            process = subprocess.Popen(
                [*user, programs.find("simset"), "run", "--state", folder + "/state", "--panel", "none"],
                stdout=subprocess.PIPE,
                cwd="/",
                env={"PATH": os.environ["PATH"], "HOME": folder},
            )
            line = process.stdout.readline()
            self.assertTrue(line)
            end = Line(folder + "/state/line")
            end.connect()
            self.assertEqual(end.ask(0x1274, b"USER"), status(0x1274, 0))
            self.assertEqual(end.ask(0x1275), result(0x1275, b"USER"))
            end.close()
            process.terminate()
            self.assertEqual(process.wait(NEVER), 0)
            process.stdout.close()
            rows = [json.loads(row) for row in pathlib.Path(folder, "state/trace.jsonl").open("rb")]
            mounts = [row["status"] for row in rows if row["who"] == "shell-end" and row["command"].startswith("mount ")]
            self.assertTrue(mounts)
            self.assertEqual(set(mounts), {0})
        finally:
            subprocess.run(["rm", "-rf", folder], check=False)


if __name__ == "__main__":
    runner.main()

"""Station plans whose steps go out together: the verdicts, and what the set is left with, are those of one by one.

On a noisy line the faults are drawn anew for each run; the campaign draws more of them.
"""

import collections
import concurrent.futures
import json
import pathlib
import threading

import runner
from runner import AtOnce
from setlib import Set, campaign, seed

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLANS = sorted([*(ROOT / "docs/plans").glob("*.toml"), *(ROOT / "tests/set/plans").glob("*.toml")])
DAMAGES = 4  # of a noisy run, on average: bytes that are lost, or arrive with a bit of them changed
ROUNDS = 3 if campaign() else 1
STATE = [
    "tovix.sl2.i32.video.backlight",
    "tovix.sl2.i32.video.format",
    "tovix.sl2.i32.sound.main.volume",
    "tovix.sl2.system.ctrl.led.gpio",
    "tovix.sl2.action.system.gpio",
    "tovix.sl2.action.source.switch",
]


def quiet(tv):
    """The radios' searches have ended, and nothing that a plan asks about changes by itself."""
    tv.await_started()
    tv.await_output("pthread_exit ZelWifiScanThread")


def settled(value):
    """A model value without what counts how often it was changed."""
    return {name: part for name, part in value.items() if name != "count"} if isinstance(value, dict) else value


def passed(tv):
    """What went over the line until now, both ways: bytes that arrived, lost and damaged ones."""
    line = tv.line_settings()
    return collections.Counter(line["toSet"]) + collections.Counter(line["fromSet"])


class Plans(AtOnce):
    def outcomes(self, plan, *how, noise=0, seed=0):
        """The run's rows: what it says of each step and of all, what the set is left with, and the line's counters.

        noise: the probability, per byte, that it is lost or damaged.
        """
        with Set() as tv:
            quiet(tv)
            before = passed(tv)
            tv.disturb(drop=noise / 2, flip=noise / 2, seed=seed)
            done = tv.zelline("--json", "--retries", 8, "run", plan, *how, timeout=None)
            tv.disturb(drop=0, flip=0)
            line = passed(tv) - before
            said = [json.loads(line) for line in done.stdout.splitlines()]
            *steps, summary = [row for row in said if row["type"] in ("step", "summary")]
            state = {key: settled(tv.model.get(key)) for key in STATE}
            state |= {name: tv.flash.get(name) for name in ("macaddr", "FactoryOK")}
            return steps, summary, state | {"serial number": tv.cat("/var/local/ZelPcbSn")}, line

    def judged(self, steps, summary):
        return summary["verdict"], [(step["name"], step["outcome"], step["status"], step["value"]) for step in steps]

    @runner.cases({plan.stem: plan for plan in PLANS})
    def test_a_clean_line(self, plan):
        alone, alone_summary, left_alone, _ = self.outcomes(plan, "--one-by-one")
        steps, summary, left, _ = self.outcomes(plan)
        self.assertEqual(self.judged(steps, summary), self.judged(alone, alone_summary))
        self.assertEqual(left, left_alone)
        self.assertTrue(any(step["burst"] for step in steps))
        self.assertFalse(any(step["burst"] for step in alone))
        self.assertLess(summary["ms"], alone_summary["ms"])

    @runner.cases({plan.stem: plan for plan in PLANS})
    def test_a_noisy_line(self, plan):
        clean_steps, clean_summary, clean_left, line = self.outcomes(plan)
        noise = DAMAGES / line["delivered"]
        first = seed()
        runs = [(number, how) for number in range(first, first + ROUNDS) for how in ([], ["--one-by-one"])]
        damages = 0
        with concurrent.futures.ThreadPoolExecutor(len(runs)) as beside:
            noisy = beside.map(lambda run: self.outcomes(plan, *run[1], noise=noise, seed=run[0]), runs)
            for (number, how), (steps, summary, left, line) in zip(runs, noisy, strict=True):
                said = f"seed {number} {how}"
                self.assertEqual(self.judged(steps, summary), self.judged(clean_steps, clean_summary), said)
                self.assertEqual(left, clean_left, said)
                damages += line["dropped"] + line["flipped"]
        print(f"{damages} bytes lost or damaged in {len(runs)} runs")
        self.assertGreater(damages, 0)

    def test_a_step_behind_a_stop_is_not_carried_out(self):
        with Set() as tv:
            tv.await_started()
            plan = tv.folder / "stop.toml"
            plan.write_text(
                '[defaults]\non-failure = "continue"\n[[step]]\nrun = "volume 10"\n'
                '[[step]]\nrun = "version"\nexpect = { equals = "none" }\non-failure = "stop"\n'
                '[[step]]\nrun = "volume 30"\n[[step]]\nrun = "led red on"\n'
            )
            done = tv.zelline("--json", "run", plan)
            rows = [json.loads(line) for line in done.stdout.splitlines()]
            self.assertEqual([row["outcome"] for row in rows[:-1]], ["passed", "failed", "not run", "not run"])
            self.assertEqual(tv.model.get("tovix.sl2.i32.sound.main.volume"), 10)

    def test_a_set_that_restarts_within_a_burst_is_a_failed_unit(self):
        with Set(strict=False) as tv:
            quiet(tv)
            plan = tv.folder / "restart.toml"
            # Sources take 0.2 s each; the set is gone while they are asked.
            steps = "".join(f'[[step]]\nrun = "source HDMI{1 + i % 4}"\n' for i in range(30))
            plan.write_text('[defaults]\non-failure = "continue"\n[[step]]\nrun = "connect"\n' + steps)
            begin = tv.seq()

            def reboot():
                tv.wait("call=invoke key=tovix.sl2.action.source.switch", since=begin)
                tv.reboot()

            rebooting = threading.Thread(target=reboot)
            rebooting.start()
            done = tv.zelline("--json", "run", plan, timeout=None)
            rebooting.join()
            summary = json.loads(done.stdout.splitlines()[-1])
            self.assertEqual(summary["verdict"], "FAILED")
            failed = [json.loads(row) for row in done.stdout.splitlines() if b'"failed"' in row]
            self.assertIn("has restarted", " ".join(row.get("words", "") for row in failed))


if __name__ == "__main__":
    runner.main()

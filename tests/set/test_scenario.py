"""Scenarios: the examples of the manual, and what simset says of those that do not happen."""

import pathlib

import runner
from runner import AtOnce
from setlib import Set, run
from zelfac import frame, status

EXAMPLES = pathlib.Path(__file__).parents[2] / "docs/scenarios"
SET_VOLUME = 0x129F
WRITE_MAC = 0x1278
WRITE_SERIAL = 0x1274
VOLUME = "tovix.sl2.i32.sound.main.volume"
NOT_HAPPENED = 8
USAGE = 2


class ScenarioSet(Set):
    """A set with a scenario: one of the examples, or a text."""

    def __init__(self, scenario, **more):
        super().__init__(**more)
        file = EXAMPLES / scenario
        if "\n" in scenario:
            file = self.folder / "scenario.toml"
            file.write_text(scenario)
        self.options += ["--scenario", str(file)]

    def triggers(self):
        """The lines of the scenario that were set off, in order."""
        return [row["line"] for row in self.trace(who="scenario", call="trigger")]


class Verbs(AtOnce):
    def test_what_the_board_does_fails(self):
        with ScenarioSet(BOARD_FAILS) as tv:
            tv.await_started()
            tv.line.connect()
            self.assertEqual(tv.line.ask(WRITE_SERIAL, b"LOST"), status(WRITE_SERIAL, 0))
            self.assertEqual(tv.triggers(), [2])
            faults = [tv.value(area, "fail")[0] for area in ("sync", "shell", "mount")]
            self.assertEqual([(fault["name"], fault["status"]) for fault in faults],
                             [("*", 7), ("cat *", 3), ("/config", 30)])
            self.assertTrue(tv.trace(who="sync", fault=7))


class Examples(AtOnce):
    def test_every_example_is_tried(self):
        tried = {"volume-fails-once.toml", "power-fails-at-the-address.toml", "bad-cable.toml"}
        self.assertEqual({file.name for file in EXAMPLES.iterdir()}, tried)

    def test_volume_fails_once(self):
        with ScenarioSet("volume-fails-once.toml") as tv:
            tv.line.connect()
            tv.await_started()
            for volume in (10, 20, 30):
                tv.line.ask(SET_VOLUME, bytes([volume]))
            rows = tv.trace(who="model", call="set", key=VOLUME)[-3:]
            self.assertEqual([(row["value"], row["status"]) for row in rows], [(10, 0), (20, 5), (30, 0)])
            self.assertEqual(tv.model.get(VOLUME), 30)
            self.assertEqual(tv.triggers(), [4])
            self.assertEqual(tv.stop(), 0)

    def test_power_fails_at_the_address(self):
        address = b"00:11:22:33:44:55"
        with ScenarioSet("power-fails-at-the-address.toml") as tv:
            tv.line.connect()
            tv.line.send(frame(WRITE_MAC, address))
            self.assertEqual(tv.await_end(), 137)
            rows = tv.trace_file()
            self.assertEqual([row["line"] for row in rows if row.get("call") == "trigger"], [4])
            self.assertIn(("macaddr", address.decode()), [(row.get("name"), row.get("value")) for row in rows])
            self.assertNotIn(address.decode(), [row.get("value") for row in rows if row["who"] == "meta"])

    def test_bad_cable(self):
        with ScenarioSet("bad-cable.toml") as tv:
            tv.ctl("wait", "who=scenario call=trigger line=13", "--since", 0, "--timeout", 60)
            settings = tv.line_settings()
            self.assertEqual((settings["flip"], settings["plugged"], settings["seed"]), (0, True, 20))
            self.assertEqual(tv.behaviours()["wired"], "on")
            self.assertEqual(tv.triggers(), [5, 9, 13])
            self.assertEqual(tv.stop(), 0)


BOARD_FAILS = """
[[when]]
match = "who=shell command=*/var/local/ZelPcbSn*"
do = ["sync fail 7", 'shell fail "cat *" 3', "mount fail /config 30"]
"""

NEVER_COMES = """
[[when]]
match = "who=model call=never"
do = "behave wired off"
"""
REFUSED = """
[[when]]
after = 0
do = "model set tovix.sl2.i32.sound.main.volume loud"
"""
GOES_WRONG_LATER = f"""
[[when]]
match = "who=shell"
do = "reboot"

[[when]]
match = "who=scenario"
optional = true
do = "behave wired off"
"""
MISTAKEN = """
[[when]]
match = "who=model"
often = true
do = "volume up"
"""


class Outcome(AtOnce):
    def test_what_never_came_is_named(self):
        with ScenarioSet(NEVER_COMES) as tv:
            self.assertEqual(tv.stop(), NOT_HAPPENED)
            self.assertIn("scenario.toml:2: never came: who=model call=never\n", tv.errors())

    def test_a_refused_verb_is_named(self):
        with ScenarioSet(REFUSED) as tv:
            tv.ctl("wait", "who=scenario call=failed", "--since", 0, "--timeout", 60)
            self.assertEqual(tv.stop(), NOT_HAPPENED)
            self.assertIn(f"scenario.toml:2: model set {VOLUME} loud: ", tv.errors())

    def test_a_reboot_once_and_no_row_of_its_own(self):
        with ScenarioSet(GOES_WRONG_LATER) as tv:
            tv.ctl("wait", "who=scenario call=trigger", "--since", 0, "--timeout", 60)
            tv.await_true(lambda: len(tv.trace(who="apm", call="registerApp")) == 2, "the second power-on")
            self.assertEqual(tv.behaviours()["wired"], "on")
            self.assertEqual(tv.triggers(), [2])
            self.assertEqual(tv.stop(), 0)

    def test_a_mistake_is_refused_before_the_start(self):
        with ScenarioSet(MISTAKEN, wait=False) as tv:
            self.assertEqual(tv.await_end(), USAGE)
            self.assertEqual(
                [line.rpartition("scenario.toml:")[2] for line in tv.errors().splitlines()],
                ["4: 'often' is unknown in a [[when]]; there are match, after, do, nth, times, chance, delay, optional",
                 "5: there is no verb \"volume\"; did you mean " + tv.errors().rpartition("did you mean ")[2].rstrip("\n")],
            )
            self.assertFalse(tv.state.exists())

    def test_a_file_that_is_not_there(self):
        done = run("simset", "run", "--state", "/tmp/zelfac-none", "--scenario", "/nowhere.toml")
        self.assertEqual(done.returncode, USAGE)
        self.assertIn("/nowhere.toml", done.stderr)


if __name__ == "__main__":
    runner.main()

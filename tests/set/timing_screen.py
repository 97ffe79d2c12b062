"""When the panel changes: held against the clock, while no other set runs."""

import re
import statistics
import time

import runner
from panel import BLACK, MANAGER_TEXT, WHITE, PanelSet, PanelTest, type_key
from png import Picture
from zelfac import status

AGING = [(0, 0, 0), (0, 0, 255), (0, 255, 0), (255, 0, 0), (255, 250, 250)]
BEAT = 2


class Screen(PanelTest):
    def test_after_a_key_in_the_window(self):
        """An input event ends the wait behind a redraw: the next look is 10 s later, not 30."""
        with PanelSet(panel="640x360") as tv:
            tv.await_started()
            tv.line.connect()
            height = self.check_height(tv)
            empty = {row: tv.picture().text_box(row * height, (row + 1) * height) for row in (1, 2)}

            def changed(row):
                return tv.picture().text_box(row * height, (row + 1) * height) != empty[row]

            self.assertGreater(type_key(tv.display(), 36), 0)
            self.assertEqual(tv.line.ask(0x1274, b"PCB-0123456789"), status(0x1274, 0))
            tv.await_true(lambda: changed(1), "the serial number")
            drawn = time.monotonic()
            self.assertFalse(changed(2))
            self.assertEqual(tv.line.ask(0x1298, b"PASS 1"), status(0x1298, 0))
            tv.await_true(lambda: changed(2), "the test result")
            self.assertLess(time.monotonic() - drawn, 20)

    def test_aging_changes_its_colour_every_two_seconds(self):
        with PanelSet(mode="2", panel="1920x1080") as tv:
            line = "[APP-DEMO][2][onPause]s_ack:a1,s_name:world,s_comment:NULL"
            beats = [tv.await_beat(1)]
            told = r"layer_config.width:1920 layer_config.height:1080 fontheight:(\d+)"
            height = int(re.search(told, tv.output())[1])
            shots = {}
            while len(shots) < len(AGING) or len(beats) <= 2 * len(AGING):
                time.sleep(0.3)  # until the colour has reached the panel
                path = tv.screenshot(tv.folder / f"aging-{len(beats)}.png")
                if time.monotonic() - beats[-1] < BEAT - 0.2:  # else the next beat may be on it
                    shots[(len(beats) - 1) % len(AGING)] = path
                beats.append(tv.await_beat(len(beats) + 1))
            gaps = [later - earlier for earlier, later in zip(beats, beats[1:])]
            self.assertAlmostEqual(statistics.median(gaps), BEAT, delta=0.15)
            counts = re.findall(r"ZelGetFacAutoTestBurn u32Count:(\d) \n", tv.output())
            self.assertEqual([int(count) for count in counts[: len(beats)]], [n % 5 for n in range(len(beats))])

            while True:
                beat = tv.await_beat(tv.output().count("u32Count:") + 1)
                # A line of the manager's: over white, until the next beat.
                heard = tv.output().count(line)
                tv.am(":am,ui,a1:pause=world")
                tv.await_output(line, heard + 1)
                tv.screenshot(tv.folder / "line.png")
                if time.monotonic() - beat < BEAT - 0.2:
                    break
            tv.await_beat(tv.output().count("u32Count:") + 1)
            time.sleep(0.3)  # as above
            tv.screenshot(tv.folder / "after.png")

            # What was seen, looked at when nothing is in a hurry any more.
            for number, path in shots.items():
                picture = Picture(path)
                self.assertEqual({bytes(row) for row in picture.rows}, {bytes(picture.rows[0])})
                self.assertEqual(set(picture.colours(0, 1)), {AGING[number]})
            picture = Picture(tv.folder / "line.png")
            self.assertEqual(set(picture.colours(0, 5 * height)), {WHITE})
            self.assertEqual(set(picture.colours(6 * height, picture.height)), {WHITE})
            self.check_row(picture, height, 5, line, MANAGER_TEXT, 0, WHITE)
            self.assertIn(Picture(tv.folder / "after.png").pixel(0, 5 * height), AGING)

    def test_without_a_mode(self):
        """Black for the three seconds before the application ends."""
        with PanelSet(mode="none", panel="1280x720") as tv:
            tv.await_output("am client thread start")
            time.sleep(1)  # in the middle of them
            self.assertEqual(set(tv.picture().colours(0, 720)), {BLACK})


if __name__ == "__main__":
    runner.main()

"""The operator's page of a station in Chromium: scans, passes, fails, questions answered, a lost port, a reload, ten slots, who may use it."""

import contextlib
import http.client
import json
import os
import pathlib
import signal
import tempfile
import unittest
import urllib.parse

import runner
import setlib
from browser import Browser
from pgserver import Server
from quickset import QuickSet
from setlib import NEVER
from stationlib import PLAN, LineSet, Station, two_sets

CARD = "[data-slot='{}']"
SLOW = PLAN.replace('run = "led red on"', 'run = "led red on"\nwait = 3600000')

ASKS = """
[[step]]
run = "ask Which label?"
save = "label"
[[step]]
run = "await key MENU"
[[step]]
run = "confirm Is ${label} fine?"
[[step]]
run = "ask Anything else?"
expect = { equals = "nothing" }
[[step]]
name = "The last"
run = "confirm Well?"
"""


CHINESE = """
[[step]]
name = "标签"
run = "ask 标签上的号码是多少？"
expect = { equals = "7" }
until = 3600000
[[step]]
name = "按键"
run = "await key MENU"
[[step]]
name = "画面"
run = "confirm 画面是否清晰、没有条纹？"
"""

FROM_STOCK = """
[[step]]
run = "mac write @stock"
"""


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def open(self, station):
        self.browser.complaints()  # those of the test before
        self.browser.open(station.url)

    def picture(self, name):
        if folder := os.environ.get("ZELFAC_PICTURES"):
            self.browser.picture(pathlib.Path(folder) / f"{name}.png")

    def card(self, slot, *parts):
        """Waits until a slot's card shows all the parts."""
        for part in parts:
            self.browser.wait_text(CARD.format(slot), part)

    def scan(self, text):
        """As a scanner does it: letters and Enter, to whatever has the focus."""
        self.browser.keys(text + "\n")

    def tearDown(self):
        self.picture(self.id().split(".")[-1])
        self.browser.open("about:blank")

    def test_one_passes_and_one_fails(self):
        with two_sets() as (first, second):
            second.model.fail("tovix.sl2.system.ctrl.led.gpio", "connect", 7)
            with Station({"A": first.place, "B": second.place}, more='store = "line.db"', page='language = "en"') as station:
                self.open(station)
                self.card("A", "Ready", "Scan the next set")
                self.scan("AB0001")
                self.browser.wait_text("#reply", "AB0001: which slot?")
                self.scan("A")
                self.browser.wait_text("#reply", "Slot A has AB0001")
                self.scan("AB0002")
                self.card("A", "PASS", "AB0001")
                self.card("B", "FAIL", "AB0002", "Step: Lamp", "did not pass this step")
                self.browser.wait_text("#yield", "1 of 2 passed, 50 % at once")
                # The letters fill the slot, and lie inside it.
                share = self.browser.run("""
                    const card = arguments[0] && document.querySelector(arguments[0]);
                    const range = document.createRange();
                    range.selectNodeContents(card.querySelector('.big'));
                    const words = range.getBoundingClientRect(), whole = card.getBoundingClientRect();
                    return [words.left >= whole.left && words.right <= whole.right && words.top >= whole.top && words.bottom <= whole.bottom,
                            words.width / whole.width]""", CARD.format("A"))
                self.assertTrue(share[0])
                self.assertGreater(share[1], 0.85)
                # It stays until the next scan for that slot.
                self.browser.reload()
                self.card("A", "PASS", "AB0001")
                self.card("B", "FAIL", "AB0002", "Step: Lamp")
                self.picture("fail")
                self.browser.click("#language")
                self.card("A", "合格")
                self.card("B", "不合格", "步骤：Lamp")
                self.picture("chinese")
                self.browser.click("#language")
                self.assertEqual(self.browser.complaints(), [])

    def test_the_field_has_the_focus(self):
        """Whatever was clicked or tabbed to, what a scanner types arrives."""
        with Station({"A": 'port = "nowhere"', "B": 'port = "elsewhere"'}, page="") as station:
            self.open(station)
            self.card("A", "No cable")
            self.scan("nonsense")
            self.browser.wait_text("#reply", "nonsense is no serial number")
            self.browser.click(CARD.format("B"))
            self.scan("B")
            self.browser.wait_text("#reply", "Slot B: scan the set")
            self.browser.run("document.getElementById('language').focus()")
            self.scan("AB0002")
            self.card("B", "Waiting for the cable", "AB0002")
            # By keys alone: to the slot's button, twice Enter.
            self.browser.run("document.getElementById('field').focus()")
            self.browser.keys("\ue004")
            self.assertEqual(self.browser.run("return document.activeElement.closest('.slot')?.dataset.slot"), "B")
            self.browser.keys("\n")
            self.card("B", "Press again")
            self.browser.keys("\n")
            self.card("B", "STOPPED", "AB0002")
            self.scan("AB0003")
            self.browser.wait_text("#reply", "AB0003: which slot?")
            self.browser.click("#language")
            self.browser.wait_text("#reply", "AB0003：哪个工位？")
            self.browser.click("#language")
            self.browser.keys("\ue00c")
            self.browser.wait("return document.getElementById('reply').textContent === ''")
            self.scan("A")
            self.browser.wait_text("#reply", "Slot A: scan the set")
            self.assertEqual(self.browser.complaints(), [])

    def test_a_reload_in_the_middle_and_a_lost_port(self):
        with tempfile.TemporaryDirectory(prefix="zelfac-station.") as folder:
            link = pathlib.Path(folder) / "port"
            with Station({"A": f'port = "{link}"'}, plan=SLOW, page="") as station:
                self.open(station)
                self.card("A", "No cable")
                with LineSet() as tv:
                    link.symlink_to(pathlib.Path(tv.state) / "line")
                    self.card("A", "Ready")
                    self.scan("AB0001")
                    self.card("A", "Testing", "Step 3 of 4: Lamp")
                    self.browser.reload()
                    self.card("A", "Testing", "AB0001", "Step 3 of 4: Lamp")
                    self.picture("running")
                self.card("A", "FAIL", "The connection was lost", "AB0001")

    def test_a_question_and_a_key(self):
        with LineSet() as tv, Station({"A": tv.place, "B": 'port = "nowhere"'}, plan=ASKS, page="") as station:
            self.open(station)
            self.card("A", "Ready")
            self.scan("A")
            self.browser.wait_text("#reply", "Slot A: scan the set")
            self.scan("AB0001")
            self.card("A", "Question", "Which label?")
            # By the scanner's field.
            self.scan("X 7")
            self.card("A", "Press MENU", "Does not react")
            self.picture("key")
            tv.press(164)
            self.card("A", "Question", "Is X 7 fine?", "Yes", "No")
            self.browser.reload()
            self.card("A", "Is X 7 fine?", "Yes")
            # By keys alone: past the button that stops to Yes.
            self.browser.keys("\ue004")
            self.browser.keys("\ue004")
            self.assertEqual(self.browser.run("return document.activeElement.value"), "yes")
            self.browser.keys("\n")
            self.card("A", "Question", "Anything else?")
            # In the slot's own field, which keeps what is typed into it.
            self.browser.click(CARD.format("A") + " .answer")
            self.browser.keys("nothing")
            self.assertEqual(self.browser.run("return document.getElementById('field').value"), "")
            self.browser.keys("\n")
            self.card("A", "Question", "Well?")
            self.picture("confirm")
            self.browser.click(CARD.format("A") + " .no")
            self.card("A", "FAIL", "Step: The last", "the operator said no")
            self.assertEqual(self.browser.run("return document.querySelectorAll('.ask > *').length"), 0)
            self.assertEqual(self.browser.complaints(), [])

    def test_all_that_an_operator_reads_is_in_the_language_of_the_page(self):
        detail = "工程师信息："
        with LineSet() as tv, Station({"A": tv.place}, plan=CHINESE, page='language = "zh"') as station:
            self.open(station)
            self.card("A", "就绪")
            self.scan("AB0001")
            self.card("A", "请回答", "标签上的号码是多少？")
            self.scan("8")
            self.card("A", "“8” 不符合要求")
            self.picture("zh-again")
            self.scan("7")
            self.card("A", "请按 MENU")
            self.scan("yes")
            self.card("A", "请按电视机的 MENU 键")
            self.picture("zh-key")
            tv.press(164)
            self.card("A", "画面是否清晰")
            self.scan("maybe")
            self.card("A", "“maybe” 既不是“是”，也不是“否”。")
            self.picture("zh-confirm")
            self.assertNotIn("neither", self.browser.text(CARD.format("A")))
            self.scan("否")
            self.card("A", "不合格", "步骤：画面。此回答不符合要求", detail + "the operator said no")
            self.picture("zh-fail")
            (station.folder / "plan.toml").write_text(SLOW)
            self.scan("AB0002")
            self.card("A", "测试中", "步骤 3 / 4：Lamp")
            self.picture("zh-running")
        with Station({"A": 'port = "nowhere"'}, page='language = "zh"') as station:
            self.open(station)
            self.card("A", "未接线", detail)
            self.picture("zh-lost")

    def test_the_server_is_away(self):
        """The page says that the slots work on, and with how much."""
        with Server() as server, contextlib.closing(QuickSet(lambda _: None)) as tv:
            added = setlib.run("zelline", "--store", server.url, "stock", "add", "mac", "00:00:00:00:01:01", "00:00:00:00:01:28")
            self.assertEqual(added.returncode, 0, added.stderr)
            with Station({"A": f'port = "{tv.path}"'}, plan=FROM_STOCK, more=f'store = "{server.url}"', page="") as station:
                self.open(station)
                self.browser.wait_text("#stock", "Left: mac 40")
                self.scan("AB0001")
                self.card("A", "PASS", "AB0001")
                self.browser.wait_text("#stock", "Left: mac 39")
                server.stop()
                self.scan("AB0002")
                self.card("A", "PASS", "AB0002")
                self.browser.wait_text("#stock", "The server cannot be reached. The slots work on")
                self.browser.wait_text("#stock", "Left: mac 18 ⚠")
                self.browser.wait_text("#yield", "2 of 2 passed")
                self.picture("away")
                self.browser.click("#language")
                self.browser.wait_text("#stock", "无法连接服务器。各工位用本站现有的继续测试。 剩余：mac 18 ⚠")
                self.picture("zh-away")
                server.start()
                self.scan("AB0003")
                self.card("A", "合格", "AB0003")
                self.browser.wait_text("#stock", "剩余：mac 37")
                self.assertNotIn("服务器", self.browser.text("#stock"))
                self.browser.click("#language")

    def test_a_station_that_is_ended_at_work(self):
        """The page has the verdict, and says that the station has gone."""
        with LineSet() as tv, Station({"A": tv.place}, plan=SLOW, page="") as station:
            self.open(station)
            self.card("A", "Ready")
            self.scan("AB0001")
            self.card("A", "Testing", "Step 3 of 4: Lamp")
            self.assertEqual(station.end(signal.SIGHUP), 0)
            self.browser.wait_text("#gone", "No connection to the station")
            self.card("A", "STOPPED", "AB0001", "stopped before its end")

    def test_a_station_that_goes(self):
        with Station({"A": 'port = "nowhere"'}, page="") as station:
            self.open(station)
            self.card("A", "No cable")
            self.assertEqual(station.end(), 0)
            self.browser.wait_text("#gone", "No connection to the station")

    def test_ten_slots(self):
        names = [f"P{number}" for number in range(10)]
        with Station({name: f'port = "{name}.tty"' for name in names}, page='language = "zh"') as station:
            self.open(station)
            for number, name in enumerate(names):
                self.card(name, "未接线")
                self.scan(name)
                self.scan(f"AB{number:04}")
                self.card(name, "等待线缆", f"AB{number:04}")
            outside = """
                const gone = document.getElementById('gone'), end = gone.hidden ? innerHeight : gone.getBoundingClientRect().top;
                return [...document.querySelectorAll('.slot')].filter((card) => {
                  const place = card.getBoundingClientRect();
                  return place.bottom > end || place.right > innerWidth || place.height < 100;
                }).length"""
            self.assertEqual(self.browser.run(outside), 0)
            self.assertEqual(self.browser.complaints(), [])
            self.assertEqual(station.end(), 0)
            self.browser.wait_text("#gone", "与工作站的连接已断开")
            self.assertEqual(self.browser.run(outside), 0, "what is said then covers no slot")

    def test_a_question_can_be_read_on_every_screen(self):
        names = [f"P{number}" for number in range(10)]
        plan = '[[step]]\nrun = "confirm Is the picture free of lines, spots and stripes?"\n'
        self.addCleanup(self.browser.screen, 0, 0)
        with LineSet() as tv:
            places = {name: tv.place if name == "P0" else f'port = "{name}.tty"' for name in names}
            with Station(places, plan=plan, page='language = "en"') as station:
                self.open(station)
                self.scan("P0")
                self.scan("AB0001")
                self.card("P0", "Is the picture free")
                self.scan("P0")
                self.scan("perhaps")
                self.card("P0", "neither yes nor no")
                for width, height, zoom in ((1024, 600, 1), (1024, 600, 1.5), (1280, 720, 1), (1920, 1080, 1), (1920, 1080, 1.5)):
                    with self.subTest(width=width, height=height, zoom=zoom):
                        self.browser.screen(width, height, zoom)
                        self.picture(f"question-{width}-{zoom}")
                        # Neither cut off by its own box or by the slot, nor over another part of the slot.
                        hidden = self.browser.run("""
                            const card = document.querySelector(arguments[0]);
                            const parts = ['.head', '.big', '.reason', '.words', '.ask', '.bar'].map((name) => card.querySelector(name));
                            const shown = parts.filter((part) => part && part.getClientRects().length && part.textContent !== '');
                            const box = (part) => { const range = document.createRange(); range.selectNodeContents(part); return range.getBoundingClientRect(); };
                            const wrong = card.querySelector('.said').scrollHeight > card.querySelector('.said').clientHeight + 1 ? ['said'] : [];
                            shown.forEach((part, i) => {
                              if (box(part).bottom > card.getBoundingClientRect().bottom + 1) wrong.push(part.className);
                              if (i > 0 && box(part).top < box(shown[i - 1]).bottom - 2) wrong.push(shown[i - 1].className + ' over ' + part.className);
                            });
                            return wrong;""", CARD.format("P0"))
                        self.assertEqual(hidden, [])

    def test_what_is_scanned_is_text(self):
        with Station({"A": 'port = "nowhere"'}, page="") as station:
            self.open(station)
            self.card("A", "No cable")
            self.scan("<img src=x onerror=window.hostile=1>")
            self.browser.wait_text("#reply", "<img src=x")
            self.assertIsNone(self.browser.run("return window.hostile ?? null"))


class Gate(unittest.TestCase):
    def ask(self, url, path, method="GET", body=None, **headers):
        place = urllib.parse.urlsplit(url)
        link = http.client.HTTPConnection(place.hostname, place.port, timeout=NEVER)
        try:
            link.request(method, path, body, headers)
            answer = link.getresponse()
            return answer.status if path.startswith("/events") else (answer.status, answer.read())[0]
        finally:
            link.close()

    def test_who_may_use_it(self):
        own = {"Content-Type": "application/json"}
        scan = json.dumps({"text": "AB0001"})
        token = "a-token-of-the-file"
        with Station({"A": 'port = "nowhere"', "B": 'port = "else"'}, page=f'token = "{token}"') as station:
            self.assertTrue(station.url.startswith("http://127.0.0.1:"))
            self.assertTrue(station.url.endswith(f"/?token={token}"))

            def ask(path="/scan", method="POST", body=scan, **headers):
                return self.ask(station.url, path, method, body, **headers)

            known = {"X-Zelline-Token": token}
            self.assertEqual(ask(**own), 403)
            self.assertEqual(ask(**own, **{"X-Zelline-Token": token[:-1] + "x"}), 403)
            self.assertEqual(ask(f"/scan?token={token}", **own), 403, "what acts has it in a header")
            self.assertEqual(ask("/events", "GET"), 403)
            self.assertEqual(ask(f"/events?token={token}", "GET"), 200)
            self.assertEqual(ask("/", "GET"), 200)
            self.assertEqual(ask(**known), 415)
            self.assertEqual(ask(**own, **known, Host="rebound.example"), 421)
            self.assertEqual(ask("/", "GET", Host="rebound.example"), 421)
            self.assertEqual(ask(**own, **known, Origin="http://rebound.example"), 403)
            self.assertEqual(ask(**own, **known, **{"Sec-Fetch-Site": "cross-site"}), 403)
            self.assertEqual(ask(**own, **known, body="x" * 5000), 413)
            self.assertEqual(ask(**own, **known, body="[1]"), 200)
            self.assertEqual([row for row in station.rows if row.get("unit") == "AB0001"], [])
            self.assertEqual(ask(**own, **known), 200)
            station.wait(type="station", unit="AB0001")

    def test_an_address_that_is_taken(self):
        with Station({"A": 'port = "nowhere"'}, page="") as station:
            place = urllib.parse.urlsplit(station.url).netloc
            other = Station({"A": 'port = "else"'}, page=f'address = "{place}"')
            with self.assertRaisesRegex(AssertionError, "another program has it"):
                other.__enter__()
            other.__exit__()


if __name__ == "__main__":
    runner.main()

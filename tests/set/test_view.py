"""The page of `simset run --view` in Chromium: a session followed, a broken rule found, buttons pressed."""

import http.server
import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import threading
import time
import unittest
import urllib.error
import urllib.request

import runner
from browser import Browser
from setlib import NEVER, Set, run
from zelfac import status

TOKEN = "t0ken"
ROWS = "return [...document.querySelectorAll('#rows-seen .item')].map((item) => item.innerText.replaceAll('\\n', ' '))"
HOSTILE = "<img src=x onerror=\"window.hostile=1\"><script>window.hostile=2</script>"


class ViewSet(Set):
    """A set with a page in the browser."""

    def __init__(self, *options, token=TOKEN, address=None, **more):
        view = ["--view", *([address] if address else []), "--view-token", token]
        super().__init__(*view, *options, panel="640x360", **more)

    @property
    def url(self):
        return self.ready["view"]

    def report(self, *rows):
        """Puts rows into the trace, as the set's own programs do."""
        with socket.socket(socket.AF_UNIX) as report:
            # By descriptor, since a socket's address has no room for a long path.
            folder = os.open(self.state, os.O_RDONLY)
            try:
                report.connect(f"/proc/self/fd/{folder}/middleware")
            finally:
                os.close(folder)
            lines = "".join(json.dumps({"op": "trace", "row": row}) + "\n" for row in rows).encode()
            sender = threading.Thread(target=report.sendall, args=(lines,))
            sender.start()
            answers = 0
            while answers < len(rows):
                answers += report.recv(1 << 16).count(b"\n")
            sender.join()


def violation(**more):
    return {"who": "violation", "rule": "known-pins", "call": "invoke", "expected": "a pin of the board", **more}


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def open(self, tv):
        self.browser.complaints()  # those of the test before
        self.browser.open(tv.url)
        self.browser.wait_text("#link", "live")

    def tearDown(self):
        if folder := os.environ.get("ZELFAC_PICTURES"):
            self.browser.picture(pathlib.Path(folder) / f"{self.id().split('.')[-1]}.png")
        self.browser.open("about:blank")

    def rows(self):
        return self.browser.run(ROWS)

    def wait_row(self, *parts):
        """Waits until a row that can be seen has all the parts, and returns its text."""
        return self.browser.wait(ROWS + ".find((text) => arguments[0].every((part) => text.includes(part)))", parts,
                                 what=f"a row with {parts}")

    def filter(self, text):
        self.browser.run("const field = document.getElementById('filter'); field.value = arguments[0];"
                         "field.dispatchEvent(new Event('input', { bubbles: true }))", text)

    def test_a_session_from_connect_to_finish(self):
        """Each request stands with its calls and its answer; a reload in the middle loses nothing."""
        browser = self.browser
        with ViewSet() as tv:
            self.open(tv)
            tv.await_started()
            tv.line.connect()
            self.wait_row("0x1273", "connect", "success")
            self.assertEqual(tv.line.ask(0x129F, bytes([20])), status(0x129F, 0))
            self.wait_row("0x129F", "set main volume 20", "success", "calls")
            browser.wait_text("#values", "20")
            browser.reload()
            browser.wait_text("#link", "live")
            self.assertEqual(tv.line.ask(0x12A0, b"RED_ON"), status(0x12A0, 0))
            self.wait_row("0x12A0", "LED colour", '"RED_ON"', "success")
            browser.wait_text("#values", "red")
            self.assertEqual(tv.line.ask(0x129A), status(0x129A, 0))
            self.wait_row("0x129A", "factory finish", "success")
            browser.wait_text("#values", "Finished\tyes")

            # Requests and answers alone, in order, those from before the reload too.
            browser.click("#fold-all")
            self.filter("who=line role=request")
            wanted = ["connect", "set main volume 20", "LED colour", "factory finish"]
            texts = browser.wait("const groups = [...document.querySelectorAll('.item.group')].map((item) => item.innerText);"
                                 "return groups.every((text) => text.includes('0x12')) && groups.length >= 4 && groups")
            for text, words in zip(texts, wanted, strict=True):
                self.assertIn(words, text)
                self.assertIn("success", text)

            # The calls that a request caused, between it and its answer.
            self.filter("sound.main.volume")
            browser.click("#unfold-all")
            self.wait_row("model", "set", "sound.main.volume", "20")
            browser.click("//*[@class='text'][contains(., 'sound.main.volume ← 20')]")
            self.assertIn('"key": "tovix.sl2.i32.sound.main.volume"', browser.text("#details-text"))
            browser.wait("return !document.getElementById('picture').hidden", what="the panel's picture")
            self.assertEqual(browser.run("return document.getElementById('picture').naturalWidth"), 640)
            self.assertEqual(browser.complaints(), [])

    def test_a_broken_rule_is_seen_and_one_click_away(self):
        browser = self.browser
        with ViewSet(strict=False) as tv:
            self.open(tv)
            tv.await_started()
            self.assertEqual(browser.text("#violations"), "no violation")
            tv.report(violation(value="banana"), *({"who": "csp", "call": f"filler-{i}"} for i in range(500)),
                      violation(value="apple"))
            browser.wait_text("#violations", "✖ 2 violations")
            red = browser.run("return getComputedStyle(document.getElementById('violations')).backgroundColor")
            self.assertEqual(red, "rgb(179, 0, 27)")
            for wanted in ("banana", "apple", "banana"):  # round and round
                browser.click("#violations")
                browser.wait_text("#details-text", wanted)
                self.wait_row("✖ known-pins:", "expected a pin of the board", "VIOLATION")
            color = browser.run("return getComputedStyle(document.querySelector('.row.violation .text')).color")
            self.assertEqual(color, "rgb(179, 0, 27)")
            browser.type("#rows", "v")
            browser.wait_text("#details-text", "apple")
            browser.click("#only-bad")
            browser.wait(ROWS + ".filter((text) => text.includes('VIOLATION')).length === 2")
            self.assertFalse([text for text in self.rows() if "filler" in text])

    def test_filters(self):
        browser = self.browser
        with ViewSet() as tv:
            self.open(tv)
            tv.await_started()
            tv.report({"who": "shell", "command": "mount of mine"}, {"who": "csp", "call": "mount"})
            self.wait_row("mount of mine")
            browser.type("#filter", "who=shell mount*")
            browser.wait(ROWS + ".length === 0", what="no rows, as a word is no pattern")
            browser.type("#filter", "Escape")
            browser.type("#filter", 'who=sh* "mount of"')
            self.wait_row("mount of mine")
            self.assertEqual(browser.run("return document.querySelectorAll('.item.row').length"), 1)
            browser.type("#filter", "Escape")
            browser.wait(ROWS + ".length > 10")
            browser.click("[data-who=shell]")
            browser.wait("return ![...document.querySelectorAll('.who')].some((who) => who.textContent === 'shell')")
            browser.click("[data-who=shell]")
            self.filter("who=model call=root")
            browser.wait(ROWS + ".length === 0", what="no rows")
            browser.click("#show-way")
            self.wait_row("model", "root")
            self.filter("")
            self.assertEqual(browser.complaints(), [])

    def test_what_the_set_says_is_text(self):
        """Nothing that comes from a line, a manager, a key or an error runs in the page."""
        browser = self.browser
        with ViewSet(strict=False) as tv:
            self.open(tv)
            tv.await_started()
            tv.report(violation(expected=HOSTILE), {"who": HOSTILE, "call": HOSTILE, "key": HOSTILE, HOSTILE: HOSTILE},
                      {"who": "line", "call": "frame", "to": "set", "role": "request", "id": HOSTILE, "text": HOSTILE})
            tv.ctl("model", "set", "tovix.sl2.str.network.ip-address", HOSTILE)
            tv.line.connect()
            tv.line.ask(0x1298, HOSTILE.encode()[:64])
            browser.wait_text("#values", "window.hostile=1")
            self.filter("hostile")
            self.wait_row("expected <img src=x onerror=")
            browser.click("#violations")
            browser.wait_text("#details-text", "<img src=x onerror")
            browser.type("#any input", f"ls '{HOSTILE}'")
            browser.type("#any input", "Enter")
            browser.wait("return !document.querySelector('#any .output').hidden")
            self.assertIsNone(browser.run("return window.hostile ?? null"))
            self.assertEqual(browser.run("return document.querySelectorAll('main script, main img:not(#picture)').length"), 0)
            self.filter("")

    def test_buttons(self):
        """Each is the verb that it shows."""
        browser = self.browser
        with ViewSet() as tv:
            tv.await_started()
            self.open(tv)
            self.assertIn("press 70", browser.text("#remote"))
            before = tv.seq()
            browser.click("//*[@id='remote']//button[contains(., 'Power')]")
            tv.wait(who="apm", call="onKeyEvent", value=70, since=before)

            browser.type("#manager input", ":am,ui,marker:printed=page")
            self.assertIn("am :am,ui,marker:printed=page", browser.text("#manager"))
            browser.click("//*[@id='manager']//button[.='Send']")
            tv.await_output("s_ack:marker,s_name:page,s_comment:printed")

            stick = tv.folder / "stick"
            stick.mkdir()
            (stick / "file").write_text("x")
            browser.type("#plug input[aria-label='Folder on the PC']", str(stick))
            browser.type("#plug input[aria-label='Name']", "sdc1")
            self.assertIn(f"usb plug {stick} --name sdc1", browser.text("#plug"))
            browser.click("//*[@id='plug']//button[.='Plug']")
            browser.wait_text("#sticks", "vu_sdc1")
            self.assertIn("/mnt/usb/sdc1", tv.mounts())
            browser.click("//*[@id='sticks']//button[contains(., 'unplug')]")
            browser.wait_text("#sticks", "None is plugged.")
            self.assertNotIn("/mnt/usb/sdc1", tv.mounts())

            browser.type("#fault input[aria-label='What']", "*volume")
            self.assertIn("model fail '*volume' connect 1", browser.text("#fault"))
            browser.click("//*[@id='fault']//button[.='Arrange']")
            browser.wait_text("#faults", "*volume connect → 1")
            self.assertEqual(tv.value("model", "fail")[0]["status"], 1)
            browser.click("//*[@id='faults']//button[contains(., 'end')]")
            browser.wait_text("#faults", "None")

            browser.run("const area = document.querySelector('#fault select[aria-label=Area]'); area.value = 'sync';"
                        "area.dispatchEvent(new Event('input', { bubbles: true }))")
            self.assertIn("sync fail 1", browser.text("#fault"))
            browser.click("//*[@id='fault']//button[.='Arrange']")
            browser.wait_text("#faults", "→ 1")
            self.assertEqual(tv.value("sync", "fail")[0]["status"], 1)
            browser.click("//*[@id='faults']//button[contains(., 'end')]")
            browser.wait_text("#faults", "None")
            self.assertEqual(tv.value("sync", "fail"), [])

            browser.run("const field = document.querySelector('select[aria-label=wifi]'); field.value = 'off';"
                        "field.dispatchEvent(new Event('change', { bubbles: true }))")
            tv.await_true(lambda: tv.behaviours()["wifi"] == "off", "the behaviour")

            browser.click("//*[@id='disturb']//button[.='Hang up']")
            browser.wait_text("#line", "hung up")
            browser.click("//*[@id='disturb']//button[.='Plug back']")
            browser.wait_text("#line", "yes")

            tv.put(b"not synced", "/var/local/mine")
            browser.wait_text("#partitions", "not synced")
            self.assertEqual(tv.text("mounts", "--unsynced"), "/var/local")
            self.assertEqual(browser.complaints(), [])

    def test_reboot_and_power_cut(self):
        """The page goes on over a reboot, tells the end, and goes on with the set's next start."""
        browser = self.browser
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        with ViewSet(address=f"127.0.0.1:{port}") as tv:
            tv.await_started()
            self.open(tv)
            self.assertEqual(tv.url, f"http://127.0.0.1:{port}/?token={TOKEN}")
            before = tv.seq()
            browser.click("//*[@id='power']//button[.='Reboot']")
            browser.click("//*[@id='power']//button[contains(., 'sure')]")
            tv.wait(who="apm", call="registerApp", since=before)
            self.wait_row("power on")
            browser.wait_text("#link", "live")
            browser.click("//*[@id='power']//button[.='Cut the power']")
            browser.click("//*[@id='power']//button[contains(., 'sure')]")
            self.assertEqual(tv.await_end(), 137)
            browser.wait("return document.querySelector('#link.gone')")
            tv.stop()
            tv.start()
            browser.wait_text("#link", "live")
            tv.report({"who": "csp", "call": "after-the-cut"})
            self.wait_row("after-the-cut")

    def test_a_hundred_thousand_rows(self):
        """All can be reached, and only what is in sight is drawn."""
        browser = self.browser
        with ViewSet() as tv:
            tv.await_started()
            self.open(tv)
            first = tv.seq()
            for begin in range(0, 100000, 10000):
                tv.report(*({"who": "csp", "call": f"row-{i}"} for i in range(begin, begin + 10000)))
            browser.wait("return document.getElementById('count').textContent.replaceAll(',', '').match(/\\d+/)[0] >= 100000",
                         what="all rows")
            self.wait_row("row-99999")
            self.assertLess(browser.run("return document.querySelectorAll('#rows-seen > *').length"), 200)
            browser.reload()
            self.wait_row("row-99999")
            self.filter("row-54321")
            self.wait_row("row-54321")
            self.filter("")
            browser.type("#rows", "Home")
            browser.wait("return document.getElementById('rows').scrollTop === 0")
            self.assertGreater(tv.seq(), first + 100000 - 1)


class Server(runner.AtOnce):
    def test_a_port_that_is_taken(self):
        with socket.create_server(("127.0.0.1", 0)) as taken, Set(wait=False) as folder:
            folder.stop()
            address = f"127.0.0.1:{taken.getsockname()[1]}"
            done = run("simset", "run", "--state", folder.state, "--view", address, "--panel", "none")
            self.assertEqual(done.returncode, 2)
            self.assertNotIn("ready", done.stdout)
            self.assertIn(f"no page in the browser at {address}: Address already in use", done.stderr)

    def test_open_streams_do_not_hold_up_the_end(self):
        with ViewSet() as tv:
            streams = [urllib.request.urlopen(tv.url.replace("?", "events?"), timeout=NEVER) for _ in range(3)]
            for stream in streams:
                self.assertEqual(stream.readline(), b"event: hello\n")
            begin = time.monotonic()
            self.assertEqual(tv.stop(), 0)
            took = time.monotonic() - begin
            for stream in streams:
                self.assertIn(b"event: ended\n", stream.read())
                stream.close()
            # A stream has no end of its own: one that is waited for keeps simset for ever.
            self.assertLess(took, NEVER)

    def test_without_view_there_is_none(self):
        with Set() as tv:
            self.assertNotIn("view", tv.ready)


class OtherPages(unittest.TestCase):
    def test_a_page_from_elsewhere_gets_nothing(self):
        """In the same browser, even where no token is asked for."""
        page = b"<!doctype html><title>elsewhere</title>"

        class Elsewhere(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.end_headers()
                self.wfile.write(page)

            def log_message(self, *_):
                pass

        other = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Elsewhere)
        threading.Thread(target=other.serve_forever, daemon=True).start()
        with ViewSet(token="none") as tv, Browser() as browser:
            tv.await_started()
            self.assertNotIn("token", tv.url)
            browser.open(f"http://127.0.0.1:{other.server_port}/")
            tries = browser.run("""
                const [url] = arguments;
                const body = '[["flash","set","Hostile","1"]]';
                const told = (promise) => promise.then(async (answer) => `${answer.status} ${await answer.text()}`, (error) => error.name);
                return Promise.all([
                  told(fetch(url + 'ctl', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body })),
                  told(fetch(url + 'ctl', { method: 'POST', mode: 'no-cors', headers: { 'Content-Type': 'text/plain' }, body })),
                  told(fetch(url + 'events')),
                  new Promise((done) => {
                    const source = new EventSource(url + 'events');
                    source.onerror = () => { source.close(); done('refused'); };
                    source.addEventListener('hello', () => done('heard'));
                  }),
                  new Promise((done) => {
                    const picture = new Image();
                    picture.onload = () => done('seen');
                    picture.onerror = () => done('refused');
                    picture.src = url + 'panel.png';
                  })])""", tv.url)
            self.assertEqual(tries, ["TypeError", "TypeError", "TypeError", "refused", "refused"])
            self.assertEqual(tv.text("flash", "get", "Hostile"), "")

            def ask(**headers):
                try:
                    with urllib.request.urlopen(urllib.request.Request(tv.url + "ctl", b"[]", headers), timeout=NEVER) as done:
                        return done.status
                except urllib.error.HTTPError as error:
                    return error.code

            own = {"Content-Type": "application/json"}
            self.assertEqual(ask(**own), 200)
            self.assertEqual(ask(**own, Host="rebound.example"), 421)
            self.assertEqual(ask(**own, Origin="http://rebound.example"), 403)
        other.shutdown()
        other.server_close()


class Ends(unittest.TestCase):
    def test_a_browser_does_not_outlive_its_test(self):
        code = "import browser; held = browser.Browser(); print(held.profile, flush=True); input()"
        folder = pathlib.Path(__file__).parent
        test = subprocess.Popen([sys.executable, "-B", "-c", code], cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        profile = test.stdout.readline().strip()

        def running():
            lines = (read(path) for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"))
            return sum(profile in line for line in lines)

        def read(path):
            try:
                return path.read_bytes()
            except OSError:
                return b""  # it has ended

        try:
            self.assertGreater(running(), 3)
            test.kill()
            end = time.monotonic() + NEVER
            while running() > 0:
                self.assertLess(time.monotonic(), end, "the browser goes on")
                time.sleep(0.05)  # nothing tells that a stranger's process has ended
        finally:
            test.kill()
            test.wait()
            test.stdin.close()
            test.stdout.close()
            shutil.rmtree(os.fsdecode(profile), ignore_errors=True)


if __name__ == "__main__":
    runner.main()

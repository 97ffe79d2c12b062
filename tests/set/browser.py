"""Chromium without a window, driven over WebDriver."""

import base64
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

from setlib import NEVER, NOT_RUN

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # WebDriver's name for "this is an element"
KEYS = {"Enter": "\ue007", "Escape": "\ue00c", "Home": "\ue011", "End": "\ue010", "Up": "\ue013", "Down": "\ue015",
        "Left": "\ue012", "Right": "\ue014"}


def find_or_leave():
    """Paths of Chromium and its driver. Ends the test as "not run" where they are missing."""
    chromium = shutil.which("chromium") or shutil.which("google-chrome")
    driver = shutil.which("chromedriver")
    if not chromium or not driver:
        print("not run: chromium or chromedriver is missing; scripts/install-deps installs them", flush=True)
        os._exit(NOT_RUN)
    return chromium, driver


class Refused(AssertionError):
    """The driver's answer is an error."""


class Browser:
    """A browser with a profile of its own, as a context manager."""

    def __init__(self, width=1920, height=1080, dark=False):
        chromium, driver = find_or_leave()
        self.profile = pathlib.Path(tempfile.mkdtemp(prefix="zelfac-browser."))
        # The driver takes any free port and says which; what it and the browser write goes to the profile.
        guard = pathlib.Path(__file__).with_name("guard.py")
        self.driver = subprocess.Popen(
            [sys.executable, "-B", guard, driver, "--port=0"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, text=True, start_new_session=True,
            env={**os.environ, "HOME": str(self.profile), "TMPDIR": str(self.profile)},
        )
        said = ""
        while not (started := re.search(r"started successfully on port (\d+)", said)):
            line = self.driver.stdout.readline()
            if not line:
                raise AssertionError(f"chromedriver ended: {said}")
            said += line
        self.address = f"http://127.0.0.1:{started[1]}/session"
        arguments = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     f"--user-data-dir={self.profile}/profile", f"--window-size={width},{height}"]
        arguments += ["--no-sandbox"] if os.geteuid() == 0 else []
        arguments += ["--blink-settings=preferredColorScheme=0"] if dark else []
        wanted = {"browserName": "chrome", "goog:chromeOptions": {"binary": chromium, "args": arguments},
                  "goog:loggingPrefs": {"browser": "ALL"}, "unhandledPromptBehavior": "ignore"}
        session = self._ask("POST", "", {"capabilities": {"alwaysMatch": wanted}})
        self.address += "/" + session["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        try:
            self._ask("DELETE", "")
        finally:
            self.driver.stdin.close()
            self.driver.wait(NEVER)
            self.driver.stdout.close()
            shutil.rmtree(self.profile, ignore_errors=True)

    def _ask(self, method, path, body=None):
        data = None if method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.address + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=NEVER) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise Refused(error.read().decode(errors="replace")[:500]) from None

    def screen(self, width, height, zoom=1.0):
        """A screen of so many pixels, with the browser's zoom; all 0 is the window as it was begun."""
        self._ask("POST", "/goog/cdp/execute", {"cmd": "Emulation.setDeviceMetricsOverride", "params": {
            "width": round(width / zoom), "height": round(height / zoom), "deviceScaleFactor": zoom, "mobile": False}})

    def open(self, url):
        self._ask("POST", "/url", {"url": url})

    def reload(self):
        self._ask("POST", "/refresh")

    def run(self, script, *arguments):
        """What a script returns; `arguments` are its `arguments`."""
        return self._ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def wait(self, script, *arguments, what=None):
        """Waits until a script returns something that is true, and returns that."""
        end = time.monotonic() + NEVER
        while not (found := self.run(script, *arguments)):
            if time.monotonic() > end:
                raise AssertionError(f"waited {NEVER} s in vain for {what or script} {arguments or ''}; the page shows: {self.text()[:1500]}")
            time.sleep(0.05)
        return found

    def text(self, selector="body"):
        """The text of what a selector finds first, as it can be read."""
        return self.run("return document.querySelector(arguments[0])?.innerText ?? ''", selector)

    def wait_text(self, selector, wanted):
        self.wait("return document.querySelector(arguments[0])?.innerText.includes(arguments[1])", selector, wanted,
                  what=f"{wanted!r} in {selector}")

    def element(self, selector):
        """What a selector finds first, or the XPath that begins with a slash."""
        using = "xpath" if selector.startswith("/") else "css selector"
        found = self._ask("POST", "/element", {"using": using, "value": selector})
        return f"/element/{found[ELEMENT]}"

    def click(self, selector):
        """A click as a user makes it: on what can be seen and is not covered."""
        end = time.monotonic() + NEVER
        while True:
            try:
                self._ask("POST", self.element(selector) + "/click")
                return
            except Refused as refused:
                # The page drew its rows anew between the search and the click: the row is another element now.
                if "stale element reference" not in str(refused) or time.monotonic() > end:
                    raise

    def type(self, selector, text):
        """Types into an element; a name of KEYS alone is that key."""
        self._ask("POST", self.element(selector) + "/value", {"text": KEYS.get(text, text)})

    def keys(self, text):
        """Types to whatever has the focus, as a keyboard or a scanner does."""
        strokes = [{"type": kind, "value": "\ue007" if letter == "\n" else letter} for letter in text for kind in ("keyDown", "keyUp")]
        self._ask("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": strokes}]})

    def picture(self, path):
        pathlib.Path(path).write_bytes(base64.b64decode(self._ask("GET", "/screenshot")))

    def complaints(self):
        """What the page or the browser complained of: errors of scripts, what the page's policy stopped."""
        return [row["message"] for row in self._ask("POST", "/se/log", {"type": "browser"}) if row["level"] == "SEVERE"]

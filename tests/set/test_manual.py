"""Man pages and completion of zelline and simset, in real shells: what the help tells of is in all of them."""

import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import tempfile
import termios
import time
import unittest

import runner
from setlib import NEVER, run
from zelfac import programs

PROGRAMS = ["zelline", "simset"]
FILES = {"zelline": ["plan", "station"], "simset": ["scenario"]}  # that have a page of their own
PAGES = [(program, *file) for program in PROGRAMS for file in [[], *([name] for name in FILES[program])]]
DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
MODEL_VOLUME = "tovix.sl2.i32.sound.main.volume"
KEY_TYPES = ["hdcp1", "hdcp2", "ciplus", "esn-ulpk-mac", "widevine", "netflix", "ciplusecp"]
DUMP = "\x07"  # Ctrl-G: the line as it now is

BASH = """
PS1=
bind 'set enable-bracketed-paste off'
dump() {{ printf '%s\\n' "$READLINE_LINE" > {answer}; READLINE_LINE=; READLINE_POINT=0; }}
bind -x '"\\C-g": dump'
"""
ZSH = """
PS1=
fpath=({scripts} $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {{
    if [[ ${{@[1,(i)(-|--)]}} != *-(O|A|D)\\ * ]]; then
        local -a offered
        builtin compadd -O offered "$@"
        print -rl -- $offered >> {offers}
    fi
    builtin compadd "$@"
}}
dump() {{ print -r -- "$BUFFER" > {answer}; BUFFER= }}
zle -N dump
bindkey '^G' dump
"""


def printed(program, *words):
    done = run(program, *words)
    assert done.returncode == 0, done.stderr
    return done.stdout


class Shell:
    """A shell on a terminal, which has the completions of both programs."""

    def __init__(self, name):
        self.folder = tempfile.TemporaryDirectory(prefix="zelfac-shell.")
        folder = pathlib.Path(self.folder.name)
        self.scripts, self.work = folder / "scripts", folder / "work"
        self.scripts.mkdir()
        self.work.mkdir()
        self.answer, self.offers = folder / "answer", folder / "offers"
        os.mkfifo(self.answer)
        words = {"answer": self.answer, "offers": self.offers, "scripts": self.scripts}
        for program in PROGRAMS:
            script = self.scripts / (f"_{program}" if name == "zsh" else program)
            script.write_text(printed(program, "completion", name))
        setup = folder / ".zshrc"
        if name == "zsh":
            setup.write_text(ZSH.format(**words))
            command = ["zsh", "--no-globalrcs", "-i"]
        else:
            setup.write_text(BASH.format(**words) + "".join(f"source {self.scripts / program}\n" for program in PROGRAMS))
            command = ["bash", "--rcfile", setup, "-i"]
        # Open both ways: an end that opens and closes anew for each answer may miss the other.
        self.answers = os.open(self.answer, os.O_RDWR)
        self.terminal, inside = pty.openpty()
        # What the shell shows is not looked at; it must only not be stopped by a full terminal.
        environment = {**os.environ, "TERM": "dumb", "HISTFILE": "", "ZDOTDIR": str(folder)}
        self.shell = subprocess.Popen(command, stdin=inside, stdout=subprocess.DEVNULL, stderr=inside, cwd=self.work,
                                      env=environment, start_new_session=True)
        os.close(inside)
        self.drain = subprocess.Popen(["cat"], stdin=self.terminal, stdout=subprocess.DEVNULL)

    def type(self, text):
        # What comes before the shell asks for single keys, or while it runs something, may be lost.
        while termios.tcgetattr(self.terminal)[3] & termios.ICANON:
            time.sleep(0.005)
        os.write(self.terminal, text.encode())

    def line(self, text):
        """The line that is there when `text` was typed."""
        self.type(text + DUMP)
        assert select.select([self.answers], [], [], NEVER)[0], f"no answer to {text!r}"
        return os.read(self.answers, 4096).decode().rstrip("\n")

    def offered(self, text):
        """zsh: what is offered for what stands behind `text`."""
        self.offers.write_text("")
        self.line(text + "\t")
        return set(self.offers.read_text().split())

    def close(self):
        self.shell.kill()
        self.drain.kill()
        self.shell.wait()
        self.drain.wait()
        os.close(self.terminal)
        os.close(self.answers)
        self.folder.cleanup()


def bash_offers(program, *words, cwd="/"):
    """What bash offers for the last of `words`, which are taken apart as bash does."""
    function = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _$1; printf "%s\\n" "${COMPREPLY[@]}"'
    with tempfile.NamedTemporaryFile("w", suffix=".bash") as script:
        script.write(printed(program, "completion", "bash"))
        script.flush()
        done = subprocess.run(["bash", "--norc", "-c", function, "bash", script.name, program, *words], cwd=cwd,
                              capture_output=True, text=True, timeout=NEVER)
    assert done.stderr == "", done.stderr
    return set(done.stdout.split("\n")) - {""}


def zelline_help():
    """Verbs and options of the help page."""
    page = printed("zelline", "--help")
    parts = re.split(r"\n(?=\S)", page)
    verbs = [line.split()[0] for part in parts if part.startswith(("Ask the set", "Around it")) for line in part.splitlines()[1:] if line]
    options = [part for part in parts if part.startswith("Options")]
    return set(verbs), set(re.findall(r"^  .*?(--[a-z-]+)", options[0], re.M))


def control_help():
    """(verb, its options) of each row of `simset ctl --help`."""
    for line in printed("simset", "ctl", "--help").splitlines():
        if row := re.match(r"[ *] ([a-z][a-z-]*)( [^ ].*?)?(  +.*)?$", line):
            yield row[1], set(re.findall(r"--[a-z-]+", row[2] or ""))


class Pages(unittest.TestCase):
    def test_they_are_sound(self):
        for program, *file in PAGES:
            page = printed(program, "man", *file)
            self.assertTrue(page.isascii())
            self.assertIn(f'.TH {"-".join([program, *file]).upper().replace("-", chr(92) + "-")} {5 if file else 1} ', page)
            done = subprocess.run(["mandoc", "-T", "lint", "-W", "warning"], input=page, capture_output=True, text=True)
            # No date, so that each build makes the same page.
            complaints = [line for line in done.stdout.splitlines() if "missing date" not in line]
            self.assertEqual((complaints, done.stderr), ([], ""), (program, file))

    def text(self, program, *file):
        done = subprocess.run(["mandoc", "-T", "ascii", "-O", "width=200"], input=printed(program, "man", *file), capture_output=True, text=True)
        return re.sub(".\b", "", done.stdout)

    def test_all_of_zelline_is_told(self):
        page = self.text("zelline")
        verbs, options = zelline_help()
        self.assertGreater(len(verbs), 30)
        for verb in verbs:
            self.assertRegex(page, rf"(?m)^     +{verb}( |$)")
            for form in re.findall(r"^  zelline \[options\] (.*)$", printed("zelline", verb, "--help"), re.M):
                self.assertIn("".join(form.split()), "".join(page.split()))
        for option in options:
            self.assertRegex(page, rf"(?m)^     +(-h, )?{option}( |$)")

    def test_all_of_simset_is_told(self):
        page = self.text("simset")
        rows = list(control_help())
        self.assertGreater(len(rows), 50)
        for verb, options in rows:
            lines = re.findall(rf"(?m)^     +{verb}(?: .*)?$", page)
            self.assertTrue(lines, verb)
            for option in options:
                self.assertIn(option, " ".join(lines))
        for option in re.findall(r"^  (--[a-z-]+)", printed("simset", "run", "--help"), re.M):
            self.assertRegex(page, rf"(?m)^     +{option}( |$)")


    def test_all_that_may_stand_in_a_file_is_told(self):
        # The mistake of an unknown key names all that are known.
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "file.toml"
            for text, words in {
                "wat = 1\n": [("zelline", "plan", "validate", file), ("zelline", "station", "station", file),
                              ("simset", "scenario", "run", "--state", folder, "--scenario", file)],
                "[defaults]\nwat = 1\n": [("zelline", "plan", "validate", file)],
                "[[step]]\nrun = 'version'\nwat = 1\n": [("zelline", "plan", "validate", file)],
                "[[step]]\nrun = 'version'\nexpect = { wat = 1 }\n": [("zelline", "plan", "validate", file)],
                "[[step]]\ninclude = 'x'\nwat = 1\n": [("zelline", "plan", "validate", file)],
                "[page]\nwat = 1\n": [("zelline", "station", "station", file)],
                "[[slot]]\nwat = 1\n": [("zelline", "station", "station", file)],
                "[[when]]\nwat = 1\n": [("simset", "scenario", "run", "--state", folder, "--scenario", file)],
            }.items():
                file.write_text(text)
                for program, kind, *command in words:
                    said = run(program, *command)
                    known = re.search(r"'wat' is unknown .*; there are (.*)", said.stdout + said.stderr)
                    self.assertTrue(known, (text, said))
                    page = self.text(program, kind)
                    for key in known[1].split(", "):
                        self.assertRegex(page, rf"(?m)^     +{key}, (a |written|the |\"|true)", text)
                        if program == "zelline":
                            self.assertRegex(printed("zelline", "help", kind), rf"(?m)^  {key} ")
                        else:
                            self.assertIn(f"| `{key}` |", (DOCS / "scenarios.md").read_text())

    def test_the_documents_tell_the_same(self):
        # Each table is in the document as "zelline help FILE --markdown" prints it.
        for kind, document in {"plan": "line-tool.md", "station": "station.md"}.items():
            text = (DOCS / document).read_text()
            for table in printed("zelline", "help", kind, "--markdown").split("\n\n"):
                self.assertIn(table.strip(), text, document)


class Bash(unittest.TestCase):
    def test_verbs_and_options_are_those_of_the_help(self):
        verbs, options = zelline_help()
        self.assertEqual(bash_offers("zelline", ""), verbs)
        self.assertEqual(bash_offers("zelline", "--"), options)
        for verb in verbs:
            own = printed("zelline", verb, "--help").partition("Options of this verb\n")[2].partition("\n\n")[0]
            self.assertEqual(bash_offers("zelline", verb, "--") - options, set(re.findall(r"^  (--[a-z-]+)", own, re.M)), verb)
        self.assertEqual(bash_offers("simset", ""), {"run", "ctl", "stick", "man", "completion"})
        self.assertEqual(bash_offers("simset", "ctl", "--state", "x", ""), {verb for verb, _ in control_help()})
        run_options = set(re.findall(r"^  (--[a-z-]+)", printed("simset", "run", "--help"), re.M))
        self.assertEqual(bash_offers("simset", "run", "--"), run_options | {"--help"})

    def test_words_follow_their_form(self):
        offers = {
            ("sn", ""): {"read", "write"},
            ("sn", "w"): {"write"},
            ("--port", "x", "led", "red", "o"): {"on", "off"},
            ("led", "blue", ""): set(),
            ("key", "send", ""): set(KEY_TYPES),
            ("--timeout", "5", "key", "crc", "ci"): {"ciplus", "ciplusecp"},
            ("source", "HD"): {"HDMI1", "HDMI2", "HDMI3", "HDMI4"},
            ("query", ""): {"MAC", "WIFIMAC", "ESN", "ETH_IP"},
            ("stock", "add", "h"): {"hdcp1", "hdcp2"},
            ("version", ""): set(),
            ("aspect", "16", ":", ""): {"9"},
            ("help", ""): {"plan", "station"},
            ("man", ""): {"plan", "station"},
        }
        for words, expected in offers.items():
            self.assertEqual(bash_offers("zelline", *words), expected, words)
        self.assertEqual(bash_offers("simset", "ctl", "trace", "--"), {"--clear", "--follow", "--since", "--match", "--last", "--state", "--help"})
        control = {
            ("model", "get", MODEL_VOLUME[:-1]): {MODEL_VOLUME},
            ("model", "fail", MODEL_VOLUME, "co"): {"connect", "count"},
            ("model", "fail", "tovix.*", "co"): {"connect", "count"},
            ("model", "notify", MODEL_VOLUME, "st"): {"state"},
            ("behave", ""): {"factory-ready", "preset", "bluetooth", "wifi", "wired", "supervisor"},
            ("behave", "wifi", ""): {"on", "off"},
            ("flash", "get", "Zel"): {"ZelFacMode"},
            ("flash", "fail", "Zel"): {"ZelFacMode"},
            ("keys", "fail", "h"): {"hdcp1", "hdcp2"},
            ("keys", "fail", "hdcp1", ""): {"write", "check"},
            ("apm", "fail", "r"): {"rpc", "registerApp"},
            ("apm", "request", "requestSto"): {"requestStop"},
            ("disk", "/zodata/critical", ""): {"full", "default"},
            ("usb", "read", ""): set(),
        }
        for words, expected in control.items():
            self.assertEqual(bash_offers("simset", "ctl", "--state", "x", *words), expected, words)
        self.assertGreater(len(bash_offers("simset", "ctl", "model", "set", "")), 50)
        self.assertEqual(bash_offers("simset", "man", ""), {"scenario"})
        self.assertEqual(bash_offers("simset", "run", "--mode", ""), {"1", "2", "3", "none"})
        self.assertEqual(bash_offers("simset", "run", "--display", "=", "o"), {"own"})

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("a plan.toml", "plan.toml", "key.bin"):
                (pathlib.Path(folder) / name).touch()
            (pathlib.Path(folder) / "plans").mkdir()
            self.assertEqual(bash_offers("zelline", "run", "", cwd=folder), {"a plan.toml", "plan.toml", "plans"})
            self.assertEqual(bash_offers("zelline", "key", "send", "hdcp1", "k", cwd=folder), {"key.bin"})
            self.assertEqual(bash_offers("zelline", "stock", "add", "hdcp1", "", cwd=folder), {"plans"})
            self.assertEqual(bash_offers("zelline", "run", "x", "--report", "=", "pl", cwd=folder), {"plan.toml", "plans"})


class Terminals:
    """What TAB makes of a line, in a shell on a terminal."""

    @classmethod
    def setUpClass(cls):
        cls.shell = Shell(cls.name)
        cls.addClassCleanup(cls.shell.close)
        for name in ("first plan.toml", "key.bin"):
            (cls.shell.work / name).touch()
        (cls.shell.work / "state").mkdir()

    def test_a_line_is_completed(self):
        for line, completed in {
            "zelline blu": "zelline bluetooth ",
            "zelline --retr": "zelline --retries ",
            "zelline --json key se": "zelline --json key send ",
            "zelline key send wi": "zelline key send widevine ",
            "zelline key send hdcp1 k": "zelline key send hdcp1 key.bin ",
            "zelline run f": "zelline run first\\ plan.toml ",
            "zelline aspect 4": "zelline aspect 4:3 ",
            "zelline aspect 16:": "zelline aspect 16:9 ",
            "zelline source SC": "zelline source SCART1 ",
            "simset ctl --state st": "simset ctl --state state/",
            "simset ctl --state state mod": "simset ctl --state state model ",
            "simset ctl --state state usb p": "simset ctl --state state usb plug ",
            "simset ctl --state state behave fac": "simset ctl --state state behave factory-ready ",
            f"simset ctl model get {MODEL_VOLUME[:-2]}": f"simset ctl model get {MODEL_VOLUME} ",
            "zelline help st": "zelline help station ",
        }.items():
            self.assertEqual(self.shell.line(line + "\t").rstrip(), completed.rstrip(), line)


class BashOnATerminal(Terminals, unittest.TestCase):
    name = "bash"


@unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
class ZshOnATerminal(Terminals, unittest.TestCase):
    name = "zsh"

    def test_verbs_and_options_are_those_of_the_help(self):
        verbs, options = zelline_help()
        self.assertEqual(self.shell.offered("zelline "), verbs)
        self.assertEqual(self.shell.offered("zelline --"), options)
        self.assertEqual(self.shell.offered("simset ctl --state state "), {verb for verb, _ in control_help()})
        self.assertEqual(self.shell.offered("zelline key send "), set(KEY_TYPES))
        self.assertEqual(self.shell.offered("zelline led blue "), set())
        for verb, known in control_help():
            if known:
                self.assertLessEqual(known, self.shell.offered(f"simset ctl {verb} fail --") | self.shell.offered(f"simset ctl {verb} --")
                                     | self.shell.offered(f"simset ctl {verb} plug --") | self.shell.offered(f"simset ctl {verb} request --"), verb)


if __name__ == "__main__":
    runner.main()

"""Generated sticks, and what the check foretells of each held against what a set does with it.

The sticks are as people make them: contents of every kind for every item, folders without their file, other names. The
long run draws many and takes a key of 17 MB as well.
"""

import json
import random

import runner
from runner import AtOnce, cases
from setlib import campaign, run, seed
from sticks import KEYS, Folder, Update
from zelfac.sticks import CUSTOMER, FILES, MARKER, PORT_MARKER, write

STICKS = 60 if campaign() else 6
BIG = 17_000_000
BOM = "\ufeff"
FIRST, LAST = "02-00-00-00-00-09", "02-00-00-00-00-0C"

CONFIGURATIONS = [
    "1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nACME-43\r\n",
    "1\n2\n3\nACME\n4\n5\n",  # as an export is
    "7\n7\n7\nOLD\n7\n7",  # what the set has already
    "1\n2\n",
    "",
    "\n\n\n\n\n\n\n",
    "GB\n2\n3\nACME\n4\n5\n",
    "1\n2\n3\n\n4\n5\n",
    "1\n2\n3\n" + "B" * 127 + "\n4\n5\n",
    "1\n2\n3\n" + "B" * 128 + "\n4\n5\n",
    "1\n2\n3\n" + "B" * 200 + "\n4\n5\n",
    "1\n2\n3\n" + "B" * 300 + "\n4\n5\n",
    BOM + "1\n2\n3\nACME\n4\n5\n",
    "1 \n2\n3\nA B\n4\n5\nM\n8\n9\n",
    "-1\n2147483647\n3\nACME\n4\n5\n",
]
RANGES = [
    f"{FIRST}--{LAST}\r\n",
    f"{FIRST}--{LAST}",
    f"{FIRST}--{FIRST}\n",
    f"{LAST}--{FIRST}\n",
    BOM + f"{FIRST}--{LAST}\n",
    f" {FIRST}--{LAST}\n",
    f"{FIRST}-{LAST}\n",
    f"{FIRST.replace('-', ':')}--{LAST.replace('-', ':')}\n",
    f"{FIRST.lower()}--{LAST.lower()}\nmore\n",
    "",
    "02-00-00-00-00-0G--02-00-00-00-00-0H\n",
]


def draw(chance, root):
    """A stick of one run of dice; returns what it was made of, for people."""
    told = []
    write(root / PORT_MARKER)
    if chance.random() < 0.9:
        write(root / CUSTOMER / MARKER)
    for name, path in FILES.items():
        if chance.random() < 0.45:
            continue
        content = {"config": CONFIGURATIONS, "mac": RANGES}.get(name)
        content = chance.choice(content) if content else chance.choice([b"", b"\0", b"key" * 200])
        file = root / CUSTOMER / path
        kind = chance.choice(["as it should", "as it should", "as it should", "as it should", "other name", "folder alone"])
        if kind == "folder alone":
            file.parent.mkdir(parents=True, exist_ok=True)
        else:
            write(file if kind == "as it should" else file.with_name("my-" + file.name), content)
        told.append((name, kind, content[:40]))
    if chance.random() < 0.15:
        write(root / "OEM_data", "x")
        told.append("OEM_data")
    return told


def checked(root):
    done = run("simset", "stick", "check", root, "--json")
    return json.loads(done.stdout)["expected"]


class Campaign(AtOnce):
    def agree(self, root, told):
        """Holds the check's words against a set that has a configuration of its own already."""
        expected = checked(root)
        settings = [("meta", "set", item, 7) for item in range(5)] + [("flash", "set", "brand", "OLD")]
        with Update(root, arrange=settings) as tv:
            before = set(tv.read_stick())
            if expected["status"] == 0:
                tv.sync_with_loop()
                self.assertNotIn("m_secondUpdateStatus", tv.output(), told)
            else:
                self.assertEqual(tv.outcome(), (expected["status"], expected["message"]), told)
                imported = " ret1:-1 " not in tv.output()
                self.assertEqual(expected["action"] == "import", imported, told)
            keys = {FILES[name].rpartition("/")[0] for name in KEYS}
            gone = {path for path in before - set(tv.read_stick()) if any(f"/{folder}/" in path for folder in keys)}
            foretold = sum("remove the file" in step and "key" in step for step in expected["steps"])
            self.assertEqual(len(gone), foretold, (told, gone))

    @cases(range(STICKS))
    def test_drawn(self, number):
        with Folder() as folder:
            root = folder / "s"
            self.agree(root, draw(random.Random(f"{seed()} {number}"), root))

    @cases({name: content for name, content in {
        "a brand of 200 characters": ("config", CONFIGURATIONS[10]),
        "a configuration with lines missing": ("config", CONFIGURATIONS[3]),
        "a range with a byte-order mark": ("mac", RANGES[4]),
        "a key of 17 MB": ("hdcp1", bytes(BIG)),
    }.items() if campaign() or len(content[1]) < BIG})
    def test_known(self, case):
        item, content = case
        with Folder() as folder:
            root = folder / "s"
            write(root / CUSTOMER / MARKER)
            write(root / CUSTOMER / FILES[item], content)
            self.agree(root, item)


if __name__ == "__main__":
    runner.main()

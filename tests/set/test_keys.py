"""Key and configuration files of every kind and size: what is stored, and in which steps."""

import unittest
import zlib
from concurrent.futures import ThreadPoolExecutor

import setlib
from keylib import (CIPLUS, CIPLUSECP, CONFIG, ESN, HDCP1, HDCP2, NETFLIX, RESET, WIDEVINE, KeySet, content, crc,
                    entries, installed, pieces, stored)
from setlib import result, status

SIZES = [1, 63, 64, 65, 640, 16320]


class EveryKindAndSize(unittest.TestCase):
    """Each kind of file in each size, sent by this program and by zelline. Four sets, as most of it is waiting."""

    def check(self, tv, kind, size, zelline):
        data = content(kind, size)
        said = (kind.name, size, "zelline" if zelline else "burst")
        tv.ctl("trace", "--clear")
        if zelline:
            file = tv.folder / "key.bin"
            file.write_bytes(data)
            verb = ("config",) if kind is CONFIG else ("key", "send", kind.name)
            done = tv.zelline(*verb, file)
            self.assertEqual(done.returncode, 0, (said, done.stdout, done.stderr))
        else:
            success = result(kind.command, crc(data)) if kind is CONFIG else status(kind.command, 0)
            self.assertEqual(tv.send(kind, data), success, said)
        commands = tv.shell()
        if zelline:  # what it sends to throw away chunks of a broken-off transfer
            first = RESET + stored([0])
            self.assertEqual(commands[: len(first)], first, said)
            commands = commands[len(first) :]
        self.assertEqual(commands, RESET + stored(range(len(pieces(data)))) + installed(kind), said)
        self.check_stored(tv, kind, data, said)
        if kind is not CONFIG:
            self.assertEqual(tv.query(kind), result(kind.query, crc(data)), said)
            if zelline:
                self.assertEqual(int(tv.zelline("key", "crc", kind.name).stdout, 16), zlib.crc32(data), said)
        self.assertEqual(entries(tv.staging()), ["CONFIG/"] if kind is CONFIG else None, said)

    def check_stored(self, tv, kind, data, said):
        path = f"/tmp/tmpkey/{kind.word}/{kind.file}"
        if kind is CONFIG:
            number = int(data.split(b"\r\n")[0])
            self.assertEqual(int(tv.text("meta", "get", 1)), number, said)
            self.assertEqual(tv.value("model", "get", "tovix.sl2.i32.qorfactory.country"), number, said)
            return
        if kind is ESN:  # goes by the Widevine keybox, whatever was received
            keybox = f"/tmp/tmpkey/WIDEVINE/{WIDEVINE.file}"
            self.assertEqual(tv.calls(), [("write", 2, (keybox,)), ("check", 2, ())], said)
            self.assertNotEqual(tv.key(kind), (len(data), zlib.crc32(data)), said)
            return
        self.assertEqual(tv.key(kind), (len(data), zlib.crc32(data)), said)
        if not kind.ci:
            self.assertEqual(tv.calls(), [("write", kind.key, (path,)), ("check", kind.key, ())], said)
            return
        self.assertEqual(tv.calls(), [("write", kind.key, (path,))], said)
        intf = "tovix.sl2.common.intf.action."
        rows = tv.trace(who="model", call="invoke")  # the radio searches invoke actions at the same time
        invokes = [(row["key"], row["args"]) for row in rows if row["key"].startswith(intf)]
        wanted = [(intf + "encrypt.key", [["0", kind.ci], ["1", path]]), (intf + "check.ciplus.key", [["0", kind.ci]])]
        self.assertEqual([(key, [list(map(str, pair)) for pair in args]) for key, args in invokes], wanted, said)

    def run_kinds(self, *kinds):
        with KeySet() as tv:
            for item in range(5):
                tv.ctl("meta", "set", item, 0)  # lines that a short configuration lacks count as 0
            tv.ctl("flash", "set", "brand", "")
            if ESN in kinds:
                data = b"the keybox that stays"
                self.assertEqual(tv.send(ESN, data), status(ESN.command, 1), "no keybox is installed yet")
                self.assertEqual(tv.query(ESN), result(ESN.query, crc(data)))
                self.assertEqual(tv.send(WIDEVINE, data), status(WIDEVINE.command, 0))
                self.assertEqual(tv.query(WIDEVINE), result(WIDEVINE.query, crc(data)))
            for size in SIZES:
                for kind in kinds:
                    for zelline in (False, True):
                        self.check(tv, kind, size, zelline)

    def test_all(self):
        groups = [(HDCP1, CIPLUS), (HDCP2, CONFIG), (ESN, NETFLIX), (WIDEVINE, CIPLUSECP)]
        with ThreadPoolExecutor(len(groups)) as pool:
            for future in [pool.submit(self.run_kinds, *kinds) for kinds in groups]:
                future.result()


if __name__ == "__main__":
    setlib.main()

"""Key and configuration files of every kind and size, sent by this program and by zelline: what the set has then."""

import zlib

import runner
from keylib import KeySet, content, entries
from runner import AtOnce, cases
from zelfac import result, status
from zelfac.keyfiles import CIPLUS, CIPLUSECP, CONFIG, ESN, HDCP1, HDCP2, NETFLIX, WIDEVINE, crc

SIZES = [1, 63, 64, 65, 640, 16320]
INSTALLED = [HDCP1, HDCP2, CIPLUS, WIDEVINE, NETFLIX, CIPLUSECP]


def by_zelline(tv, kind, data):
    file = tv.folder / "key.bin"
    file.write_bytes(data)
    return tv.zelline(*(("config",) if kind is CONFIG else ("key", "send", kind.name)), file).returncode == 0


def in_one_burst(tv, kind, data):
    success = result(kind.command, crc(data)) if kind is CONFIG else status(kind.command, 0)
    return tv.send(kind, data) == success


class EverySize(AtOnce):
    def each(self, tv, kind):
        """Sends each size either way; yields what was sent, and how, once the set has taken it."""
        for size in SIZES:
            for send in (in_one_burst, by_zelline):
                data, said = content(kind, size), f"{kind.name}, {size} bytes, {send.__name__}"
                self.assertTrue(send(tv, kind, data), said)
                yield data, said
                self.assertEqual(entries(tv.staging()), ["CONFIG/"] if kind is CONFIG else None, said)

    def check_crc(self, tv, kind, data, said):
        self.assertEqual(tv.query(kind), result(kind.query, crc(data)), said)
        self.assertEqual(int(tv.zelline("key", "crc", kind.name).stdout, 16), zlib.crc32(data), said)

    @cases({kind.name: kind for kind in INSTALLED})
    def test_a_key_is_installed(self, kind):
        with KeySet() as tv:
            for data, said in self.each(tv, kind):
                self.assertEqual(tv.key(kind), (len(data), zlib.crc32(data)), said)
                self.check_crc(tv, kind, data, said)

    def test_an_esn_file_leaves_the_keybox_that_it_goes_by(self):
        with KeySet() as tv:
            keybox = b"the keybox that stays"
            self.assertEqual(tv.send(ESN, keybox), status(ESN.command, 1), "no keybox is installed yet")
            self.assertEqual(tv.query(ESN), result(ESN.query, crc(keybox)))
            self.assertEqual(tv.send(WIDEVINE, keybox), status(WIDEVINE.command, 0))
            self.assertEqual(tv.query(WIDEVINE), result(WIDEVINE.query, crc(keybox)))
            for data, said in self.each(tv, ESN):
                self.assertEqual(tv.key(WIDEVINE), (len(keybox), zlib.crc32(keybox)), said)
                self.check_crc(tv, ESN, data, said)

    def test_a_configuration_is_stored(self):
        with KeySet() as tv:
            for item in range(5):
                tv.meta.set(item, 0)  # lines that a short configuration lacks count as 0
            tv.flash.set("brand", "")
            for data, said in self.each(tv, CONFIG):
                number = int(data.split(b"\r\n")[0])
                self.assertEqual(int(tv.meta.get(1)), number, said)
                self.assertEqual(tv.model.get("tovix.sl2.i32.qorfactory.country"), number, said)


if __name__ == "__main__":
    runner.main()

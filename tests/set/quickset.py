"""A set's end of the line that answers at once: for tests of the line's tool that need many runs and no television."""

import os
import select
import threading
import time
import tty
import zlib

from zelfac.frames import BEGIN, END, OVERHEAD, Frame, empty, frame, result, status

CHANGE = 0x7FFF  # no command of the line's: what was written to the port before it has been taken
CONNECT, WRITE_MAC, READ_MAC = 0x1273, 0x1278, 0x1279
KEY, KEY_CHECKSUM = 0x1281, 0x1282
EMPTY_QUERIES = (0x1277, 0x127D, 0x127F, 0x1280)  # by which the tool tells answers apart
# The tool takes no answer to a file that comes sooner: a set would still be waiting for more bytes.
INSTALLING = 0.45  # seconds


class QuickSet:
    """`path` is its port. `told` hears of each address and each key that the set was given."""

    def __init__(self, told):
        self.told = told
        self.master, self.slave = os.openpty()
        tty.setraw(self.master)
        self.path = os.ttyname(self.slave)
        self.address = ""
        self.chunks = {}
        self.checksum = 0
        self.answers = []  # (when, bytes)
        self.changed = threading.Event()
        self.wake, self.waker = os.pipe()
        self.thread = threading.Thread(target=self._run)
        self.thread.start()

    def change(self):
        """Another set is plugged in: returns when this one has taken all that was sent to it."""
        self.changed.clear()
        os.write(self.slave, bytes(73) + frame(CHANGE))  # a frame that was cut short ends in the zeros
        self.changed.wait()

    def close(self):
        os.close(self.waker)
        self.thread.join()
        for end in (self.master, self.slave, self.wake):
            os.close(end)

    def _run(self):
        data = b""
        while True:
            now = time.monotonic()
            for answer in [each for each in self.answers if each[0] <= now]:
                self.answers.remove(answer)
                os.write(self.master, answer[1])
            wait = min((when - now for when, _ in self.answers), default=None)
            ready, _, _ = select.select([self.master, self.wake], [], [], wait)
            if self.wake in ready:
                return
            if self.master in ready:
                data = self._take(data + os.read(self.master, 65536))

    def _take(self, data):
        """Answers the frames in it and returns what may become one."""
        while True:
            data = data[data.find(BEGIN) :] if BEGIN in data else b""
            size = data[4] + OVERHEAD if len(data) > 4 else OVERHEAD
            if len(data) < size:
                return data
            if data[size - 1] != END or sum(data[1 : size - 1]) & 0xFF:
                data = data[1:]
                continue
            self._answer(Frame.parse(data[:size]))
            data = data[size:]

    def _say(self, data, after=0.0):
        self.answers.append((time.monotonic() + after, data))

    def _answer(self, request):
        if request.command == CHANGE:
            self.address, self.chunks, self.checksum, self.answers = "", {}, 0, []
            self.changed.set()
        elif request.command == WRITE_MAC:
            self.address = request.payload.decode()
            self.told(self.address)
            self._say(status(WRITE_MAC, 0))
        elif request.command == READ_MAC:
            self._say(result(READ_MAC, self.address.encode()))
        elif request.command == KEY_CHECKSUM:
            self._say(result(KEY_CHECKSUM, self.checksum.to_bytes(4, "big")))
        elif request.command == KEY and request.b:
            self.chunks[request.a] = request.payload
            if len(self.chunks) == request.b:
                key = b"".join(self.chunks[index] for index in sorted(self.chunks))
                self.chunks = {}
                self.checksum = zlib.crc32(key)
                self.told(key.decode())
                self._say(status(KEY, 0), INSTALLING)
        elif request.command == CONNECT:
            self.chunks = {}
            self._say(status(CONNECT, 0))
        elif request.command in EMPTY_QUERIES:
            self._say(empty(request.command))

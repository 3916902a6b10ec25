#!/usr/bin/env python3
# SPDX-License-Identifier: BSL-1.0
"""A participant without this library: Python's standard library alone, after docs/contract.md.

    examples/participant.py --id python

It joins as soon as there is a host, sends a tone, hears what others connect to it, publishes values and
leaves in order: at Ctrl-C, with its host, or when somebody asks it to. Offline parameter 108 is its
level in dB (`lipc set python p108 -30`), 109 the peak that it heard, string 5 what it runs on. A list of
connections would take Boost, so others connect it: `lipc connect python meter`, `tone --to python`.

It runs on Linux. What macOS on x86-64 does otherwise is in here, but it has not run there. On another
processor stores would have to be ordered, which Python cannot say.
"""
import argparse
import array
import contextlib
import ctypes
import math
import os
import re
import signal
import struct
import sys
import time

TYPE, MODE = int.from_bytes(b"PYTH", "big"), 1 | 2  # sends, receives
CHANNELS, SAMPLES, RATE, FREQUENCY = 2, 256, 48000, 440
LEVEL, HEARD, SILENCE_DB = 108, 109, -144.0
JOIN, LEAVE = 0x0100, 0x0000
PASS_SECONDS = 0.25
IS_MAC = sys.platform == "darwin"
CLOCK = time.CLOCK_MONOTONIC_RAW if IS_MAC else time.CLOCK_MONOTONIC

# SessionBuffer, and in it a ClientEntry
REQUEST, REGISTRATION, ENDED, NEW_AUDIO, CAN_REGISTER = 64, 68, 328, 588, 856
ROWS, ROW_BYTES, ROW_COUNT, HEARTBEAT, SESSION_BYTES = 1120, 3376, 1024, 3458144, 3458224
NAME, PARAMETERS, STRINGS, STRING_BYTES = 72, 144, 656, 272
# ClientBuffer
MUST_DISCONNECT, QUEUE, STAMP, STAMP_MUTEX, BUFFER_BYTES = 140, 400, 920, 984, 1248
# SHMSlices, and in it an SHMSliceBuffer
SLICES, SLICE_BYTES, SLICE_COUNT, RING_BYTES, CHANNEL_BYTES = 8, 784, 6, 4712, 4096
TIME, CHANNEL_COUNT, SAMPLE_COUNT, READY, OFFSET = 72, 80, 84, 88, 780

libc = ctypes.CDLL(None, use_errno=True)
pointer, text, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
libc.ftok.argtypes = [text, number]
libc.shmget.argtypes = [number, ctypes.c_size_t, number]
libc.shmat.argtypes, libc.shmat.restype = [number, pointer, number], pointer
libc.shmctl.argtypes = [number, number, pointer]
libc.shmdt.argtypes = libc.sem_trywait.argtypes = libc.sem_post.argtypes = [pointer]
libc.sem_open.argtypes, libc.sem_open.restype = [text, number], pointer  # two more where it makes
libc.sem_close.argtypes, libc.sem_unlink.argtypes = [pointer], [text]
IPC_CREAT, IPC_EXCL, IPC_RMID, IPC_STAT = 0o1000, 0o2000, 0, 2
FAILED = (None, ctypes.c_void_p(-1).value)


class NotNow(Exception):
    """Why an attempt to join came to nothing. The next one comes 100 ms later."""


def key_of(name):
    return libc.ftok(f"/tmp/LIPC_{name}".encode(), 1)


def find(name, size=0):
    """The system's number of a segment of at least that size, or -1."""
    key = key_of(name)  # -1 without a key file; to the system that is a key like any other
    return libc.shmget(key, size, 0) if key != -1 else -1


def make(name, size):
    """The same of a new segment. What is there and attached is somebody's; else it is a leftover."""
    with contextlib.suppress(OSError):  # another user's key file gives its key too
        open(f"/tmp/LIPC_{name}", "w").close()
    old = find(name)
    if old >= 0:
        status = ctypes.create_string_buffer(256)
        libc.shmctl(old, IPC_STAT, status)
        if any(status[40:42] if IS_MAC else status[88:96]):
            raise NotNow(f"the segment {name} is somebody else's, who has it attached")
        libc.shmctl(old, IPC_RMID, None)
    return libc.shmget(key_of(name), size, IPC_CREAT | IPC_EXCL | 0o666)


class Segment:
    def __init__(self, name, size, maker=find):
        self.name, self.id = name, maker(name, size)
        self.address = libc.shmat(self.id, None, 0) if self.id >= 0 else None
        if self.address in FAILED:
            raise NotNow(f"the segment {name} is not to be had: {os.strerror(ctypes.get_errno())}")

    def word(self, at, kind=ctypes.c_uint32):
        """The word there; its `value` is loaded and stored at once."""
        return kind.from_address(self.address + at)

    def read(self, at, count):
        return ctypes.string_at(self.address + at, count)

    def text(self, at, count):
        return self.read(at, count).split(b"\0")[0]

    def write(self, at, data):
        ctypes.memmove(self.address + at, data, len(data))

    def detach(self):
        libc.shmdt(self.address)

    def remove(self):
        libc.shmctl(self.id, IPC_RMID, None)
        self.detach()


class Semaphore:
    def __init__(self, name, *mode_and_count):
        if not re.fullmatch(rb"[0-?]{8}[^/]{0,21}", name):
            raise NotNow("the name of a semaphore is damaged")
        self.name = b"/" + name
        self.handle = libc.sem_open(self.name, os.O_CREAT if mode_and_count else 0, *mode_and_count)
        if self.handle in FAILED:
            raise NotNow(f"the semaphore {name} cannot be opened: {os.strerror(ctypes.get_errno())}")

    @classmethod
    def made(cls, full_name, count, segment, at):
        """A new one in place of any leftover, with its record in the segment."""
        full = full_name.encode()[:127].ljust(128, b"\0")
        total = sum(struct.unpack("=32I", full))
        name = bytes(0x30 | total >> 4 * i & 15 for i in range(8)) + full[8:29].rstrip(b"\0")
        segment.write(at, name.ljust(128, b"\0") + full + struct.pack("=I", count))
        libc.sem_unlink(b"/" + name)
        return cls(name, ctypes.c_uint(0o666), ctypes.c_uint(count))

    def post(self):
        libc.sem_post(self.handle)

    def take(self, seconds=0.0):
        """False when it was not to be had in time. It looks again and again: macOS has no timed wait."""
        end = time.monotonic() + seconds
        while libc.sem_trywait(self.handle) != 0:
            if time.monotonic() >= end:
                return False
            time.sleep(0.001)
        return True

    def close(self):
        libc.sem_close(self.handle)


class Ring(Segment):
    def __init__(self, name):
        super().__init__(name, RING_BYTES + SLICE_COUNT * CHANNELS * CHANNEL_BYTES, make)
        for i in range(SLICE_COUNT):
            at = SLICES + i * SLICE_BYTES
            self.word(at + CHANNEL_COUNT, ctypes.c_uint16).value = CHANNELS
            self.word(at + OFFSET).value = RING_BYTES + i * CHANNELS * CHANNEL_BYTES - at

    def slice_of(self, stamp):
        newest = self.word(0).value
        for age in range(SLICE_COUNT):
            at = SLICES + (newest - age) % SLICE_COUNT * SLICE_BYTES
            if self.word(at + TIME, ctypes.c_int64).value - stamp in (-2, 0, 2):
                return at
        return None

    def next_slice(self, stamp):
        newest = (self.word(0).value + 1) % SLICE_COUNT
        self.word(0).value = newest
        self.word(SLICES + newest * SLICE_BYTES + TIME, ctypes.c_int64).value = stamp
        return SLICES + newest * SLICE_BYTES

    def channel(self, at, c):
        return at + self.word(at + OFFSET).value + c * CHANNEL_BYTES

    def describe(self, at, owner, ready):
        self.word(at + SAMPLE_COUNT).value = SAMPLES
        self.word(at + READY, ctypes.c_uint8).value = ready
        self.write(at, struct.pack("=I", TYPE) + owner + b"\0")


class Participant:
    """Everything that it holds goes with `attached`, the last first."""

    def __init__(self, client_id):
        self.id, self.key = client_id, client_id.encode().ljust(64, b"\0")
        self.level, self.heard, self.sent, self.answered = -12.0, SILENCE_DB, 0, 0
        # At 440 Hz and 48000 samples a second the tone begins anew every 1200 samples.
        self.wave = [math.sin(2 * math.pi * FREQUENCY * i / RATE) for i in range(1200 + SAMPLES)]

    def hold(self, what):
        self.attached.callback(what.detach if isinstance(what, Segment) else what.close)
        return what

    def join(self):
        """One attempt. Raises NotNow, with everything let go of."""
        with contextlib.ExitStack() as self.attached:
            if find("LIPC_SESSION_NOCONNECT") >= 0:
                raise NotNow("it forbids joins")
            if find("LIPC_VERSION") < 0:
                raise NotNow("there is none")
            version = self.hold(Segment("LIPC_VERSION", 8)).read(0, 8)
            if version != struct.pack("=2I", 5, 64):
                said = struct.unpack("=2I", version)
                raise NotNow("it has version %d and %d bits, not 5 and 64" % said)
            self.table = self.hold(Segment("LIPC_SESSION", SESSION_BYTES))
            self.registration, self.ended, self.new_audio, self.lock = (
                self.hold(Semaphore(self.table.text(at, 128)))
                for at in (REGISTRATION, ENDED, NEW_AUDIO, CAN_REGISTER))
            if not self.lock.take():
                raise NotNow("somebody else is joining or leaving")
            try:
                self.take_row()
            except BaseException:
                self.lock.post()
                raise
            self.ask_host(JOIN, 2.5)
            self.attached = self.attached.pop_all()
        self.beat, self.unchanged, self.sent, self.answered = self.heartbeat(), 0, 0, 0

    def take_row(self):
        """With the registration lock: nobody else takes a row or a name."""
        rows = range(ROWS, ROWS + ROW_COUNT * ROW_BYTES, ROW_BYTES)
        ids = {at: self.table.text(at, 64) for at in rows}
        if self.id.encode() in ids.values():  # the library would look at the stamp, and take another ID
            raise NotNow(f'"{self.id}" is in the session. If that one is dead, its row is freed soon')
        self.row = next((at for at in rows if ids[at] in (b"", b"Default")), None)
        if self.row is None:
            raise NotNow("its table is full")
        self.make_segments()
        names = {self.table.text(at + NAME, 64) for at in rows}
        candidates = ["Python"] + [f"Python ({n})" for n in range(1, ROW_COUNT + 1)]
        self.fill_row(next(name.encode() for name in candidates if name.encode() not in names))

    def make_segments(self):
        self.buffer = Segment(self.id, BUFFER_BYTES, make)
        self.attached.callback(self.buffer.remove)
        self.must_disconnect, self.stamp_mutex = (
            self.hold(Semaphore.made(self.id + suffix, count, self.buffer, at))
            for suffix, count, at in (("ClientMustDisconnect", 0, MUST_DISCONNECT),
                                      ("mKeepAliveTimestampMutex", 1, STAMP_MUTEX)))
        self.attached.callback(self.unlink_semaphores)
        self.buffer.write(0, self.key)
        self.buffer.write(68, struct.pack("=2I", TYPE, MODE))
        self.refresh_stamp()
        self.send = Ring(self.id + "-send")
        self.attached.callback(self.send.remove)
        self.returns = Ring(self.id + "-return")
        self.attached.callback(self.returns.remove)

    def has_its_id(self):
        return find(self.id) in (-1, self.buffer.id)

    def unlink_semaphores(self):
        if self.has_its_id():  # else another has made them anew
            for semaphore in (self.must_disconnect, self.stamp_mutex):
                libc.sem_unlink(semaphore.name)

    def fill_row(self, name):
        values = array.array("f", bytes(4 * 128))
        values[4], values[6], values[LEVEL], values[HEARD] = 3, 5, self.level, self.heard

        def write(at, data):
            self.table.write(self.row + at, data)

        write(68, struct.pack("=I64sIHH", TYPE, name, MODE, CHANNELS, CHANNELS))
        write(PARAMETERS, values.tobytes())
        write(PARAMETERS + 4 * 3, struct.pack("=I", 1))
        write(PARAMETERS + 4 * 5, struct.pack("=I", TYPE))
        write(STRINGS, bytes(10 * STRING_BYTES))
        write(STRINGS + 5 * STRING_BYTES + 8, b"Python " + sys.version.split()[0].encode())
        write(0, self.key + b"\0")  # last: with an ID the row is in use

    def ask_host(self, request, seconds):
        self.table.write(0, self.key)
        self.table.word(REQUEST, ctypes.c_uint16).value = request
        while self.ended.take():
            pass
        self.registration.post()  # from here on the registration lock is the host's
        self.ended.take(seconds)

    def heartbeat(self):
        return self.table.word(HEARTBEAT, ctypes.c_uint64).value

    def refresh_stamp(self):
        if self.stamp_mutex.take():
            self.buffer.write(STAMP, time.strftime("%Y%m%dT%H%M%S", time.gmtime()).encode())
            self.stamp_mutex.post()

    def parameter(self, index):
        return self.table.word(self.row + PARAMETERS + 4 * index, ctypes.c_float)

    def look(self):
        """One pass. Returns why to leave, or None."""
        if any(find(own.name) != own.id for own in (self.buffer, self.send, self.returns)):
            return "its segments lost their names"
        if self.table.read(self.row, 64) != self.key:
            return "its row is gone"
        before, self.beat = self.beat, self.heartbeat()
        self.unchanged = self.unchanged + 1 if self.beat == before else 0
        if self.beat < before or self.unchanged == 11:
            return "the host is gone"
        if self.must_disconnect.take():
            return "somebody asked it to"
        self.refresh_stamp()
        self.parameter(HEARD).value = self.heard
        if self.parameter(LEVEL).value != self.level:
            self.level = min(max(SILENCE_DB, self.parameter(LEVEL).value), 0.0)
            self.parameter(LEVEL).value = self.level
            say(f"somebody set the level to {self.level:g} dB")
        return None

    def exchange(self, stamp):
        """One block: sends its own, hears the answer to the one of four blocks ago."""
        at = self.send.slice_of(stamp) or self.send.next_slice(stamp)
        self.send.describe(at, self.key, ready=1)
        amplitude, wave = 10 ** (self.level / 20), self.wave[stamp % 1200:stamp % 1200 + SAMPLES]
        tone = array.array("f", [amplitude * sample for sample in wave]).tobytes()
        for c in range(CHANNELS):
            self.send.write(self.send.channel(at, c), tone)
        self.returns.describe(self.returns.next_slice(stamp), self.key, ready=0)
        self.announce(stamp)
        at = self.returns.slice_of(stamp - 4 * SAMPLES)
        if at is None or not self.returns.word(at + READY, ctypes.c_uint8).value:
            return  # silence
        self.answered += 1
        heard = b"".join(self.returns.read(self.returns.channel(at, c), 4 * SAMPLES)
                         for c in range(CHANNELS))
        peak = max(map(abs, array.array("f", heard)))
        self.heard = round(20 * math.log10(peak), 1) if peak > 1e-7 else SILENCE_DB

    def announce(self, stamp):
        self.sent += 1
        slot = self.buffer.word(QUEUE + 4).value % 64
        if (slot + 1) % 64 == self.buffer.word(QUEUE).value % 64:
            return  # full: nobody reads it
        self.buffer.word(QUEUE + 8 + 8 * slot, ctypes.c_int64).value = stamp
        self.buffer.word(QUEUE + 4).value = (slot + 1) % 64
        self.new_audio.post()

    def may_ask(self):
        """Not without its row, nor when table or ID became another's."""
        has_row = self.table.read(self.row, 64) == self.key
        return has_row and find(self.table.name) == self.table.id and self.has_its_id()

    def leave(self):
        if self.may_ask() and self.lock.take(3.0):
            if self.may_ask():
                self.ask_host(LEAVE, 1.5)
            else:
                self.lock.post()
        elif self.may_ask():  # the lock is stuck
            self.table.write(self.row + NAME, bytes(64))
            self.table.write(self.row, bytes(64))
        self.attached.close()


def say(line):
    print(f"participant.py: {line}", flush=True)


class SessionClock:
    """The clock of another client: of the one that it is told, or of the first that says "clock ..." in
    its string 5, as a bridge to a sound card does. Else the machine's."""

    def __init__(self, told):
        self.told, self.id, self.ring, self.rate, self.offset = told.encode(), b"", None, RATE, 0.0
        self.newest, self.moved = None, 0.0

    def look(self, table):
        """Once a pass: who it is, and its ring, which is another one when it has joined again."""
        self.forget_ring()
        for at in range(ROWS, ROWS + ROW_COUNT * ROW_BYTES, ROW_BYTES):
            string = at + STRINGS + 5 * STRING_BYTES
            text = table.text(string + 8 + 128 * (table.word(string + 264).value & 1), 128)
            rate = re.match(rb"clock ([1-9][0-9]{3,6}) Hz", text)
            row_id = table.text(at, 64)
            if row_id in (b"", b"Default") or not (row_id == self.told if self.told else rate):
                continue
            if row_id != self.id:
                self.id, self.newest = row_id, None
            self.rate = int(rate[1]) if rate else RATE
            with contextlib.suppress(NotNow, UnicodeDecodeError):
                ring = Segment(row_id.decode() + "-send", RING_BYTES)
                self.ring = ring if ring.address else None
            return

    def now(self):
        """In samples. That client's newest block is where its clock is, or was a moment ago."""
        machine = time.clock_gettime(CLOCK) * self.rate
        if self.ring:
            at = SLICES + self.ring.word(0).value % SLICE_COUNT * SLICE_BYTES
            stamp = self.ring.word(at + TIME, ctypes.c_int64).value
            if stamp != self.newest and self.newest is not None:  # the first may be an old one
                behind = stamp - machine - self.offset
                self.offset += behind if abs(behind) > 8192 else behind / 50
                self.moved = time.monotonic()
            self.newest = stamp
        if time.monotonic() - self.moved > 5:
            self.offset = 0.0
        return machine + self.offset

    def forget_ring(self):
        if self.ring:
            self.ring.detach()
        self.ring = None


def blocks(clock):
    """The stamp of each block when it is due, in whole blocks."""
    stamp = 0
    while True:
        late = (clock.now() - stamp) / clock.rate
        if abs(late) > 0.5:  # the first one, another clock, or the machine slept
            stamp += int(late * clock.rate) // SAMPLES * SAMPLES
            late = 0.0
        time.sleep(max(0.0, -late))
        yield stamp
        stamp += SAMPLES


def stay(participant, clock, told):
    """Blocks and passes, until there is a reason to leave. Returns it."""
    next_pass = 0.0
    for stamp in blocks(clock):
        participant.exchange(stamp)
        if time.monotonic() >= next_pass:
            next_pass = time.monotonic() + PASS_SECONDS
            if why := participant.look():
                return why
            clock.look(participant.table)
        if told:
            return "it was told to end"


def main():
    parser = argparse.ArgumentParser(description="A participant of the session, in Python alone.")
    parser.add_argument("--id", default="python", help="ID of this client (default: python)")
    parser.add_argument("--clock", default="", metavar="CLIENT", help="Follow the clock of this client; "
                        "otherwise the session's first bridge to a sound card gives it, or else the machine")
    arguments = parser.parse_args()
    own_id, clock = arguments.id, SessionClock(arguments.clock)
    is_taken = own_id == "Default" or own_id.startswith("LIPC_")
    if not 0 < len(own_id.encode()) <= 64 or "/" in own_id or is_taken:
        parser.error("an ID has 1 to 64 bytes and no slash; LIPC_... and Default are not for clients")
    told, said, has_joined = [], "", False
    for kind in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(kind, lambda *_: told.append(True))
    participant = Participant(own_id)
    while not told:
        try:
            participant.join()
        except NotNow as why:
            if said != str(why):
                said = str(why)
                say(f"waits for a host: {said}")
            time.sleep(0.1)
            continue
        has_joined, said, why = True, "", "of an error"
        say(f"joined as {own_id}")
        try:
            why = stay(participant, clock, told)
        finally:
            say(f"leaves: {why}. {participant.answered} of {participant.sent} blocks were answered")
            clock.forget_ring()
            participant.leave()
    return 0 if has_joined else 1


if __name__ == "__main__":
    sys.exit(main())

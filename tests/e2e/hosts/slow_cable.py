#!/usr/bin/env python3
# A slow cable between two network interfaces, which it makes and which go with it:
#
# slow_cable.py MEGABITS-PER-SECOND MILLISECONDS PER-CENT-LOST INTERFACE INTERFACE
#
# What enters one comes out of the other, late by the time that it takes at that rate behind what went
# before, and by the given delay. Prints "ready"; ends with its input. The same packets are lost in
# each run. A program, because not every kernel has a queueing discipline that can do this.

import collections
import contextlib
import fcntl
import os
import random
import select
import struct
import sys
import time

TUNSETIFF, IFF_TAP, IFF_NO_PI = 0x400454CA, 0x0002, 0x1000  # of linux/if_tun.h
LONGEST_FRAME = 65536
QUEUED_FRAMES = 1000  # in each direction, as queueing disciplines have it

megabits, milliseconds, per_cent = (float(word) for word in sys.argv[1:4])


def open_interface(name):
    descriptor = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK)
    fcntl.ioctl(descriptor, TUNSETIFF, struct.pack("16sH22x", name.encode(), IFF_TAP | IFF_NO_PI))
    return descriptor


class Wire:
    """One direction of the cable."""

    def __init__(self, source, sink):
        self.source, self.sink = source, sink
        self.waiting = collections.deque()  # frames, each with the time when it is due
        self.free = 0.0                     # when the last frame taken in has left the sender
        self.dice = random.Random(1)

    def take_in(self):
        with contextlib.suppress(BlockingIOError):
            while True:
                frame = os.read(self.source, LONGEST_FRAME)
                lost = self.dice.random() < per_cent / 100
                if lost or len(self.waiting) >= QUEUED_FRAMES:
                    continue
                self.free = max(self.free, time.monotonic()) + len(frame) * 8 / (megabits * 1e6)
                self.waiting.append((self.free + milliseconds / 1000, frame))

    def let_out(self):
        while self.waiting and self.waiting[0][0] <= time.monotonic():
            # An interface that is down takes nothing: lost, as on a real cable.
            with contextlib.suppress(OSError):
                os.write(self.sink, self.waiting.popleft()[1])


ends = [open_interface(name) for name in sys.argv[4:6]]
wires = [Wire(*ends), Wire(*reversed(ends))]
print("ready", flush=True)
while True:
    due = [wire.waiting[0][0] for wire in wires if wire.waiting]
    limit = max(0.0, min(due) - time.monotonic()) if due else None
    if sys.stdin in select.select([*ends, sys.stdin], [], [], limit)[0]:
        break
    for wire in wires:
        wire.take_in()
        wire.let_out()

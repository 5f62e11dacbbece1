"""A device that speaks the browser's protocol, and a window on the display that it gets.

device.py LINK TESSALINECTL: becomes an extra screen twice, reaches the window with its input, and
prints what it saw. Its exit code says whether all of it worked.
device.py LINK TESSALINECTL gnome: the same where the shell starts with its overview."""

import base64
import json
import os
import re
import socket
import struct
import subprocess
import sys
import threading
import time

import gi

gi.require_version("Gdk", "4.0")
gi.require_version("Gtk", "4.0")
from gi.repository import Gdk, Gio, GLib, Gtk  # noqa: E402

FRAME, CURSOR, SHAPE, PROBE_ACK, PROBE = 2, 6, 7, 10, 11
SIZE = (1024, 640)
failures = []


def check(what, good, seen=""):
    print(f"{'ok  ' if good else 'FAIL'} {what}{': ' if seen else ''}{seen}", flush=True)
    if not good:
        failures.append(what)


def eventually(condition, seconds=15):
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        if condition():
            return True
        time.sleep(0.05)
    return condition()


class Device:
    """One connection to the application."""

    def __init__(self, link):
        host, key = re.match(r"http://([^:/]+)[^#]*#k=([a-z0-9]+)", link).groups()
        self.counts = {}
        self.bytes = 0
        self.cursor = set()
        self.socket = socket.create_connection((host, 7791), 10)
        nonce = base64.b64encode(os.urandom(16)).decode()
        self.socket.sendall(
            f"GET / HTTP/1.1\r\nHost: {host}:7791\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            f"Origin: http://{host}:7790\r\nSec-WebSocket-Key: {nonce}\r\n"
            "Sec-WebSocket-Version: 13\r\n\r\n".encode()
        )
        self.file = self.socket.makefile("rb")
        status = self.file.readline().decode()
        while self.file.readline().strip():
            pass
        if " 101 " not in status:
            raise RuntimeError(status)
        threading.Thread(target=self.read, daemon=True).start()
        self.send({"w": SIZE[0], "h": SIZE[1], "scale": 1, "key": key,
                   "id": "0123456789abcdef0123456789abcdef", "name": "Tablet"})

    def send(self, message):
        data = json.dumps(message).encode()
        self.write(0x1, data)

    def write(self, kind, data):
        mask = os.urandom(4)
        length = (struct.pack("!BB", 0x80 | kind, 0x80 | len(data)) if len(data) < 126
                  else struct.pack("!BBH", 0x80 | kind, 0x80 | 126, len(data)))
        masked = bytes(byte ^ mask[i % 4] for i, byte in enumerate(data))
        self.socket.sendall(length + mask + masked)

    def read(self):
        try:
            while True:
                head = self.file.read(2)
                length = head[1] & 127
                if length == 126:
                    length = struct.unpack("!H", self.file.read(2))[0]
                elif length == 127:
                    length = struct.unpack("!Q", self.file.read(8))[0]
                self.received(self.file.read(length))
        except (IndexError, OSError, struct.error):
            self.counts["end"] = 1

    def received(self, data):
        if not data:
            return
        kind = data[0]
        self.counts[kind] = self.counts.get(kind, 0) + 1
        if kind == FRAME:
            self.bytes += len(data)
        if kind == CURSOR:
            self.cursor.add(bytes(data[1:]))
        if kind == PROBE:
            self.write(0x2, bytes([PROBE_ACK]) + data[1:5] + b"\x00\x10")

    def close(self):
        self.socket.shutdown(socket.SHUT_RDWR)


def monitors():
    listed = Gdk.Display.get_default().get_monitors()
    found = []
    for i in range(listed.get_n_items()):
        area = listed.get_item(i).get_geometry()
        found.append((area.width, area.height))
    return found


class Window:
    """A window that fills the extra display and writes down what reaches it."""

    def __init__(self):
        self.heard = []
        self.window = Gtk.Window(title="what reaches the extra display")
        self.text = Gtk.Entry()
        self.window.set_child(self.text)
        click = Gtk.GestureClick(propagation_phase=Gtk.PropagationPhase.CAPTURE)
        click.connect("pressed", lambda gesture, n, x, y: self.heard.append(
            (gesture.get_device().get_source().value_nick, round(x), round(y))))
        self.window.add_controller(click)
        scroll = Gtk.EventControllerScroll(flags=Gtk.EventControllerScrollFlags.BOTH_AXES,
                                           propagation_phase=Gtk.PropagationPhase.CAPTURE)
        scroll.connect("scroll", lambda _, dx, dy: self.heard.append(("scroll", dx, dy)))
        self.window.add_controller(scroll)
        listed = Gdk.Display.get_default().get_monitors()
        for i in range(listed.get_n_items()):
            area = listed.get_item(i).get_geometry()
            if (area.width, area.height) == SIZE:
                self.window.fullscreen_on_monitor(listed.get_item(i))
        self.window.present()


def on_main(work):
    """Runs `work` on GTK's thread and gives its answer."""
    done = threading.Event()
    answer = []

    def run():
        answer.append(work())
        done.set()
        return False

    GLib.idle_add(run)
    done.wait(20)
    return answer[0]


def allow(control):
    """What a person answers when a device comes for the first time."""
    eventually(lambda: subprocess.run([control, "allow"], check=False, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL).returncode == 0, 30)


def begin_to_work():
    """Leaves the overview that GNOME starts with, and the corner where the pointer begins: what
    jumps out of that corner opens the overview. Through Mutter's own interface."""
    def call(path, interface, method, arguments=None):
        return bus.call_sync("org.gnome.Mutter.RemoteDesktop", path,
                             "org.gnome.Mutter.RemoteDesktop" + interface, method, arguments, None,
                             Gio.DBusCallFlags.NONE, -1, None)

    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    session = call("/org/gnome/Mutter/RemoteDesktop", "", "CreateSession").unpack()[0]
    call(session, ".Session", "Start")
    for down in (True, False):
        call(session, ".Session", "NotifyKeyboardKeysym", GLib.Variant("(ub)", (0xff1b, down)))
        time.sleep(0.1)
    for step in ((200.0, 0.0), (0.0, 200.0)):
        call(session, ".Session", "NotifyPointerMotionRelative", GLib.Variant("(dd)", step))
    time.sleep(0.1)
    call(session, ".Session", "Stop")


def play(link, control):
    check("before: one monitor", on_main(monitors) == [(1280, 720)], str(on_main(monitors)))
    device = Device(link)
    allow(control)
    check("pictures arrive without a question", eventually(lambda: device.counts.get(FRAME, 0) > 0),
          f"{device.counts.get(FRAME, 0)} frames, {device.bytes} bytes")
    check("the desktop has the extra monitor, in the size asked for",
          eventually(lambda: SIZE in on_main(monitors)), str(on_main(monitors)))
    window = on_main(Window)
    time.sleep(3)
    frames = device.counts.get(FRAME, 0)
    check("a window on it makes new pictures", frames > 1, f"{frames} frames, {device.bytes} bytes")

    device.send({"t": "tap", "x": 0.25, "y": 0.5})
    expected = (SIZE[0] // 4, SIZE[1] // 2)
    check("a tap reaches the window, where it was aimed", eventually(lambda: any(
        abs(heard[1] - expected[0]) <= 2 and abs(heard[2] - expected[1]) <= 2
        for heard in window.heard)), str(window.heard))
    device.send({"t": "scroll", "x": 0.5, "y": 0.5, "dx": 0, "dy": -40})
    check("so does scrolling", eventually(lambda: any(h[0] == "scroll" for h in window.heard)),
          str([h for h in window.heard if h[0] == "scroll"]))
    check("the pointer is told beside the pictures",
          eventually(lambda: device.counts.get(SHAPE, 0) > 0 and len(device.cursor) > 1),
          f"{len(device.cursor)} places, {device.counts.get(SHAPE, 0)} images")
    device.send({"t": "text", "s": "Hello, 42 @\u00e9\u042f!"})
    time.sleep(2)
    text = on_main(window.text.get_text)
    check("text of the keyboard's layout is typed", "Hello, 42 @" in text, repr(text))
    device.send({"t": "key", "k": "Backspace"})
    check("so are keys", eventually(lambda: len(on_main(window.text.get_text)) == len(text) - 1),
          repr(on_main(window.text.get_text)))
    on_main(window.window.destroy)

    device.close()
    check("the monitor goes with the device",
          eventually(lambda: on_main(monitors) == [(1280, 720)]), str(on_main(monitors)))
    again = Device(link)
    check("the next time nobody is asked either",
          eventually(lambda: again.counts.get(FRAME, 0) > 0),
          f"{again.counts.get(FRAME, 0)} frames")
    again.close()
    eventually(lambda: on_main(monitors) == [(1280, 720)])


def main():
    Gtk.init()
    loop = GLib.MainLoop()

    def run():
        try:
            if sys.argv[3:] == ["gnome"]:
                begin_to_work()
            play(sys.argv[1].split()[0], sys.argv[2])
        except Exception as problem:  # whatever it is, the loop has to end
            check("the device itself", False, repr(problem))
        loop.quit()

    threading.Thread(target=run, daemon=True).start()
    loop.run()
    sys.exit(1 if failures else 0)


main()

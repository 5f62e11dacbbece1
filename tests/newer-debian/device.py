"""A device that speaks the browser's protocol, and a window on the display that it gets.

device.py LINK TESSALINECTL: becomes an extra screen twice, reaches the window with its input, and
prints what it saw. Its exit code says whether all of it worked.
device.py LINK TESSALINECTL refuse|agree|known LOG: the same with GNOME's portal and a person who
refuses; one who agrees; one who agreed before. LOG is where the portal's dialogs write what they
tell the compositor."""

import concurrent.futures
import json
import re
import subprocess
import sys
import threading
import time

import gi
import websocket

gi.require_version("Gdk", "4.0")
gi.require_version("Gtk", "4.0")
from gi.repository import Gdk, Gio, GLib, Gtk  # noqa: E402

FRAME, BYE, PING, CURSOR, SHAPE, PROBE_ACK, PROBE = 2, 4, 5, 6, 7, 10, 11
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
        self.cursor = set()
        self.socket = websocket.create_connection(f"ws://{host}:7791", 10,
                                                  origin=f"http://{host}:7790")
        self.socket.settimeout(None)
        threading.Thread(target=self.read, daemon=True).start()
        self.send({"w": SIZE[0], "h": SIZE[1], "scale": 1, "key": key,
                   "id": "0123456789abcdef0123456789abcdef", "name": "Tablet"})

    def send(self, message):
        self.socket.send(json.dumps(message))

    def read(self):
        try:
            while data := self.socket.recv():
                kind = data[0]
                self.counts[kind] = self.counts.get(kind, 0) + 1
                if kind == CURSOR:
                    self.cursor.add(bytes(data[1:]))
                if kind == PROBE:
                    self.socket.send_binary(bytes([PROBE_ACK]) + data[1:5] + b"\x00\x10")
        except (websocket.WebSocketException, OSError):
            pass
        self.counts["end"] = 1

    def shows(self, frames=1):
        return eventually(lambda: self.counts.get(FRAME, 0) >= frames)

    def close(self):
        self.socket.shutdown()


def on_main(work):
    """Runs `work` on GTK's thread and gives its answer."""
    done = concurrent.futures.Future()
    GLib.idle_add(lambda: done.set_result(work()))
    return done.result(20)


def monitors():
    """Each with its size. On GTK's thread."""
    listed = Gdk.Display.get_default().get_monitors()
    every = [listed.get_item(i) for i in range(listed.get_n_items())]
    return [(monitor, (monitor.get_geometry().width, monitor.get_geometry().height))
            for monitor in every]


def sizes():
    return on_main(lambda: [size for _, size in monitors()])


def check_alone(what):
    check(what, eventually(lambda: sizes() == [(1280, 720)]), str(sizes()))


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
        scroll.connect("scroll", self.scrolled)
        self.window.add_controller(scroll)
        for monitor, size in monitors():
            if size == SIZE:
                self.window.fullscreen_on_monitor(monitor)
        self.window.present()

    def scrolled(self, controller, dx, dy):
        click = 60 if controller.get_unit() == Gdk.ScrollUnit.WHEEL else 1  # pixels, about
        self.heard.append(("scroll", dx * click, dy * click))


def allow(control):
    """What a person answers when a device comes for the first time."""
    eventually(lambda: subprocess.run([control, "allow"], check=False, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL).returncode == 0, 30)


class Person:
    """Who sits before GNOME: a keyboard and a mouse, by Mutter's own interface, and eyes for the
    dialogs of its portal."""

    ESCAPE, TAB, SPACE, S = 0xFF1B, 0xFF09, 0x20, 0x73
    SHIFT, CONTROL, ALT, SUPER = 0xFFE1, 0xFFE3, 0xFFE9, 0xFFEB

    def __init__(self, log):
        self.log = log
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.session = self.call("/org/gnome/Mutter/RemoteDesktop", "", "CreateSession").unpack()[0]
        self.call(self.session, ".Session", "Start")
        self.strike(self.SHIFT)  # programs have to hear that there is a keyboard before they hear it
        time.sleep(1)

    def call(self, path, interface, method, arguments=None):
        return self.bus.call_sync("org.gnome.Mutter.RemoteDesktop", path,
                                  "org.gnome.Mutter.RemoteDesktop" + interface, method, arguments,
                                  None, Gio.DBusCallFlags.NONE, -1, None)

    def strike(self, *keys):
        """Keys that are held together."""
        for down, order in ((True, keys), (False, reversed(keys))):
            for key in order:
                self.call(self.session, ".Session", "NotifyKeyboardKeysym",
                          GLib.Variant("(ub)", (key, down)))
                time.sleep(0.1)

    def begin_to_work(self):
        """Leaves the overview that GNOME starts with, and the corner where the pointer begins: what
        jumps out of that corner opens the overview."""
        self.strike(self.ESCAPE)
        for step in ((200.0, 0.0), (0.0, 200.0)):
            self.call(self.session, ".Session", "NotifyPointerMotionRelative",
                      GLib.Variant("(dd)", step))
        time.sleep(0.5)

    def questions(self):
        """How many dialogs there have been, and how many are open."""
        with open(self.log, encoding="utf-8", errors="replace") as log:
            text = log.read()
        asked = len(re.findall(r"\.get_toplevel\(", text))
        return asked, asked - len(re.findall(r"xdg_toplevel\S*\.destroy\(", text))

    def sees_question(self, what="the desktop asks"):
        check(what, eventually(lambda: self.questions()[1] == 1), f"{self.questions()[0]} so far")
        time.sleep(2)  # until it has the keyboard

    def adds_hot_key(self):
        """Backwards from the dialog's first button to its last one, Add."""
        self.strike(self.SHIFT, self.TAB)
        self.strike(self.SPACE)
        check("the dialog for the hot key can be answered",
              eventually(lambda: self.questions()[1] == 0))

    def agrees(self):
        """From the box for remembering, which is ticked: the switch for input, which is off, the
        monitor, Cancel, Share."""
        for key in (self.TAB, self.SPACE, self.TAB, self.TAB, self.TAB, self.SPACE):
            self.strike(key)


def refuse(link, control, person):
    person.sees_question("the desktop asks for the hot key")
    person.adds_hot_key()
    asked = person.questions()[0]
    device = Device(link)
    allow(control)
    person.sees_question()
    pings = device.counts.get(PING, 0)
    time.sleep(20)
    status = subprocess.run([control, "status"], check=False, stdout=subprocess.DEVNULL, timeout=5)
    check("a question left open holds up nothing", status.returncode == 0
          and device.counts.get(PING, 0) >= pings + 10 and "end" not in device.counts
          and person.questions() == (asked + 1, 1), str(device.counts))
    person.strike(person.ESCAPE)
    check("a refusal ends the session", eventually(lambda: "end" in device.counts),
          str(device.counts))
    for _ in range(3):
        again = Device(link)
        check("and the next one, without another question",
              eventually(lambda: "end" in again.counts)  # noqa: B023
              and person.questions() == (asked + 1, 0), f"{person.questions()[0]} so far")
        time.sleep(1)
    check_alone("no monitor came")


def play(link, control, person=None):
    check_alone("before: one monitor")
    device = Device(link)
    if person:
        person.sees_question()
        asked = person.questions()[0]
        person.agrees()
        person.call(person.session, ".Session", "Stop")
    else:
        allow(control)
    check("pictures arrive", device.shows(), str(device.counts))
    check("the desktop has the extra monitor, in the size asked for",
          eventually(lambda: SIZE in sizes()), str(sizes()))
    window = on_main(Window)
    check("a window on it makes new pictures", device.shows(2), str(device.counts))
    time.sleep(3)  # until it has come to rest

    device.send({"t": "tap", "x": 0.25, "y": 0.5})
    expected = (SIZE[0] // 4, SIZE[1] // 2)
    check("a tap reaches the window, where it was aimed", eventually(lambda: any(
        abs(heard[1] - expected[0]) <= 2 and abs(heard[2] - expected[1]) <= 2
        for heard in window.heard)), str(window.heard))
    device.send({"t": "scroll", "x": 0.5, "y": 0.5, "dx": 0, "dy": -40})
    check("so does scrolling, as far", eventually(
        lambda: any(h[0] == "scroll" and 30 <= h[2] <= 50 for h in window.heard)),
          str([h for h in window.heard if h[0] == "scroll"]))
    check("the pointer is told beside the pictures",
          eventually(lambda: device.counts.get(SHAPE, 0) > 0 and len(device.cursor) > 1),
          f"{len(device.cursor)} places, {device.counts.get(SHAPE, 0)} images")
    plain, rest = "Hello, 42 @", "\u00e9\u042f \u65e5\u672c \U0001f600!"
    device.send({"t": "text", "s": plain + rest})
    time.sleep(2)
    text = on_main(window.text.get_text)
    # A portal can type what the keyboard's layout has.
    check("text is typed", (plain if person else plain + rest) in text, repr(text))
    device.send({"t": "key", "k": "Backspace"})
    check("so are keys", eventually(lambda: len(on_main(window.text.get_text)) == len(text) - 1),
          repr(on_main(window.text.get_text)))
    on_main(window.window.destroy)

    device.close()
    check_alone("the monitor goes with the device")
    again = Device(link)
    check("it can come again", again.shows(), str(again.counts))
    again.close()
    check_alone("and goes again")
    if person:
        check("without a question", person.questions() == (asked, 0), f"{person.questions()}")


def known(link, person):
    asked = person.questions()
    device = Device(link)
    check("pictures arrive without a question", device.shows() and person.questions() == asked,
          f"{device.counts}, {person.questions()}")
    time.sleep(5)  # until the hot key is there
    person.strike(person.CONTROL, person.ALT, person.SUPER, person.S)
    check("the hot key ends it, and nobody was asked for that either",
          eventually(lambda: BYE in device.counts) and person.questions() == asked,
          str(device.counts))
    check_alone("the monitor goes with the session")


def run():
    link, control, stage, log = sys.argv[1].split()[0], sys.argv[2], *(sys.argv[3:] or ("", ""))
    if not stage:
        play(link, control)
        return
    person = Person(log)
    if stage == "refuse":
        person.begin_to_work()
        refuse(link, control, person)
    elif stage == "agree":
        play(link, control, person)
    else:
        known(link, person)


def main():
    Gtk.init()
    loop = GLib.MainLoop()

    def guarded():
        try:
            run()
        except Exception as problem:  # whatever it is, the loop has to end
            check("the device itself", False, repr(problem))
        loop.quit()

    threading.Thread(target=guarded, daemon=True).start()
    loop.run()
    sys.exit(1 if failures else 0)


main()

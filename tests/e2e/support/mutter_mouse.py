#!/usr/bin/python3
# A mouse at a Mutter desktop, for tests: mutter_mouse.py MONITOR. Each line of standard input, X Y,
# leads the pointer to this place of the desktop, as seen from the top left of the monitor, and is
# answered with "done". Ends with its input, and where Mutter refuses.
#
# Absolute places need a stream that they refer to: that of a monitor, at which nobody looks. It does
# not clip them, so that they lead to all monitors.

import sys
import time

from gi.repository import Gio, GLib

DEVICE_TIME = 0.2  # seconds; programs get to know a new pointer, nothing says when
bus = Gio.bus_get_sync(Gio.BusType.SESSION)


def call(service, path, method, signature="()", *arguments):
    interface, name = method.rsplit(".", 1)
    return bus.call_sync(service, path, interface, name, GLib.Variant(signature, arguments), None,
                         Gio.DBusCallFlags.NONE, -1, None).unpack()


REMOTE, CAST = "org.gnome.Mutter.RemoteDesktop", "org.gnome.Mutter.ScreenCast"
session, = call(REMOTE, "/org/gnome/Mutter/RemoteDesktop", f"{REMOTE}.CreateSession")
number, = call(REMOTE, session, "org.freedesktop.DBus.Properties.Get", "(ss)",
               f"{REMOTE}.Session", "SessionId")
cast, = call(CAST, "/org/gnome/Mutter/ScreenCast", f"{CAST}.CreateSession", "(a{sv})",
             {"remote-desktop-session-id": GLib.Variant("s", number)})
stream, = call(CAST, cast, f"{CAST}.Session.RecordMonitor", "(sa{sv})", sys.argv[1], {})
call(REMOTE, session, f"{REMOTE}.Session.Start")


def move(x, y):
    call(REMOTE, session, f"{REMOTE}.Session.NotifyPointerMotionAbsolute", "(sdd)", stream, x, y)


move(0, 0)
time.sleep(DEVICE_TIME)
for line in sys.stdin:
    move(*map(float, line.split()))
    print("done", flush=True)

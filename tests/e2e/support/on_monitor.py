"""What programs that paint or listen on one monitor, on X or on Wayland, have in common."""

import os
import sys

from PyQt6.QtCore import QSize, QSocketNotifier, Qt
from PyQt6.QtGui import QColor, QCursor, QGuiApplication, QPainter, QPixmap


def screen_named(name):
    """The monitor of that name (as xrandr and Mutter have it), None while there is none."""
    return next((screen for screen in QGuiApplication.screens() if screen.name() == name), None)


def crosshair(pixel_ratio):
    """A pointer whose hot spot is the middle of its image, whatever the desktop's theme. Its colour
    tells whether red, green and blue are taken for one another."""
    side = 15  # odd: it has a middle
    orange = QColor(0xFF, 0x80, 0x00)
    image = QPixmap(QSize(side, side) * pixel_ratio)
    image.setDevicePixelRatio(pixel_ratio)
    image.fill(Qt.GlobalColor.transparent)
    painter = QPainter(image)
    painter.fillRect(0, side // 2, side, 1, orange)
    painter.fillRect(side // 2, 0, 1, side, orange)
    painter.end()
    return QCursor(image, side // 2, side // 2)


def say(line):
    print(line, flush=True)


def run(application, obey):
    """Calls `obey` with each line of standard input, from the event loop, and ends with its end."""
    waiting = b""

    def read():
        nonlocal waiting
        data = os.read(sys.stdin.fileno(), 4096)
        if not data:
            application.quit()
            return
        *orders, waiting = (waiting + data).split(b"\n")
        for order in orders:
            obey(order.decode())

    notifier = QSocketNotifier(sys.stdin.fileno(), QSocketNotifier.Type.Read)
    notifier.activated.connect(read)
    # A fault in what Qt calls would only be printed.
    sys.excepthook = lambda *fault: (sys.__excepthook__(*fault), os._exit(1))
    sys.exit(application.exec())

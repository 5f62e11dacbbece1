#!/usr/bin/python3
# Fills rectangles of monitors with plain colours, on X and on Wayland, for tests that compare what
# is shown elsewhere. Each line of standard input is an order and is answered with "done" once it
# has been painted:
#   WxH+X+Y RRGGBB MONITOR   a rectangle, in pixels of that monitor, above everything else; what it
#                            leaves free of the monitor is black. The pointer over it is a
#                            crosshair, whose hot spot is its middle
#   clear                    shows what was there before
# Ends with its input.

import re
import sys

from PyQt6.QtCore import QPoint, QRect, QRectF, QSizeF, Qt
from PyQt6.QtGui import QColor, QGuiApplication, QPainter, QRasterWindow

from on_monitor import crosshair, run, say, screen_named


class Canvas(QRasterWindow):
    """All that is painted on one monitor."""

    def __init__(self, screen):
        super().__init__()
        self.areas = []
        self.unanswered = 0
        self.setFlags(Qt.WindowType.FramelessWindowHint | Qt.WindowType.WindowStaysOnTopHint
                      | Qt.WindowType.WindowDoesNotAcceptFocus)
        # No window manager is to move it or to put anything above it.
        if QGuiApplication.platformName() == "xcb":
            self.setFlag(Qt.WindowType.BypassWindowManagerHint)
        self.setCursor(crosshair(screen.devicePixelRatio()))
        self.setScreen(screen)
        self.setGeometry(screen.geometry())
        self.setWindowState(Qt.WindowState.WindowFullScreen)
        self.setVisible(True)

    def add(self, rect, colour):
        self.areas.append((rect, colour))
        self.unanswered += 1
        # No more than that is told to the desktop as changed.
        ratio = self.devicePixelRatio()
        self.update(QRectF(rect.topLeft().toPointF() / ratio, QSizeF(rect.size()) / ratio)
                    .toAlignedRect())

    def paintEvent(self, _event):
        painter = QPainter(self)
        painter.scale(1 / self.devicePixelRatio(), 1 / self.devicePixelRatio())
        whole = QRect(QPoint(), self.size() * self.devicePixelRatio())
        for rect, colour in [(whole, QColor("black")), *self.areas]:
            painter.fillRect(rect, colour)
        painter.end()
        for _ in range(self.unanswered):
            say("done")
        self.unanswered = 0


waiting = []   # areas, each with the monitor that is not there yet
canvases = {}  # by the names of monitors


def paint_what_waits():
    for order in list(waiting):
        name, rect, colour = order
        screen = screen_named(name)
        if screen is None:
            continue
        waiting.remove(order)
        if name not in canvases:
            canvases[name] = Canvas(screen)
        canvases[name].add(rect, colour)


def obey(order):
    if order == "clear":
        canvases.clear()
        say("done")
        return
    *place, colour, name = re.fullmatch(r"(\d+)x(\d+)\+(\d+)\+(\d+) (\w+) (.*)", order).groups()
    width, height, x, y = map(int, place)
    waiting.append((name, QRect(x, y, width, height), QColor("#" + colour)))
    paint_what_waits()


application = QGuiApplication(sys.argv)
application.setQuitOnLastWindowClosed(False)
# A monitor that is there for its maker may not be there yet for this program.
application.screenAdded.connect(paint_what_waits)
application.screenRemoved.connect(lambda screen: canvases.pop(screen.name(), None))
run(application, obey)

#!/usr/bin/python3
# Says what an X screen shows, windows of all kinds included, the pointer not. Each line of standard
# input names an area, WxH+X+Y, and is answered with a line: the colours of its pixels, row by row,
# as RRGGBB without anything between them. Ends with its input.

import re
import sys

from PyQt6.QtGui import QGuiApplication, QImage

from on_monitor import run, say


def tell(area):
    width, height, x, y = map(int, re.fullmatch(r"(\d+)x(\d+)\+(\d+)\+(\d+)", area).groups())
    screen = application.primaryScreen()  # of which each part of the desktop can be asked
    x, y = x - screen.geometry().x(), y - screen.geometry().y()
    shot = screen.grabWindow(0, x, y, width, height).toImage()
    pixels = shot.convertToFormat(QImage.Format.Format_RGB32)
    say("".join(f"{pixels.pixel(column, row) & 0xFFFFFF:06x}"
                for row in range(height) for column in range(width)))


application = QGuiApplication(sys.argv)
run(application, tell)

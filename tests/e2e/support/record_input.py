#!/usr/bin/python3
# A text field over all of one monitor, on X or on Wayland, that prints every input it receives as
# a line, places in pixels of the monitor:
#   focus                       it has the keyboard focus from now on
#   press|release BUTTON at X,Y, touch|lift at X,Y, wheel up|down|left|right at X,Y
#   key NAME                    one that is no modifier, with the control key as "Control+Plus"
#   text "..."                  all that the field holds after a change, as a JSON string
# Usage: record_input.py MONITOR. Ends with its input. Orders there: "leave" takes the focus from
# the field, "enter" gives it back.

import json
import sys

from PyQt6.QtCore import QEvent, Qt
from PyQt6.QtGui import QEventPoint
from PyQt6.QtWidgets import QApplication, QFrame, QPlainTextEdit

from on_monitor import crosshair, run, say, screen_named

PRESSES = {QEvent.Type.MouseButtonPress: "press", QEvent.Type.MouseButtonDblClick: "press",
           QEvent.Type.MouseButtonRelease: "release"}
TOUCHES = (QEvent.Type.TouchBegin, QEvent.Type.TouchUpdate, QEvent.Type.TouchEnd,
           QEvent.Type.TouchCancel)
FINGERS = {QEventPoint.State.Pressed: "touch", QEventPoint.State.Released: "lift"}


class Field(QPlainTextEdit):
    def __init__(self):
        super().__init__()
        self.setFrameShape(QFrame.Shape.NoFrame)
        self.setAttribute(Qt.WidgetAttribute.WA_AcceptTouchEvents)
        self.viewport().setAttribute(Qt.WidgetAttribute.WA_AcceptTouchEvents)
        self.viewport().setCursor(crosshair(self.devicePixelRatioF()))
        self.setContextMenuPolicy(Qt.ContextMenuPolicy.NoContextMenu)
        self.textChanged.connect(lambda: say("text " + json.dumps(self.toPlainText())))

    def viewportEvent(self, event):
        kind = event.type()
        if kind in PRESSES:
            button = event.button().name.removesuffix("Button").lower()
            self.say_at(f"{PRESSES[kind]} {button}", event.position())
        elif kind == QEvent.Type.Wheel:
            by = event.angleDelta()
            upright = abs(by.y()) >= abs(by.x())
            way = ("up" if by.y() > 0 else "down") if upright else "left" if by.x() > 0 else "right"
            if not by.isNull():
                self.say_at(f"wheel {way}", event.position())
            return True
        elif kind in TOUCHES:
            for point in event.points():
                if point.state() in FINGERS:
                    self.say_at(FINGERS[point.state()], point.position())
            event.accept()  # and no click is made of it
            return True
        return super().viewportEvent(event)

    def keyPressEvent(self, event):
        modifier = Qt.Key.Key_Shift <= event.key() <= Qt.Key.Key_ScrollLock
        if not event.isAutoRepeat() and not modifier:
            control = Qt.KeyboardModifier.ControlModifier in event.modifiers()
            say(f"key {'Control+' if control else ''}{Qt.Key(event.key()).name[len('Key_'):]}")
        super().keyPressEvent(event)

    # Tab is a character here, not a step to another field.
    def focusNextPrevChild(self, _forwards):
        return False

    def focusInEvent(self, event):
        super().focusInEvent(event)
        say("focus")

    def say_at(self, what, position):
        pixels = position * self.devicePixelRatioF()
        say(f"{what} at {round(pixels.x())},{round(pixels.y())}")


application = QApplication(sys.argv)
field = Field()
field.setWindowTitle("Recorder")


def show():
    screen = screen_named(sys.argv[1])
    if screen is None or field.isVisible():
        return
    field.winId()  # makes its window
    field.windowHandle().setScreen(screen)
    field.setGeometry(screen.geometry())
    field.showFullScreen()


application.screenAdded.connect(show)
show()
run(application, lambda order: field.clearFocus() if order == "leave" else field.setFocus())

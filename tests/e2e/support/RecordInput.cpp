// A text field over all of one monitor, on X or on Wayland, that prints every input it receives as
// a line, places in pixels of the monitor:
//   focus                       it has the keyboard focus from now on
//   press|release BUTTON at X,Y, touch|lift at X,Y, wheel up|down|left|right at X,Y
//   key NAME                    one that is no modifier, with the control key as "Control+Plus"
//   text "..."                  all that the field holds after a change, as a JSON string
// Usage: record_input MONITOR. Ends with its input. Orders there: "leave" takes the focus from the
// field, "enter" gives it back.
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QKeyEvent>
#include <QMetaEnum>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTouchEvent>
#include <QWheelEvent>
#include <cmath>
#include <iostream>
#include <string>

#include "Crosshair.h"
#include "FullScreen.h"
#include "OrderReader.h"

namespace {

class Field final : public QPlainTextEdit {
 public:
  Field() {
    setFrameShape(QFrame::NoFrame);
    setAttribute(Qt::WA_AcceptTouchEvents);
    viewport()->setAttribute(Qt::WA_AcceptTouchEvents);
    viewport()->setCursor(crosshair(devicePixelRatioF()));
    setContextMenuPolicy(Qt::NoContextMenu);
    connect(this, &QPlainTextEdit::textChanged, [this] {
      const QByteArray list =
          QJsonDocument(QJsonArray{toPlainText()}).toJson(QJsonDocument::Compact);
      say("text " + list.mid(1, list.size() - 2).toStdString());
    });
  }

 protected:
  bool viewportEvent(QEvent* event) override {
    switch (event->type()) {
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonDblClick:
        sayButton("press", static_cast<const QMouseEvent&>(*event));
        break;
      case QEvent::MouseButtonRelease:
        sayButton("release", static_cast<const QMouseEvent&>(*event));
        break;
      case QEvent::Wheel: {
        const auto& wheel = static_cast<const QWheelEvent&>(*event);
        const QPoint by = wheel.angleDelta();
        if (!by.isNull()) sayWheel(by, wheel.position());
        return true;
      }
      case QEvent::TouchBegin:
      case QEvent::TouchUpdate:
      case QEvent::TouchEnd:
      case QEvent::TouchCancel:
        for (const auto& point : static_cast<const QTouchEvent&>(*event).points()) {
          if (point.state() == QEventPoint::Pressed) say("touch at " + place(point.position()));
          if (point.state() == QEventPoint::Released) say("lift at " + place(point.position()));
        }
        event->accept();  // and no click is made of it
        return true;
      default:
        break;
    }
    return QPlainTextEdit::viewportEvent(event);
  }

  void keyPressEvent(QKeyEvent* event) override {
    const bool modifier = event->key() >= Qt::Key_Shift && event->key() <= Qt::Key_ScrollLock;
    if (!event->isAutoRepeat() && !modifier) say("key " + name(*event));
    QPlainTextEdit::keyPressEvent(event);
  }
  // Tab is a character here, not a step to another field.
  bool focusNextPrevChild(bool /*next*/) override { return false; }
  void focusInEvent(QFocusEvent* event) override {
    QPlainTextEdit::focusInEvent(event);
    say("focus");
  }

 private:
  static void say(const std::string& line) { std::cout << line << std::endl; }

  std::string place(QPointF at) const {
    const QPointF pixels = at * devicePixelRatioF();
    return std::to_string(std::lround(pixels.x())) + "," + std::to_string(std::lround(pixels.y()));
  }
  void sayButton(const std::string& what, const QMouseEvent& event) const {
    const char* button = event.button() == Qt::LeftButton    ? "left"
                         : event.button() == Qt::RightButton ? "right"
                                                             : "other";
    say(what + " " + button + " at " + place(event.position()));
  }
  void sayWheel(QPoint by, QPointF at) const {
    const bool upright = std::abs(by.y()) >= std::abs(by.x());
    const char* way = upright ? (by.y() > 0 ? "up" : "down") : (by.x() > 0 ? "left" : "right");
    say(std::string("wheel ") + way + " at " + place(at));
  }
  static std::string name(const QKeyEvent& event) {
    const char* key = QMetaEnum::fromType<Qt::Key>().valueToKey(event.key());
    std::string name = key != nullptr ? std::string(key).substr(sizeof "Key_" - 1) : "other";
    if (event.modifiers().testFlag(Qt::ControlModifier)) name = "Control+" + name;
    return name;
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 2) {
    std::cerr << "Usage: record_input MONITOR\n";
    return EXIT_FAILURE;
  }
  const QString monitor = QString::fromLocal8Bit(argv[1]);
  Field field;
  field.setWindowTitle("Recorder");
  const auto show = [&] {
    QScreen* screen = screenNamed(monitor);
    if (screen == nullptr || field.isVisible()) return;
    field.winId();  // makes its window
    placeOver(field, *field.windowHandle(), *screen);
    field.showFullScreen();
  };
  QObject::connect(&application, &QGuiApplication::screenAdded, show);
  show();
  const OrderReader reader([&field](const QByteArray& order) {
    if (order == "leave") field.clearFocus();
    if (order == "enter") field.setFocus();
  });
  return QApplication::exec();
}

// A program that covers the screen at the given place: a text field above, red below. It tells what
// reaches it, one line for each event.

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QWindow>
#include <cstdlib>
#include <iostream>

namespace {

class Area : public QWidget {
 public:
  Area() { setAttribute(Qt::WA_OpaquePaintEvent); }

 protected:
  void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), Qt::red); }
  bool event(QEvent* event) override {
    if (event->type() == QEvent::MouseButtonPress) {
      const auto* const press = static_cast<QMouseEvent*>(event);
      const QPointF at = mapTo(window(), press->position());
      std::cout << "press " << (press->button() == Qt::LeftButton ? "left " : "right ") << at.x()
                << "," << at.y() << std::endl;
    }
    if (event->type() == QEvent::Wheel) {
      const auto* const wheel = static_cast<QWheelEvent*>(event);
      std::cout << "wheel " << wheel->pixelDelta().x() << "," << wheel->pixelDelta().y()
                << std::endl;
    }
    return QWidget::event(event);
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QPoint place(std::atoi(argv[1]), std::atoi(argv[2]));
  QWidget window;
  QVBoxLayout layout(&window);
  layout.setContentsMargins(0, 0, 0, 0);
  layout.setSpacing(0);
  QLineEdit field;
  Area area;
  layout.addWidget(&field);
  layout.addWidget(&area, 1);
  QObject::connect(&field, &QLineEdit::textChanged, [](const QString& text) {
    std::cout << "text " << text.toStdString() << "." << std::endl;
  });
  QObject::connect(&field, &QLineEdit::returnPressed, [] { std::cout << "return" << std::endl; });
  for (QScreen* screen : QGuiApplication::screens()) {
    if (screen->geometry().topLeft() == place) window.setGeometry(screen->geometry());
  }
  window.showFullScreen();
  field.setFocus();
  std::cout << "shown" << std::endl;
  return QApplication::exec();
}

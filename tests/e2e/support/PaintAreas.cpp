// Fills rectangles of monitors with plain colours, on X and on Wayland, for tests that compare what
// is shown elsewhere. Each line of standard input is an order and is answered with "done" once it
// has been painted:
//   WxH+X+Y RRGGBB MONITOR   a rectangle, in pixels of that monitor, above everything else; what it
//                            leaves free of the monitor is black. The pointer over it is a
//                            crosshair, whose hot spot is its middle
//   clear                    shows what was there before
// Ends with its input.
#include <QPaintEvent>
#include <QPainter>
#include <QRasterWindow>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <vector>

#include "Crosshair.h"
#include "FullScreen.h"
#include "OrderReader.h"

namespace {

struct Area {
  QRect rect;
  QColor colour;
};

/// All that is painted on one monitor.
class Canvas final : public QRasterWindow {
 public:
  explicit Canvas(QScreen& screen) {
    setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    // No window manager is to move it or to put anything above it.
    if (onX11()) setFlag(Qt::BypassWindowManagerHint);
    setCursor(crosshair(screen.devicePixelRatio()));
    placeOver(*this, *this, screen);
    setWindowState(Qt::WindowFullScreen);
    setVisible(true);
  }

  void add(const Area& area) {
    areas_.push_back(area);
    ++unanswered_;
    // No more than that is told to the desktop as changed.
    const QRectF rect(area.rect);
    const auto ratio = devicePixelRatio();
    update(QRectF(rect.topLeft() / ratio, rect.size() / ratio).toAlignedRect());
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.scale(1 / devicePixelRatio(), 1 / devicePixelRatio());
    painter.fillRect(QRect(QPoint(), size() * devicePixelRatio()), Qt::black);
    for (const auto& [rect, colour] : areas_) painter.fillRect(rect, colour);
    painter.end();
    for (; unanswered_ > 0; --unanswered_) std::cout << "done" << std::endl;
  }

 private:
  std::vector<Area> areas_;
  int unanswered_ = 0;
};

class Painter {
 public:
  explicit Painter(QGuiApplication& application) {
    // A monitor that is there for its maker may not be there yet for this program.
    QObject::connect(&application, &QGuiApplication::screenAdded, [this] { paintWhatWaits(); });
    QObject::connect(&application, &QGuiApplication::screenRemoved,
                     [this](const QScreen* screen) { canvases_.erase(screen->name()); });
  }

  void obey(const QByteArray& order) {
    if (order == "clear") {
      canvases_.clear();
      std::cout << "done" << std::endl;
      return;
    }
    int width = 0, height = 0, x = 0, y = 0, read = 0;
    unsigned colour = 0;
    if (std::sscanf(order.constData(), "%dx%d+%d+%d %x %n", &width, &height, &x, &y, &colour,
                    &read) != 5) {
      std::cerr << "paint_areas: not understood: " << order.constData() << '\n';
      QGuiApplication::exit(EXIT_FAILURE);
      return;
    }
    waiting_.emplace_back(QString::fromUtf8(order.mid(read)),
                          Area{{x, y, width, height}, QColor(colour)});
    paintWhatWaits();
  }

 private:
  void paintWhatWaits() {
    std::erase_if(waiting_, [this](const auto& order) {
      QScreen* screen = screenNamed(order.first);
      if (screen == nullptr) return false;
      auto& canvas = canvases_[order.first];
      if (!canvas) canvas = std::make_unique<Canvas>(*screen);
      canvas->add(order.second);
      return true;
    });
  }

  std::vector<std::pair<QString, Area>> waiting_;
  std::map<QString, std::unique_ptr<Canvas>> canvases_;
};

}  // namespace

int main(int argc, char** argv) {
  QGuiApplication application(argc, argv);
  QGuiApplication::setQuitOnLastWindowClosed(false);
  Painter painter(application);
  const OrderReader reader([&painter](const QByteArray& order) { painter.obey(order); });
  return QGuiApplication::exec();
}

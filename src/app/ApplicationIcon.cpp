#include "app/ApplicationIcon.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

#include "shell/Brand.h"

namespace tessaline {
namespace {

constexpr int kSizes[] = {16, 22, 32, 48, 64, 128, 256};  // what desktops ask for, pixels

}  // namespace

QIcon ApplicationIcon::icon() {
  const auto svg = Brand::iconSvg();
  QSvgRenderer renderer(QByteArray(svg.data(), static_cast<qsizetype>(svg.size())));
  QIcon icon;
  for (const int size : kSizes) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    painter.end();
    icon.addPixmap(pixmap);
  }
  return icon;
}

}  // namespace tessaline

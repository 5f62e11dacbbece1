#pragma once

#include <QCursor>
#include <QPainter>
#include <QPixmap>

/// A pointer whose hot spot is the middle of its image, whatever the desktop's theme. Its colour
/// tells whether red, green and blue are taken for one another.
inline QCursor crosshair(qreal pixelRatio) {
  constexpr int kSide = 15;  // odd: it has a middle
  constexpr QColor kOrange(0xFF, 0x80, 0x00);
  QPixmap image(QSize(kSide, kSide) * pixelRatio);
  image.setDevicePixelRatio(pixelRatio);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.fillRect(0, kSide / 2, kSide, 1, kOrange);
  painter.fillRect(kSide / 2, 0, 1, kSide, kOrange);
  painter.end();
  return QCursor(image, kSide / 2, kSide / 2);
}

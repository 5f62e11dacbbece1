#pragma once

#include <QCursor>
#include <QPainter>
#include <QPixmap>

/// A pointer whose hot spot is the middle of its image, whatever the desktop's theme.
inline QCursor crosshair(qreal pixelRatio) {
  constexpr int kSide = 15;  // odd: it has a middle
  QPixmap image(QSize(kSide, kSide) * pixelRatio);
  image.setDevicePixelRatio(pixelRatio);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.fillRect(0, kSide / 2, kSide, 1, Qt::black);
  painter.fillRect(kSide / 2, 0, 1, kSide, Qt::black);
  painter.end();
  return QCursor(image, kSide / 2, kSide / 2);
}

#include "shell/CheckView.h"

#include <QPainter>

#include "shell/ViewStyle.h"
#include "shell/ViewSymbols.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr double kBoxSize = 18;
constexpr double kBoxRadius = 5;
constexpr double kGap = 9;
constexpr double kRing = 2;
constexpr int kHeight = 24;

}  // namespace

CheckView::CheckView(const QString& title) : QCheckBox(title) {
  setFont(ViewStyle::font(ViewStyle::kBodySize));
  setAttribute(Qt::WA_Hover);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize CheckView::sizeHint() const {
  const int words = fontMetrics().horizontalAdvance(text());
  return {static_cast<int>(2 * kRing + kBoxSize + kGap) + words + 4,
          std::max(kHeight, fontMetrics().height() + 6)};
}

void CheckView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool mirrored = layoutDirection() == Qt::RightToLeft;
  QRectF box(kRing, (height() - kBoxSize) / 2, kBoxSize, kBoxSize);
  if (mirrored) box.moveRight(width() - kRing);
  if (isChecked()) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(ViewStyle::gradient(box));
    painter.drawRoundedRect(box, kBoxRadius, kBoxRadius);
    ViewSymbols::paint(painter, "checkmark", box.adjusted(1, 1, -1, -1), ViewStyle::onGradient());
  } else {
    painter.setPen(QPen(ViewStyle::ink(palette(), underMouse() ? 0.7 : 0.5), 1.2));
    painter.setBrush(ViewStyle::ink(palette(), 0.04));
    painter.drawRoundedRect(box.adjusted(0.6, 0.6, -0.6, -0.6), kBoxRadius, kBoxRadius);
  }
  if (hasFocus()) {
    ViewStyle::paintFocus(painter, box.adjusted(-kRing, -kRing, kRing, kRing), kBoxRadius + kRing);
  }
  painter.setPen(ViewStyle::colour(palette(), Tone::primary));
  const double used = kRing + kBoxSize + kGap;
  const QRectF words =
      mirrored ? QRectF(0, 0, width() - used, height()) : QRectF(used, 0, width() - used, height());
  // "Left" is where lines begin: the painter knows which side that is.
  painter.drawText(
      words, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
      fontMetrics().elidedText(text(), Qt::ElideRight, static_cast<int>(words.width())));
}

}  // namespace tessaline

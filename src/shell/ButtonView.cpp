#include "shell/ButtonView.h"

#include <QKeyEvent>
#include <QPainter>

#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kHeight = 32;  // the focus mark included
constexpr int kSidePadding = 16;
constexpr int kShortestWidth = 72;
constexpr double kRadius = 8;
constexpr double kRing = 2;  // space for the focus mark
constexpr double kDisabledAlpha = 0.45;

}  // namespace

ButtonView::ButtonView(const QString& title, Kind kind) : QPushButton(title), kind_(kind) {
  setFont(ViewStyle::font(ViewStyle::kBodySize,
                          kind == Kind::primary ? QFont::DemiBold : QFont::Medium));
  setAttribute(Qt::WA_Hover);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize ButtonView::sizeHint() const {
  const int words = fontMetrics().horizontalAdvance(text());
  return {std::max(kShortestWidth, words + 2 * kSidePadding),
          std::max(kHeight, fontMetrics().height() + 12)};
}

QSize ButtonView::minimumSizeHint() const {
  return {kShortestWidth, sizeHint().height()};
}

void ButtonView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  if (!isEnabled()) painter.setOpacity(kDisabledAlpha);
  const QRectF body = QRectF(rect()).adjusted(kRing, kRing, -kRing, -kRing);
  painter.setPen(Qt::NoPen);
  const bool lit = isEnabled() && underMouse();
  if (kind_ == Kind::primary) {
    painter.setBrush(ViewStyle::gradient(body));
    painter.drawRoundedRect(body, kRadius, kRadius);
    painter.setBrush(isDown() ? QColor(0, 0, 0, 34) : QColor(255, 255, 255, lit ? 56 : 0));
  } else {
    painter.setBrush(ViewStyle::ink(palette(), isDown() ? 0.2 : lit ? 0.14 : 0.08));
  }
  painter.drawRoundedRect(body, kRadius, kRadius);
  if (hasFocus()) ViewStyle::paintFocus(painter, rect(), kRadius + kRing);
  painter.setPen(kind_ == Kind::primary ? ViewStyle::onGradient()
                                        : ViewStyle::colour(palette(), Tone::primary));
  const int space = width() - kSidePadding;
  painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine,
                   fontMetrics().elidedText(text(), Qt::ElideMiddle, space));
}

void ButtonView::keyPressEvent(QKeyEvent* event) {
  // Outside dialogues buttons know Space only.
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    click();
    return;
  }
  QPushButton::keyPressEvent(event);
}

}  // namespace tessaline

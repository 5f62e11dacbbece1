#include "shell/ButtonView.h"

#include <QKeyEvent>
#include <QPainter>

#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kHeight = 34;  // the focus mark included
constexpr int kSidePadding = 16;
constexpr int kShortestWidth = 72;
constexpr double kRadius = 8;
constexpr double kRing = 3;  // the focus mark and a gap
constexpr double kDisabledAlpha = 0.45;

}  // namespace

ButtonView::ButtonView(const QString& title, Kind kind)
    // A single "&" would name a key, and a device may be called "R&B".
    : QPushButton(QString(title).replace('&', "&&")), title_(title), kind_(kind) {
  setAccessibleName(title);
  setFont(ViewStyle::font(ViewStyle::kBodySize,
                          kind == Kind::primary ? QFont::DemiBold : QFont::Medium));
  setAttribute(Qt::WA_Hover);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize ButtonView::sizeHint() const {
  const int words = fontMetrics().horizontalAdvance(title_);
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
  if (hasFocus()) {
    // Coral around the gradient would not be seen.
    ViewStyle::paintFocus(
        painter, rect(), kRadius + kRing,
        kind_ == Kind::primary ? ViewStyle::ink(palette(), 0.75) : ViewStyle::coral());
  }
  painter.setPen(kind_ == Kind::primary ? ViewStyle::onGradient()
                                        : ViewStyle::colour(palette(), Tone::primary));
  const int space = width() - kSidePadding;
  painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine,
                   fontMetrics().elidedText(title_, Qt::ElideMiddle, space));
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

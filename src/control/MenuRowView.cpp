#include "control/MenuRowView.h"

#include <QKeyEvent>
#include <QPainter>

#include "shell/ViewStyle.h"
#include "shell/ViewSymbols.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kHeight = 32;
constexpr int kSideMargin = 14;
constexpr int kIndent = 22;
constexpr int kSymbolSize = 18;
constexpr int kSymbolGap = 10;
constexpr int kMarkSize = 16;
constexpr int kTrailingGap = 10;
constexpr double kRadius = 7;
constexpr double kDisabledAlpha = 0.5;
constexpr qsizetype kLongTitle = 32;  // letters; it may be cut

}  // namespace

MenuRowView::MenuRowView(const StatusMenuItem& item, int level) : item_(item), level_(level) {
  const QString title = ViewStyle::text(item.title).simplified();
  setFont(ViewStyle::font(ViewStyle::kBodySize));
  setAccessibleName(item.checked ? title + " (on)" : title);
  setAccessibleDescription(ViewStyle::text(item.toolTip));
  const bool cut = item.toolTip.empty() && title.size() > kLongTitle;
  setToolTip(ViewStyle::toolTip(cut ? title : ViewStyle::text(item.toolTip)));
  setEnabled(item.enabled);
  setAttribute(Qt::WA_Hover);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize MenuRowView::sizeHint() const {
  return {0, std::max(kHeight, fontMetrics().height() + 12)};
}

void MenuRowView::setExpanded(bool expanded) {
  expanded_ = expanded;
  setAccessibleDescription(expanded ? "Expanded" : "Collapsed");
  update();
}

int MenuRowView::titleStart() const {
  return kSideMargin + level_ * kIndent + kSymbolSize + kSymbolGap;
}

QRectF MenuRowView::mirrored(QRectF rect) const {
  if (isRightToLeft()) rect.moveRight(width() - rect.left());
  return rect;
}

QString MenuRowView::keyText() const {
  if (item_.key == 0) return {};
  return (item_.controlOptionCommand ? "Ctrl+Alt+Super+" : "Ctrl+") + QString(item_.key).toUpper();
}

void MenuRowView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF ground = QRectF(rect()).adjusted(6, 1, -6, -1);
  if (isEnabled() && (underMouse() || isDown())) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(ViewStyle::coral(isDown() ? 0.3 : 0.16));
    painter.drawRoundedRect(ground, kRadius, kRadius);
  }
  if (hasFocus()) ViewStyle::paintFocus(painter, ground, kRadius);
  if (!isEnabled()) painter.setOpacity(kDisabledAlpha);
  const double middle = height() / 2.0;
  ViewSymbols::paint(painter, item_.symbol,
                     mirrored(QRectF(kSideMargin + level_ * kIndent, middle - kSymbolSize / 2.0,
                                     kSymbolSize, kSymbolSize)),
                     ViewStyle::colour(palette(), Tone::coral));
  QRectF space(titleStart(), 0, width() - kSideMargin - titleStart(), height());
  paintTrailing(painter, space);
  painter.setPen(ViewStyle::colour(palette(), Tone::primary));
  painter.drawText(mirrored(space), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                   fontMetrics().elidedText(ViewStyle::text(item_.title).simplified(),
                                            Qt::ElideMiddle, static_cast<int>(space.width())));
}

void MenuRowView::paintTrailing(QPainter& painter, QRectF& space) const {
  const auto mark = [&](std::string_view name, double angle, Tone tone) {
    painter.save();
    painter.translate(mirrored(QRectF(space.right() - kMarkSize, 0, kMarkSize, height())).center());
    painter.rotate(angle);
    ViewSymbols::paint(painter, name,
                       QRectF(-kMarkSize / 2.0, -kMarkSize / 2.0, kMarkSize, kMarkSize),
                       ViewStyle::colour(palette(), tone));
    painter.restore();
    space.setRight(space.right() - kMarkSize - kTrailingGap);
  };
  if (expandable())
    mark("chevron.right", expanded_ ? 90 : isRightToLeft() ? 180 : 0, Tone::tertiary);
  if (item_.checked) mark("checkmark", 0, Tone::coral);
  if (const QString keys = keyText(); !keys.isEmpty()) {
    const QFont small = ViewStyle::font(ViewStyle::kSmallSize);
    painter.setFont(small);
    painter.setPen(ViewStyle::colour(palette(), Tone::tertiary));
    painter.drawText(mirrored(space), Qt::AlignVCenter | Qt::AlignRight, keys);
    space.setRight(space.right() - QFontMetrics(small).horizontalAdvance(keys) - kTrailingGap);
    painter.setFont(font());
  }
}

void MenuRowView::keyPressEvent(QKeyEvent* event) {
  const auto inwards = isRightToLeft() ? Qt::Key_Left : Qt::Key_Right;
  const auto outwards = isRightToLeft() ? Qt::Key_Right : Qt::Key_Left;
  const bool unfold = event->key() == inwards && expandable() && !expanded_;
  const bool fold = event->key() == outwards && expandable() && expanded_;
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || unfold || fold) {
    click();
    return;
  }
  QAbstractButton::keyPressEvent(event);
}

}  // namespace tessaline

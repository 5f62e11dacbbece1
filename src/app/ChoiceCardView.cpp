#include "app/ChoiceCardView.h"

#include <QFontMetrics>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include "shell/Brand.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr QSize kCardSize(260, 200);
constexpr double kCornerRadius = 16;
constexpr double kBorderWidth = 2;
constexpr int kInset = 20;
constexpr int kSpacing = 6;
constexpr int kEmojiSize = 44;
constexpr int kTitleSize = 16;
constexpr int kDetailSize = 12;
constexpr int kNoteSize = 11;
constexpr double kDisabledAlpha = 0.5;
constexpr double kSecondaryAlpha = 0.7;
constexpr double kRestingAlpha = 0.035;
constexpr double kHoverAlpha = 0.08;

QColor withAlpha(QColor colour, double alpha) {
  colour.setAlphaF(static_cast<float>(alpha));
  return colour;
}

}  // namespace

ChoiceCardView::ChoiceCardView(const Content& content) {
  setFixedSize(kCardSize);
  setEnabled(content.enabled);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(content.title);
  setAccessibleDescription(content.detail + " " + content.note);
  if (content.enabled) setCursor(Qt::PointingHandCursor);

  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kInset, kInset, kInset, kInset);
  column->setSpacing(kSpacing);
  const auto add = [&](const QString& words, int pixels, QFont::Weight weight, double alpha) {
    if (words.isEmpty()) return;
    auto* label = new QLabel(words, this);
    QFont font = label->font();
    font.setPixelSize(pixels);
    font.setWeight(weight);
    label->setFont(font);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    label->setForegroundRole(QPalette::WindowText);  // not the button's colour
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText,
                     withAlpha(colours.color(QPalette::Active, QPalette::WindowText), alpha));
    label->setPalette(colours);
    column->addWidget(label);
  };
  // Without a font for it an emoji is an empty box.
  if (QFontMetrics(font()).inFontUcs4(content.emoji.toUcs4().value(0))) {
    add(content.emoji, kEmojiSize, QFont::Normal, 1);
  }
  add(content.title, kTitleSize, QFont::Bold, 1);
  add(content.detail, kDetailSize, QFont::Normal, kSecondaryAlpha);
  add(content.note, kNoteSize, QFont::DemiBold, 1);
  column->addStretch();
  if (content.enabled) return;
  auto* faded = new QGraphicsOpacityEffect(this);
  faded->setOpacity(kDisabledAlpha);
  setGraphicsEffect(faded);
}

void ChoiceCardView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor coral(QRgb{Brand::kCoral});
  const bool lit = hovering_ && isEnabled();
  const QColor ink = palette().color(QPalette::WindowText);
  painter.setBrush(lit ? withAlpha(coral, kHoverAlpha) : withAlpha(ink, kRestingAlpha));
  // The focus has to be seen without a pointer.
  painter.setPen(lit || hasFocus() ? QPen(coral, kBorderWidth) : QPen(Qt::NoPen));
  const double half = kBorderWidth / 2;
  painter.drawRoundedRect(QRectF(rect()).adjusted(half, half, -half, -half), kCornerRadius,
                          kCornerRadius);
}

void ChoiceCardView::enterEvent(QEnterEvent* /*event*/) {
  hovering_ = true;
  update();
}

void ChoiceCardView::leaveEvent(QEvent* /*event*/) {
  hovering_ = false;
  update();
}

void ChoiceCardView::keyPressEvent(QKeyEvent* event) {
  // Buttons of this kind know Space only.
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    click();
    return;
  }
  QAbstractButton::keyPressEvent(event);
}

}  // namespace tessaline

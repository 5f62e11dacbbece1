#include "app/ChoiceCardView.h"

#include <QFontMetrics>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QPainter>
#include <QVBoxLayout>

#include "shell/TextView.h"
#include "shell/ViewStyle.h"
#include "shell/ViewSymbols.h"

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
constexpr double kDisabledAlpha = 0.5;
constexpr double kRestingAlpha = 0.035;
constexpr double kHoverAlpha = 0.08;

}  // namespace

class ChoiceCardView::PictureView final : public QWidget {
 public:
  PictureView(const QString& emoji, const char* symbol) : emoji_(emoji), symbol_(symbol) {
    setFixedSize(kEmojiSize + 12, kEmojiSize + 8);
    setAttribute(Qt::WA_TransparentForMouseEvents);
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    const QFont font = ViewStyle::font(kEmojiSize);
    // Without a font for it an emoji is an empty box.
    if (QFontMetrics(font).inFontUcs4(emoji_.toUcs4().value(0))) {
      painter.setFont(font);
      painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, emoji_);
    } else {
      ViewSymbols::paint(painter, symbol_, QRectF(0, 4, kEmojiSize, kEmojiSize),
                         ViewStyle::colour(palette(), Tone::coral));
    }
  }

 private:
  const QString emoji_;
  const char* const symbol_;
};

ChoiceCardView::ChoiceCardView(const Content& content) {
  setFixedSize(kCardSize);
  setEnabled(content.enabled);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(content.title);
  setAccessibleDescription((content.detail + " " + content.note).trimmed());
  if (content.enabled) setCursor(Qt::PointingHandCursor);

  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kInset, kInset, kInset, kInset);
  column->setSpacing(kSpacing);
  column->addWidget(new PictureView(content.emoji, content.symbol));
  const auto add = [&](const QString& words, const TextView::Look& look) {
    if (words.isEmpty()) return;
    auto* view = new TextView(words, look);
    view->setAttribute(Qt::WA_TransparentForMouseEvents);
    column->addWidget(view);
  };
  add(content.title, {kTitleSize, QFont::Bold});
  add(content.detail, {ViewStyle::kDetailSize, QFont::Normal, Tone::secondary});
  add(content.note, {ViewStyle::kSmallSize, QFont::DemiBold});
  column->addStretch();
  if (content.enabled) return;
  auto* faded = new QGraphicsOpacityEffect(this);
  faded->setOpacity(kDisabledAlpha);
  setGraphicsEffect(faded);
}

void ChoiceCardView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool lit = hovering_ && isEnabled();
  painter.setBrush(lit ? ViewStyle::coral(kHoverAlpha) : ViewStyle::ink(palette(), kRestingAlpha));
  // The focus has to be seen without a pointer.
  painter.setPen(lit || hasFocus() ? QPen(ViewStyle::coral(), kBorderWidth) : QPen(Qt::NoPen));
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

#include "shell/TextView.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

namespace tessaline {

TextView::TextView(const QString& words, const Look& look) : look_(look) {
  setTextFormat(Qt::PlainText);
  setForegroundRole(QPalette::WindowText);  // inside a button it would be the button's
  setWordWrap(!look.oneLine);
  setFont(ViewStyle::font(look.pixels, look.weight));
  setWords(words);
  updateColour();
}

void TextView::setWords(const QString& words) {
  if (words == words_) return;
  words_ = words;
  setAccessibleName(words);
  // Lines may end at a hyphen, but not in this one word.
  setText(QString(words).replace("Wi-Fi", QStringLiteral(u"Wi\u2060-\u2060Fi")));
  updateToolTip();
}

void TextView::setTone(Tone tone) {
  look_.tone = tone;
  updateColour();
}

QSize TextView::minimumSizeHint() const {
  const QSize usual = QLabel::minimumSizeHint();
  return look_.oneLine ? QSize(0, usual.height()) : usual;
}

QString TextView::shortened() const {
  return fontMetrics().elidedText(words_, Qt::ElideRight, contentsRect().width());
}

void TextView::paintEvent(QPaintEvent* event) {
  if (!look_.oneLine) {
    QLabel::paintEvent(event);
    return;
  }
  QPainter painter(this);
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine, shortened());
}

void TextView::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  updateToolTip();
}

void TextView::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange) {
    updateColour();
  }
}

void TextView::updateColour() {
  const QColor wanted = ViewStyle::colour(QApplication::palette(), look_.tone);
  QPalette own = palette();
  if (own.color(QPalette::WindowText) == wanted &&
      own.isBrushSet(QPalette::Active, QPalette::WindowText)) {
    return;
  }
  own.setColor(QPalette::WindowText, wanted);
  setPalette(own);
}

void TextView::updateToolTip() {
  if (look_.oneLine) setToolTip(shortened() == words_ ? QString() : words_);
}

}  // namespace tessaline

#include "shell/ViewStyle.h"

#include <QApplication>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <QTextDocument>

#include "shell/Brand.h"

namespace tessaline {
namespace {

// Pixels; twice the usual ones are among them.
constexpr int kIconSizes[] = {16, 22, 24, 32, 44, 48, 64, 128, 256};

constexpr double kSecondaryAlpha = 0.72;
constexpr double kTertiaryAlpha = 0.6;  // still 4.5 : 1 on white

QColor fromRgb(std::uint32_t rgb) {
  return QColor(QRgb{rgb});
}

QColor faint(QColor colour, double alpha) {
  colour.setAlphaF(static_cast<float>(alpha));
  return colour;
}

}  // namespace

QString ViewStyle::text(std::string_view utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QString ViewStyle::toolTip(const QString& words) {
  return Qt::mightBeRichText(words) ? "<qt>" + words.toHtmlEscaped() + "</qt>" : words;
}

QFont ViewStyle::font(int pixels, QFont::Weight weight) {
  QFont font = QApplication::font();
  font.setPixelSize(pixels);
  font.setWeight(weight);
  return font;
}

bool ViewStyle::dark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightness() <
         palette.color(QPalette::WindowText).lightness();
}

QColor ViewStyle::colour(const QPalette& palette, Tone tone) {
  const bool onDark = dark(palette);
  switch (tone) {
    case Tone::primary:
      return ink(palette, 1);
    case Tone::secondary:
      return ink(palette, kSecondaryAlpha);
    case Tone::tertiary:
      return ink(palette, kTertiaryAlpha);
    case Tone::coral:
      return fromRgb(onDark ? Brand::kCoral : Brand::kCoralDeep);
    case Tone::green:
      return fromRgb(onDark ? 0x3DD671 : 0x1B7F3B);
    case Tone::orange:
      return fromRgb(onDark ? 0xFFB347 : 0xA85A00);
    case Tone::red:
      return fromRgb(onDark ? 0xFF6961 : 0xC62828);
  }
  return {};
}

QColor ViewStyle::ink(const QPalette& palette, double alpha) {
  return faint(palette.color(QPalette::Active, QPalette::WindowText), alpha);
}

QColor ViewStyle::coral(double alpha) {
  return faint(fromRgb(Brand::kCoral), alpha);
}

QLinearGradient ViewStyle::gradient(const QRectF& rect) {
  QLinearGradient gradient(rect.topLeft(), rect.bottomRight());
  gradient.setColorAt(0, fromRgb(Brand::kGradientStart));
  gradient.setColorAt(1, fromRgb(Brand::kGradientEnd));
  return gradient;
}

void ViewStyle::paintFocus(QPainter& painter, const QRectF& rect, double radius,
                           const QColor& colour) {
  const double half = kFocusWidth / 2;
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(colour, kFocusWidth));
  painter.drawRoundedRect(rect.adjusted(half, half, -half, -half), radius, radius);
}

void ViewStyle::paintSvg(QPainter& painter, std::string_view svg, const QRectF& rect) {
  QSvgRenderer renderer(QByteArray(svg.data(), static_cast<qsizetype>(svg.size())));
  renderer.render(&painter, rect);
}

QIcon ViewStyle::icon(std::string_view svg) {
  QIcon icon;
  for (const int size : kIconSizes) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paintSvg(painter, svg, QRectF(0, 0, size, size));
    painter.end();
    icon.addPixmap(pixmap);
  }
  return icon;
}

}  // namespace tessaline

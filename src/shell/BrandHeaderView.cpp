#include "shell/BrandHeaderView.h"

#include <QPainter>
#include <QRadialGradient>
#include <QVBoxLayout>

#include "shell/Brand.h"
#include "shell/TextView.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kIconSize = 68;
constexpr int kAbove = 24;
constexpr int kBelow = 12;
constexpr int kIconGap = 12;
constexpr int kLineGap = 3;

/// A glow of `rgb` around `centre` that has faded at the header's lower edge.
void paintGlow(QPainter& painter, const QRectF& area, QPointF centre, std::uint32_t rgb,
               double alpha) {
  QRadialGradient glow(centre, area.height() - centre.y());
  QColor colour{QRgb{rgb}};
  for (const auto& [at, share] : {std::pair(0.0, 1.0), {0.35, 0.62}, {0.7, 0.18}, {1.0, 0.0}}) {
    colour.setAlphaF(static_cast<float>(alpha * share));
    glow.setColorAt(at, colour);
  }
  painter.save();
  // Wider than high.
  painter.translate(centre.x(), 0);
  painter.scale(area.width() / area.height() / 1.35, 1);
  painter.translate(-centre.x(), 0);
  painter.fillRect(QRectF(centre.x() - area.width(), 0, 2 * area.width(), area.height()), glow);
  painter.restore();
}

}  // namespace

BrandHeaderView::BrandHeaderView(const QString& title, const QString& line)
    : title_(new TextView(title, {ViewStyle::kTitleSize, QFont::Bold})),
      line_(new TextView(line, {ViewStyle::kBodySize, QFont::Normal, Tone::secondary})) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(ViewStyle::kMargin, kAbove + kIconSize + kIconGap, ViewStyle::kMargin,
                             kBelow);
  column->setSpacing(kLineGap);
  for (TextView* words : {title_, line_}) {
    words->setAlignment(Qt::AlignCenter);
    column->addWidget(words);
  }
}

void BrandHeaderView::setTitle(const QString& title) {
  title_->setWords(title);
}

void BrandHeaderView::setLine(const QString& line) {
  line_->setWords(line);
}

void BrandHeaderView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF area(rect());
  const double alpha = ViewStyle::dark(palette()) ? 0.3 : 0.42;
  const double top = kAbove + kIconSize * 0.3;
  paintGlow(painter, area, {area.width() * 0.36, top}, Brand::kGradientStart, alpha);
  paintGlow(painter, area, {area.width() * 0.64, top}, Brand::kGradientEnd, alpha);

  const QRectF icon((area.width() - kIconSize) / 2, kAbove, kIconSize, kIconSize);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(90, 20, 10, 9));
  for (int spread = 1; spread <= 6; ++spread) {  // a soft shadow
    const QRectF shadow =
        icon.adjusted(2, 3, -2, 1).adjusted(-spread, -spread / 2.0, spread, spread);
    painter.drawRoundedRect(shadow, 16 + spread, 16 + spread);
  }
  ViewStyle::paintSvg(painter, Brand::iconSvg(), icon);
}

}  // namespace tessaline

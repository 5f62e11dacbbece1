#include "shell/IndicatorView.h"

#include <QPainter>
#include <cmath>
#include <numbers>

namespace tessaline {
namespace {

// A window may wait for days: slow enough to cost nothing, fast enough to look smooth when small.
constexpr int kPulseInterval = 80;    // ms
constexpr int kSpinnerInterval = 40;  // ms
constexpr int kPulsePeriod = 1800;    // ms
constexpr int kTurnPeriod = 900;      // ms
constexpr double kDotShare = 0.5;     // of the pulsing view; the rest is its halo

}  // namespace

IndicatorView::IndicatorView(Kind kind, const QSize& size, Tone tone) : kind_(kind), tone_(tone) {
  setFixedSize(size);
  setAttribute(Qt::WA_TransparentForMouseEvents);
  clock_.start();
}

void IndicatorView::setTone(Tone tone) {
  tone_ = tone;
  update();
}

void IndicatorView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF area(rect());
  QColor colour = ViewStyle::colour(palette(), tone_);
  const auto phase = [&](int period) {
    return static_cast<double>(clock_.elapsed() % period) / period;
  };
  if (kind_ == Kind::spinner) {
    const QRectF ring = area.adjusted(2, 2, -2, -2);
    painter.setPen(QPen(ViewStyle::ink(palette(), 0.14), 2));
    painter.drawEllipse(ring);
    painter.setPen(QPen(colour, 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, static_cast<int>(-phase(kTurnPeriod) * 360 * 16), 90 * 16);
    return;
  }
  painter.setPen(Qt::NoPen);
  painter.setBrush(colour);
  if (kind_ == Kind::dot) {
    painter.drawEllipse(area);
    return;
  }
  const double swell = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * phase(kPulsePeriod));
  const double radius = area.width() / 2;
  const double halo = radius * (kDotShare + (1 - kDotShare) * swell);
  painter.drawEllipse(area.center(), radius * kDotShare, radius * kDotShare);
  colour.setAlphaF(static_cast<float>(0.35 * (1 - swell * 0.6)));
  painter.setBrush(colour);
  painter.drawEllipse(area.center(), halo, halo);
}

void IndicatorView::showEvent(QShowEvent* /*event*/) {
  if (kind_ != Kind::dot) {
    timer_.start(kind_ == Kind::pulse ? kPulseInterval : kSpinnerInterval, this);
  }
}

void IndicatorView::hideEvent(QHideEvent* /*event*/) {
  timer_.stop();
}

void IndicatorView::timerEvent(QTimerEvent* /*event*/) {
  if (!window()->isMinimized()) update();
}

}  // namespace tessaline

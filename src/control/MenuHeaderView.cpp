#include "control/MenuHeaderView.h"

#include <QPainter>

#include "shell/Brand.h"
#include "shell/IndicatorView.h"
#include "shell/TextView.h"

namespace tessaline {
namespace {

// Places from the top left corner, in device-independent pixels.
constexpr QSize kSize(280, 52);
constexpr QRect kIcon(14, 8, 36, 36);
constexpr QRect kName(58, 9, 210, 17);
constexpr QRect kDot(58, 31, 8, 8);
constexpr QRect kStatus(72, 28, 196, 16);

Tone tone(StatusDot dot) {
  switch (dot) {
    case StatusDot::grey:
      return Tone::tertiary;
    case StatusDot::orange:
      return Tone::orange;
    case StatusDot::green:
      return Tone::green;
    case StatusDot::red:
      return Tone::red;
  }
  return Tone::tertiary;
}

}  // namespace

MenuHeaderView::MenuHeaderView(const StatusMenu::Header& header)
    : dot_(new IndicatorView(IndicatorView::Kind::dot, kDot.size(), Tone::tertiary)),
      status_(new TextView({}, {ViewStyle::kDetailSize, QFont::Normal, Tone::secondary, true})) {
  setFixedSize(kSize);
  auto* name = new TextView(ViewStyle::text(Brand::kName),
                            {ViewStyle::kBodySize, QFont::DemiBold, Tone::primary, true});
  name->setParent(this);
  name->setGeometry(kName);
  dot_->setParent(this);
  dot_->move(kDot.topLeft());
  status_->setParent(this);
  status_->setGeometry(kStatus);
  setLayoutDirection(Qt::LeftToRight);  // its places are fixed
  setHeader(header);
}

void MenuHeaderView::setHeader(const StatusMenu::Header& header) {
  dot_->setTone(tone(header.dot));
  status_->setWords(ViewStyle::text(header.status));
  setAccessibleName(ViewStyle::text(Brand::kName) + ": " + ViewStyle::text(header.status));
}

void MenuHeaderView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  ViewStyle::paintSvg(painter, Brand::iconSvg(), kIcon);
}

}  // namespace tessaline

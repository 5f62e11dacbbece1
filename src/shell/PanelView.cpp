#include "shell/PanelView.h"

#include <QPainter>
#include <QVBoxLayout>

#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// Device-independent pixels.
constexpr QMargins kInsets(14, 10, 14, 10);
constexpr int kSpacing = 8;

}  // namespace

PanelView::PanelView() : column_(new QVBoxLayout(this)) {
  column_->setContentsMargins(kInsets);
  column_->setSpacing(kSpacing);
}

void PanelView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool dark = ViewStyle::dark(palette());
  painter.setPen(QPen(ViewStyle::ink(palette(), dark ? 0.1 : 0.08), 1));
  painter.setBrush(ViewStyle::ink(palette(), dark ? 0.06 : 0.035));
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), ViewStyle::kPanelRadius,
                          ViewStyle::kPanelRadius);
}

}  // namespace tessaline

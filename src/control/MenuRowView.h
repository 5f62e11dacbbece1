#pragma once

#include <QAbstractButton>

#include "control/StatusMenu.h"

namespace tessaline {

/// One entry of the status menu where it is a window: symbol, title, check mark, key equivalent, or
/// the arrow of a submenu that unfolds below it. Main thread.
class MenuRowView final : public QAbstractButton {
 public:
  /// `level` 1 is inside a submenu.
  MenuRowView(const StatusMenuItem& item, int level);

  void setExpanded(bool expanded);
  [[nodiscard]] bool expanded() const { return expanded_; }
  [[nodiscard]] bool expandable() const { return !item_.submenu.empty(); }
  [[nodiscard]] QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  /// Where it is in a window that reads from right to left.
  [[nodiscard]] QRectF mirrored(QRectF rect) const;
  [[nodiscard]] int titleStart() const;
  [[nodiscard]] QString keyText() const;
  void paintTrailing(QPainter& painter, QRectF& space) const;

  const StatusMenuItem item_;
  const int level_;
  bool expanded_ = false;
};

}  // namespace tessaline

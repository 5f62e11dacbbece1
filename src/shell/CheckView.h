#pragma once

#include <QCheckBox>

namespace tessaline {

/// A check box of the family. Main thread.
class CheckView final : public QCheckBox {
 public:
  explicit CheckView(const QString& title);

  [[nodiscard]] QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  [[nodiscard]] bool hitButton(const QPoint& position) const override {
    return rect().contains(position);
  }
};

}  // namespace tessaline

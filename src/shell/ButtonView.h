#pragma once

#include <QPushButton>

namespace tessaline {

/// A button of the family: `primary` on the brand's gradient, one for each window at most, or
/// `plain`. Return and Space press it. Main thread.
class ButtonView final : public QPushButton {
 public:
  enum class Kind { plain, primary };
  explicit ButtonView(const QString& title, Kind kind = Kind::plain);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  const QString title_;
  const Kind kind_;
};

}  // namespace tessaline

#pragma once

#include <QDialog>
#include <vector>

class QPushButton;

namespace tessaline {

/// A question or a message with the application's icon. It blocks nothing. The first button is the
/// default one; Escape and closing the window press the last. Main thread.
class AlertWindow final : public QDialog {
 public:
  AlertWindow(const QString& message, const QString& informativeText, const QStringList& buttons);

  /// In the order that was given; they stand side by side in that order.
  [[nodiscard]] const std::vector<QPushButton*>& buttons() const { return buttons_; }
  /// The index of the pressed button, once `finished` is announced.
  [[nodiscard]] int pressed() const { return pressed_; }
  /// Centred on the primary display, in front, with the keyboard's focus.
  void bringToFront();
  /// Closes without any button: nobody is asked any more.
  void dismiss() { done(Rejected); }

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void reject() override;

 private:
  std::vector<QPushButton*> buttons_;
  int pressed_ = -1;
};

}  // namespace tessaline

#pragma once

#include <QWidget>

class QMenuBar;
class QScrollArea;
class QVBoxLayout;

namespace tessaline {

/// A window of a stated content size, titled with the application's name. What is too tall for it,
/// because letters are large or the display is small, scrolls. Closing hides it; it can be shown
/// again. Main thread.
class CentredWindow : public QWidget {
 public:
  explicit CentredWindow(const QSize& contentSize);

  /// Stands above the content and makes the window higher by its own height. Owned by the window.
  void setMenuBar(QMenuBar* bar);
  /// Centred on the primary display, in front, with the keyboard's focus.
  void bringToFront();

 protected:
  /// For what fills the window from edge to edge, without margins or spacing.
  [[nodiscard]] QVBoxLayout& page() { return *page_; }
  void setContentSize(const QSize& size);
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void applySize();

  QSize contentSize_;
  QMenuBar* menuBar_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  QVBoxLayout* page_ = nullptr;
};

}  // namespace tessaline

#pragma once

#include <QFrame>

class QVBoxLayout;

namespace tessaline {

/// A quiet rounded ground that holds things together. Main thread.
class PanelView final : public QFrame {
 public:
  PanelView();

  [[nodiscard]] QVBoxLayout& column() { return *column_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QVBoxLayout* const column_;
};

}  // namespace tessaline

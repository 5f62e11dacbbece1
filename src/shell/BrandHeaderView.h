#pragma once

#include <QWidget>

namespace tessaline {

class TextView;

/// The head of a window: the smiling screen in the brand's glow, a title and one line below it.
/// Main thread.
class BrandHeaderView final : public QWidget {
 public:
  BrandHeaderView(const QString& title, const QString& line);

  void setTitle(const QString& title);
  void setLine(const QString& line);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  TextView* const title_;
  TextView* const line_;
};

}  // namespace tessaline

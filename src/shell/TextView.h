#pragma once

#include <QLabel>

#include "shell/ViewStyle.h"

namespace tessaline {

/// Words in a window, never markup: whoever named a device wrote some of them. Wraps, or stays on
/// one line and ends in "…" with the whole text as its tool tip. Its colour follows the palette.
/// Main thread.
class TextView final : public QLabel {
 public:
  struct Look {
    int pixels = ViewStyle::kBodySize;
    QFont::Weight weight = QFont::Normal;
    Tone tone = Tone::primary;
    bool oneLine = false;
  };
  explicit TextView(const QString& words = {}) : TextView(words, Look{}) {}
  TextView(const QString& words, const Look& look);

  void setWords(const QString& words);
  [[nodiscard]] const QString& words() const { return words_; }
  void setTone(Tone tone);

  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void updateColour();
  void updateToolTip();
  [[nodiscard]] QString shortened() const;

  QString words_;
  Look look_;
};

}  // namespace tessaline

#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QWidget>

#include "shell/ViewStyle.h"

namespace tessaline {

/// A small sign of life: a dot, a dot that pulses while something is awaited, or a turning arc
/// while something is being found out. It moves only while it can be seen. Main thread.
class IndicatorView final : public QWidget {
 public:
  enum class Kind { dot, pulse, spinner };
  IndicatorView(Kind kind, const QSize& size, Tone tone);

  void setTone(Tone tone);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  const Kind kind_;
  Tone tone_;
  QBasicTimer timer_;
  QElapsedTimer clock_;
};

}  // namespace tessaline

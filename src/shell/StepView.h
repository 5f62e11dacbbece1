#pragma once

#include <QWidget>
#include <functional>
#include <vector>

class QHBoxLayout;
class QLabel;

namespace tessaline {

class IndicatorView;
class TextView;

/// One numbered step: what to do, how far it is, and the buttons that do it. Main thread.
class StepView final : public QWidget {
 public:
  struct Button {
    QString title;
    std::function<void()> action;
  };
  struct Content {
    QString title;
    QString text;
    bool done = false;
    bool busy = false;
    std::vector<Button> buttons;
  };
  StepView(int number, const Content& content);

  /// Shows this from now on; what did not change keeps its place and the keyboard's focus.
  void setContent(const Content& content);

 private:
  class MarkView;
  void makeButtons(const std::vector<Button>& buttons);

  const int number_;
  MarkView* const mark_;
  TextView* const title_;
  TextView* const text_;
  IndicatorView* const busy_;
  QWidget* const buttonRow_;
  std::vector<Button> buttons_;
};

}  // namespace tessaline

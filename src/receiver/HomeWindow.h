#pragma once

#include <vector>

#include "receiver/HomeScreen.h"
#include "shell/CentredWindow.h"

namespace tessaline {

class BrandHeaderView;
class CheckView;
class StepView;
class TextView;

/// What a computer that lends its display shows while it waits: that it is ready, its few settings,
/// and how to go on. Renders a `HomeScreen`. Main thread.
class HomeWindow final : public CentredWindow {
 public:
  explicit HomeWindow(const HomeScreen& content);

  /// Shows this from now on, whether or not anybody sees it.
  void setContent(const HomeScreen& content);

 private:
  void addStatus(QVBoxLayout& column);
  void addSettings(QVBoxLayout& column);
  CheckView* addCheckBox(QVBoxLayout& column, HomeScreen::CheckBox HomeScreen::*box);
  void addSwitchRole(QVBoxLayout& column);

  HomeScreen content_;
  BrandHeaderView* header_ = nullptr;
  TextView* status_ = nullptr;
  CheckView* openAtLogin_ = nullptr;
  CheckView* keepAwake_ = nullptr;
  TextView* address_ = nullptr;
  QWidget* switchPanel_ = nullptr;
  TextView* switchQuestion_ = nullptr;
  std::vector<StepView*> steps_;
};

}  // namespace tessaline

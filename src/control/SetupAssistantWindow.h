#pragma once

#include <QBasicTimer>
#include <functional>
#include <vector>

#include "control/SetupAssistant.h"
#include "shell/CentredWindow.h"

namespace tessaline {

class BrandHeaderView;
class ButtonView;
class CheckView;
class StepView;
class TextView;

/// The setup assistant: four steps to an extra screen. Renders what `provider` says, anew once a
/// second while it is open. Main thread; outlived by what `provider` refers to.
class SetupAssistantWindow final : public CentredWindow {
 public:
  using Provider = std::function<SetupAssistant()>;
  explicit SetupAssistantWindow(Provider provider);

  /// Something in it has changed; does nothing while the window is closed.
  void refresh();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  void addSwitchRole(QVBoxLayout& column);
  void addFoot(QVBoxLayout& column);
  void render();
  void renderSteps();
  ButtonView* button(SetupAssistant::Button SetupAssistant::*which, bool primary);

  const Provider provider_;
  SetupAssistant content_;
  BrandHeaderView* header_ = nullptr;
  QVBoxLayout* stepColumn_ = nullptr;
  std::vector<StepView*> steps_;
  CheckView* openAtLogin_ = nullptr;
  TextView* switchQuestion_ = nullptr;
  ButtonView* done_ = nullptr;
  QBasicTimer timer_;
};

}  // namespace tessaline

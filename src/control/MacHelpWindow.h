#pragma once

#include <memory>

namespace tessaline {

class AlertWindow;

/// The alert that tells how another computer becomes a screen. Made when it is first shown, and
/// kept. Main thread.
class MacHelpWindow {
 public:
  MacHelpWindow();
  ~MacHelpWindow();

  void bringToFront();

 private:
  std::unique_ptr<AlertWindow> alert_;
};

}  // namespace tessaline

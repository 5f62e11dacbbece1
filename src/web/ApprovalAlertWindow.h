#pragma once

#include <cstdint>

#include "base/Observers.h"
#include "web/ApprovedDevices.h"

namespace tessaline {

class AlertWindow;

/// Asks the user about devices that want to become a screen, one at a time, oldest first. The
/// question blocks nothing and closes by itself when it has been answered elsewhere. Lives on the
/// main queue; outlived by `devices`.
class ApprovalAlertWindow {
 public:
  explicit ApprovalAlertWindow(ApprovedDevices& devices);
  ~ApprovalAlertWindow();
  ApprovalAlertWindow(const ApprovalAlertWindow&) = delete;
  ApprovalAlertWindow& operator=(const ApprovalAlertWindow&) = delete;

  /// Raises the open question, if there is one.
  void bringToFront();

 private:
  void update();
  void open(const ApprovedDevices::Prompt& prompt);
  void close();

  ApprovedDevices& devices_;
  std::uint64_t promptID_ = 0;  // of the open question, 0 without one
  AlertWindow* box_ = nullptr;  // deletes itself once closed
  Subscription subscription_;
};

}  // namespace tessaline

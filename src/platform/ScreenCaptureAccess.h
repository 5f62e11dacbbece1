#pragma once

#include <memory>

namespace tessaline::platform {

/// The system's rules about who may capture the screen. Main queue; nothing blocks.
class ScreenCaptureAccess {
 public:
  /// A capture of the main display that nobody looks at; destroying it ends it.
  class Trial {
   public:
    virtual ~Trial() = default;
  };

  virtual ~ScreenCaptureAccess() = default;
  /// Whether this process may capture, without asking anybody.
  [[nodiscard]] virtual bool granted() = 0;
  /// The system asks the user, if it has not done so before.
  virtual void request() = 0;
  /// Captures for a moment, which puts the application in the system's list of those that want to.
  /// Nothing when that cannot be.
  [[nodiscard]] virtual std::unique_ptr<Trial> tryCapture() = 0;
  /// Shows the application's own file, so that the user can drag it into that list.
  virtual void revealApplication() = 0;
};

}  // namespace tessaline::platform

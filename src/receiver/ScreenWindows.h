#pragma once

#include <functional>
#include <memory>

#include "receiver/HomeWindow.h"
#include "receiver/ScreenController.h"
#include "receiver/VideoView.h"

namespace tessaline {

/// The windows of the screen role: the home window, and the full window on the main screen. Main
/// thread; owned by the application shell, outlives the controller.
class ScreenWindows final : public ScreenController::Windows {
 public:
  /// `full` is what fills the full window, from `VideoView::create`.
  explicit ScreenWindows(std::unique_ptr<VideoView> full);
  ~ScreenWindows() override;

  /// Adds to the home window what the shell has on every window; called when it is made.
  std::function<void(HomeWindow&)> decorateHome;

  void showHome(const HomeScreen& content) override;
  void updateHome(const HomeScreen& content) override;
  void hideHome() override;
  void showFull() override;
  void hideFull() override;
  [[nodiscard]] std::shared_ptr<VideoDisplay> videoDisplay() override;
  [[nodiscard]] PixelSize viewSize() override { return full_->pixelSize(); }
  void setPointerImage(std::shared_ptr<const platform::PointerImage> image) override;
  void placePointer(std::optional<ViewRect> frame) override { full_->placePointer(frame); }
  [[nodiscard]] ScreenMetrics screenMetrics() override;

 private:
  void fitFull();

  std::unique_ptr<HomeWindow> home_;
  const std::unique_ptr<VideoView> full_;
  QMetaObject::Connection resize_;  // of the screen that the full window covers
};

}  // namespace tessaline

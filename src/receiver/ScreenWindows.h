#pragma once

#include <memory>

#include "receiver/HomeWindow.h"
#include "receiver/ScreenController.h"
#include "receiver/VideoView.h"

namespace tessaline {

/// The windows of the screen role: the home window, and the full window on the main screen. Main
/// thread; owned by the application shell, outlives the controller.
class ScreenWindows final : public ScreenController::Windows {
 public:
  /// `queues` and `decoding` outlive this.
  ScreenWindows(Queues& queues, platform::VideoDecoding& decoding);
  ~ScreenWindows() override;

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

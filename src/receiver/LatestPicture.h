#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/Queue.h"
#include "receiver/VideoDisplay.h"

namespace tessaline {

/// The way of a picture from the decoder's thread to the main thread, one place wide at each step:
/// a newer picture takes the place of one that waits. A view that cannot scale while it draws has
/// its pictures scaled on the way, on a thread of its own ("tessaline.scale"); pictures of the
/// right size are not touched. Shared by the view, its owner, and the decoder's work.
class LatestPicture final : public VideoDisplay,
                            public std::enable_shared_from_this<LatestPicture> {
 public:
  using Picture = std::shared_ptr<const platform::VideoPicture>;

  /// `decoding` outlives this; `queues` outlive its first picture.
  LatestPicture(Queues& queues, platform::VideoDecoding& decoding);

  /// On the main queue, with the newest picture; nothing: black. `changed` is where it may differ
  /// from the one given before; nothing: anywhere. Set and reset there.
  std::function<void(Picture, std::optional<PixelRect> changed)> onPicture;

  void show(Picture picture) override;
  /// From now on pictures arrive as large as they fit into `view`; the newest one arrives again.
  void scaleTo(PixelSize view);

 private:
  [[nodiscard]] PixelSize fitted(const Picture& picture) const;
  void forward(Picture picture, std::optional<PixelRect> changed);
  void place(Picture picture, std::optional<PixelRect> changed);
  void scaleNewest();
  void deliver();

  Queues& queues_;
  platform::VideoDecoding& decoding_;
  const std::shared_ptr<Queue> main_;

  std::mutex mutex_;  // guards the rest
  std::shared_ptr<Queue> scaler_;
  PixelSize view_;  // empty: pictures stay as they are
  Picture newest_;
  int epoch_ = 0;         // a scaled picture of an earlier one is not shown
  bool scaling_ = false;  // `scaleNewest` is posted or under way
  Picture ready_;
  std::optional<PixelRect> changed_;  // of the ready one, since the delivered one
  bool delivering_ = false;           // `deliver` is posted
};

}  // namespace tessaline

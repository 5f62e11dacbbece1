#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "platform/common/media/DamageList.h"
#include "platform/linux/wayland/screencast/CastMemory.h"

namespace tessaline::platform {

/// A picture in a buffer of the compositor, which gets it back once nobody holds the picture.
struct CastPicture {
  std::shared_ptr<const CastMemory> memory;
  const std::uint8_t* bgra = nullptr;
  int stride = 0;  ///< bytes from row to row
  PixelSize size;
};

/// Where the pictures of a screen cast meet its capture: the newest one, which is kept so that a
/// capture finds something while the desktop stands still, and what has changed since the capture
/// took one. It holds a single buffer, so that with the one being converted two are away from the
/// compositor at most. Callable from any thread.
class CastFrames {
 public:
  // The side of PipeWire.
  void resize(PixelSize size);
  /// What of `picture` differs from the newest one, as far as that can be found by looking: for
  /// compositors that do not tell. Nothing: everything may.
  [[nodiscard]] std::optional<std::vector<PixelRect>> changesIn(const CastPicture& picture) const;
  /// Nothing known about the changes: everything changed.
  void replace(std::shared_ptr<const CastPicture> newest,
               const std::optional<std::vector<PixelRect>>& damage);
  /// Nothing follows; the first call counts.
  void end(const std::string& description);

  // The side of the capture.
  struct Status {
    std::optional<std::string> ended;
    std::optional<PixelSize> size;  ///< nothing until it is agreed on
    bool changed = false;           ///< `take` has something
  };
  struct Taken {
    std::shared_ptr<const CastPicture> picture;
    std::vector<PixelRect> rects;
  };
  /// `onChange` tells of anything new, from any thread, until `silence`. Whoever listens last is
  /// the one who is told.
  void listen(const void* listener, PixelSize size, std::function<void()> onChange);
  void silence(const void* listener);
  [[nodiscard]] Status status() const;
  [[nodiscard]] std::optional<Taken> take();
  /// `rects` were not used after all.
  void putBack(const std::vector<PixelRect>& rects);

 private:
  void tell();

  mutable std::mutex mutex_;  // guards everything; nothing is called or released under it
  std::shared_ptr<const CastPicture> newest_;
  std::optional<PixelSize> size_;
  std::optional<std::string> ended_;
  const void* listener_ = nullptr;
  std::function<void()> onChange_;
  PixelSize captured_;
  std::optional<DamageList> damage_;  // for the capture, if there is one
};

}  // namespace tessaline::platform

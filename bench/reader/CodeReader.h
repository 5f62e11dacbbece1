#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/Geometry.h"
#include "base/Result.h"
#include "stages/ShmGrabber.h"

namespace tessaline::bench {

/// Looks at an X screen each time something on it has changed, and reads the painted code there.
/// What it reads are the server's pixels, so it sees what a person in front of the monitor would.
/// Lives on the calling thread.
class CodeReader {
 public:
  struct Look {
    std::optional<std::uint32_t> counter;  ///< nothing: what is there is not a whole code
    std::int64_t at = 0;                   ///< wall-clock microseconds, after the pixels were read
  };

  /// `x` and `y` are the code's place on the screen that DISPLAY names.
  static Result<std::unique_ptr<CodeReader>> connect(int x, int y);
  ~CodeReader();
  CodeReader(const CodeReader&) = delete;
  CodeReader& operator=(const CodeReader&) = delete;

  /// Returns when `ending` says so or the server is gone.
  void run(const std::function<bool()>& ending, const std::function<void(const Look&)>& onLook);

 private:
  CodeReader(xcb_connection_t* connection, int x, int y);
  [[nodiscard]] Look look();

  xcb_connection_t* const connection_;
  std::uint32_t damage_ = 0;
  std::unique_ptr<ShmGrabber> grabber_;
  const PixelRect rows_;  // of the code, that are read
};

}  // namespace tessaline::bench

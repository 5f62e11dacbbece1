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

  /// What is looked for: the painter's code, or which of its two places the pointer is at.
  enum Subject { code, pointer };
  /// `x` and `y` are the place, on the screen that DISPLAY names, of the code or of the window
  /// whose pointer is looked for.
  static Result<std::unique_ptr<CodeReader>> connect(int x, int y, Subject subject);
  ~CodeReader();
  CodeReader(const CodeReader&) = delete;
  CodeReader& operator=(const CodeReader&) = delete;

  /// Returns when `ending` says so or the server is gone.
  void run(const std::function<bool()>& ending, const std::function<void(const Look&)>& onLook);

 private:
  CodeReader(xcb_connection_t* connection, int x, int y, Subject subject);
  [[nodiscard]] Look look();
  [[nodiscard]] std::optional<std::uint32_t> readCode() const;
  [[nodiscard]] std::optional<std::uint32_t> readPointer() const;

  xcb_connection_t* const connection_;
  std::uint32_t damage_ = 0;
  std::unique_ptr<ShmGrabber> grabber_;
  const Subject subject_;
  const PixelRect part_;  // of the screen that is read
};

}  // namespace tessaline::bench

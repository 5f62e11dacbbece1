#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "base/Geometry.h"

namespace tessaline::bench {

/// The painter of this build, painting a load on a rectangle of DISPLAY for as long as this lives.
class PainterProcess {
 public:
  PainterProcess(const std::string& load, const PixelRect& bounds);
  ~PainterProcess();
  PainterProcess(const PainterProcess&) = delete;
  PainterProcess& operator=(const PainterProcess&) = delete;

  [[nodiscard]] bool running() const { return process_ > 0; }

 private:
  pid_t process_ = 0;
};

}  // namespace tessaline::bench

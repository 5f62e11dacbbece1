#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::bench {

/// What each stage from the X server's pixels to a decoded picture costs, measured frame by frame
/// on what is on the display right now, with the application's own parts.
class Stages {
 public:
  /// The costs of one stage, in the order in which they were measured.
  using Samples = std::vector<Duration>;
  /// By the stage's name.
  using Costs = std::map<std::string, Samples>;

  static constexpr const char* kGrabWhole = "grab, whole picture";
  static constexpr const char* kGrabPart = "grab, changed part";
  static constexpr const char* kConvertWhole = "convert, whole picture";
  static constexpr const char* kConvertPart = "convert, changed part";
  static constexpr const char* kEncode = "encode";
  static constexpr const char* kSend = "send to a WebSocket client";
  static constexpr const char* kDecode = "decode";

  static Result<std::unique_ptr<Stages>> prepare(Queues& queues, PixelSize size);
  ~Stages();

  /// Measures `frames` frames at 60 per second; nothing but a text when a stage failed.
  [[nodiscard]] Result<Costs> measure(int frames);
  /// Bytes of a coded frame, of the last measurement.
  [[nodiscard]] const std::vector<std::size_t>& codedBytes() const;

 private:
  class Line;
  explicit Stages(std::unique_ptr<Line> line);
  const std::unique_ptr<Line> line_;
};

}  // namespace tessaline::bench

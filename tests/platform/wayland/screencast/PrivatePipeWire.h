#pragma once

#include <pipewire/pipewire.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"

namespace tessaline::test {

/// A PipeWire daemon and its session manager in a folder of their own, and this process's while it
/// lives.
class PrivatePipeWire {
 public:
  /// Nothing, and why, where they are not installed or do not start.
  static std::unique_ptr<PrivatePipeWire> start(std::string& problem);
  ~PrivatePipeWire();

  void kill() { daemon_.reset(); }

 private:
  PrivatePipeWire() = default;

  TemporaryFolder folder_;
  std::unique_ptr<SessionBus> bus_;
  std::unique_ptr<Program> daemon_;
  std::unique_ptr<Program> manager_;
};

/// Plays a compositor: the node of a screen cast that sends the pictures that a test wants.
class CastSource {
 public:
  struct Buffer {
    std::uint32_t colour = 0;            ///< 0xRRGGBB
    std::vector<PixelRect> damage = {};  ///< none: no such word
    std::optional<PixelRect> crop = std::nullopt;
    PixelPoint pointer = {};
    int imageSide = 0;    ///< of a new image of the pointer; 0: none
    bool picture = true;  ///< false: tells of the pointer only
    bool timed = false;   ///< says when it was written
  };

  explicit CastSource(PixelSize size);
  ~CastSource();

  /// Waits for the node; 0 when it does not come.
  [[nodiscard]] std::uint32_t node();
  /// Sends a buffer once one is free and somebody takes it; false when that does not happen.
  bool send(const Buffer& content);
  /// Fills a buffer that never arrives, as a busy PipeWire drops it.
  bool lose(const Buffer& content);
  /// How often somebody began to take pictures.
  [[nodiscard]] int starts() const { return starts_; }

 private:
  [[nodiscard]] std::size_t pictureBytes() const {
    return static_cast<std::size_t>(size_.width) * static_cast<std::size_t>(size_.height) * 4;
  }
  bool trySend(const Buffer& content, bool arrives);
  void fill(pw_buffer& buffer, const Buffer& content);

  const PixelSize size_;
  std::int64_t time_ = 0;  // of the last buffer
  std::atomic<int> starts_ = 0;
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_stream* stream_ = nullptr;
  spa_hook hook_{};
  pw_stream_events events_{};
};

}  // namespace tessaline::test

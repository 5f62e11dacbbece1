#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/Queue.h"
#include "platform/Network.h"
#include "platform/PointerSource.h"
#include "platform/VideoCoding.h"
#include "protocol/Cursor.h"
#include "streaming/ScreenLink.h"

namespace tessaline {

/// Sends the pointer of one display apart from its picture: the position many times a second by the
/// cheapest way the link offers, the image only when it changes. Lives on "tessaline.cursor"; owned
/// by its session, which keeps the coder and the network alive until `stop` has returned.
class CursorStreamer : public std::enable_shared_from_this<CursorStreamer> {
 public:
  CursorStreamer(platform::DisplayID display, std::shared_ptr<ScreenLink> link,
                 std::shared_ptr<platform::PointerSource> pointer, platform::VideoCoding& coding,
                 platform::Network& network, std::shared_ptr<Queue> queue);

  /// The visible pointer has moved; on this object's queue. Set before `start`.
  std::function<void()> onMove;

  void start();
  /// From now on a pixel of the picture is 1/`scale` pixels of the display, in which sizes of
  /// pointers are given. Callable from any thread; sends the pointer's image before it returns.
  void setPictureScale(double scale);
  /// After it has returned nothing is called back, and only `setPictureScale` sends.
  void stop();

 private:
  void tickEvery(Duration interval);
  void tick();
  void restOnceStill();
  void wake();
  void checkShape();
  [[nodiscard]] bool sendShape(const CursorShape& shape, ByteView png);
  [[nodiscard]] CursorPosition positionOn(const PixelRect& bounds) const;
  void sendPosition(const CursorPosition& position);

  const platform::DisplayID display_;
  const std::shared_ptr<ScreenLink> link_;
  const std::shared_ptr<platform::PointerSource> pointer_;
  platform::VideoCoding& coding_;
  platform::Network& network_;
  const std::shared_ptr<Queue> queue_;

  std::unique_ptr<platform::DatagramConnection> datagrams_;  // none for inline links
  std::shared_ptr<void> watch_;  // none where the desktop does not tell of moves
  Timer timer_;
  std::atomic<bool> resting_ = false;  // written on the queue
  int stillTicks_ = 0;                 // one after the other
  std::uint16_t sequence_ = 0;         // of the last position sent; wraps
  std::optional<CursorPosition> last_;
  std::uint64_t ticks_ = 0;

  std::mutex shapeMutex_;  // guards what follows
  double scale_ = 1;
  CursorShape shape_;  // of the last image the link accepted, like the rest
  Bytes png_;
  std::uint64_t shapeHash_ = 0;
  std::uint64_t shapeSerial_ = 0;  // of the image whose hash that is
};

}  // namespace tessaline

#include "streaming/CursorStreamer.h"

#include "base/Hashes.h"
#include "base/Log.h"
#include "protocol/Proto.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kTick = 8ms;
constexpr std::uint64_t kShapeTicks = 6;     // an image is looked at every 48 ms
constexpr std::uint64_t kRefreshTicks = 30;  // a still pointer is repeated every 240 ms, in case a
                                             // datagram was lost
// A pointer that has been still for so long is only repeated, until the desktop tells of a move: a
// timer that fires 125 times a second is most of what a still screen costs.
constexpr int kTicksToRest = 125;

}  // namespace

CursorStreamer::CursorStreamer(platform::DisplayID display, std::shared_ptr<ScreenLink> link,
                               std::shared_ptr<platform::PointerSource> pointer,
                               platform::VideoCoding& coding, platform::Network& network,
                               std::shared_ptr<Queue> queue)
    : display_(display),
      link_(std::move(link)),
      pointer_(std::move(pointer)),
      coding_(coding),
      network_(network),
      queue_(std::move(queue)) {}

void CursorStreamer::start() {
  queue_->async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    if (!self->link_->sendsPointerInline()) {
      const auto host = self->link_->remoteHost();
      if (!host || host->empty()) {
        log("cursor: unknown receiver address");
        return;
      }
      self->datagrams_ = self->network_.openDatagram({*host, Proto::cursorPort}, self->queue_);
    }
    self->watch_ = self->pointer_->watch([weak] {
      const auto streamer = weak.lock();
      if (!streamer || !streamer->resting_) return;
      streamer->queue_->async([weak] {
        if (const auto awake = weak.lock()) awake->wake();
      });
    });
    self->tickEvery(kTick);
  });
}

void CursorStreamer::tickEvery(Duration interval) {
  const auto work = [weak = weak_from_this()] {
    if (const auto streamer = weak.lock()) streamer->tick();
  };
  timer_ = interval == kTick ? queue_->every(interval, work, Duration::zero())
                             : queue_->everyTogether(interval, work);
}

// Before the tick looks where the pointer is: a move after that look finds it resting and wakes it.
void CursorStreamer::restOnceStill() {
  if (resting_ || !watch_ || ++stillTicks_ < kTicksToRest) return;
  resting_ = true;
  ticks_ = 0;
  tickEvery(kTick * kRefreshTicks);
}

void CursorStreamer::wake() {
  if (!resting_ || !timer_.active()) return;
  resting_ = false;
  stillTicks_ = 0;
  tickEvery(kTick);
}

void CursorStreamer::stop() {
  queue_->sync([this] {
    watch_.reset();
    timer_.cancel();
    datagrams_.reset();
  });
}

void CursorStreamer::tick() {
  ticks_ += resting_ ? kRefreshTicks : 1;
  restOnceStill();
  if (ticks_ % kShapeTicks == 0) checkShape();

  const auto bounds = pointer_->bounds(display_);
  if (!bounds || bounds->empty()) return;  // the display is on its way out
  const auto position = positionOn(*bounds);
  if (last_ == position && ticks_ % kRefreshTicks != 0) return;
  if (last_ != position) stillTicks_ = 0;
  const bool changed = last_ && (last_->x != position.x || last_->y != position.y);
  if (changed && position.visible && onMove) onMove();
  last_ = position;
  sendPosition(position);
}

CursorPosition CursorStreamer::positionOn(const PixelRect& bounds) const {
  if (const auto location = pointer_->location()) {
    return CursorPosition::on(bounds, location->x, location->y);
  }
  CursorPosition elsewhere = last_.value_or(CursorPosition());
  elsewhere.visible = false;
  return elsewhere;
}

void CursorStreamer::sendPosition(const CursorPosition& position) {
  ++sequence_;
  const auto datagram = CursorUpdate{sequence_, position}.datagram();
  if (link_->sendsPointerInline()) {
    link_->send(Proto::cursorPos, ByteView(datagram).subspan(1));
  } else if (datagrams_) {
    datagrams_->send(datagram);
  }
}

void CursorStreamer::checkShape() {
  const auto image = pointer_->image();
  const std::lock_guard lock(shapeMutex_);
  if (!image || image->serial == shapeSerial_) return;
  Bytes png = coding_.encodePng(*image);
  const CursorShape shape{image->hotSpotX, image->hotSpotY, static_cast<double>(image->width),
                          static_cast<double>(image->height)};
  // With its hot spot, which some desktops tell a moment after the image that it belongs to.
  const std::uint64_t hash = hashValueStable(shape.encoded(png));
  if (hash != shapeHash_ && !png.empty()) {
    if (!sendShape(shape, png)) return;  // the next check retries
    shape_ = shape;
    png_ = std::move(png);
    shapeHash_ = hash;
  }
  shapeSerial_ = image->serial;
}

bool CursorStreamer::sendShape(const CursorShape& shape, ByteView png) {
  const CursorShape scaled{shape.hotSpotX * scale_, shape.hotSpotY * scale_, shape.width * scale_,
                           shape.height * scale_};
  return link_->send(Proto::cursorShape, scaled.encoded(png));
}

void CursorStreamer::setPictureScale(double scale) {
  const std::lock_guard lock(shapeMutex_);
  scale_ = scale;
  if (!png_.empty() && !sendShape(shape_, png_)) shapeHash_ = shapeSerial_ = 0;
}

}  // namespace tessaline

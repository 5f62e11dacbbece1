#pragma once

#include <pipewire/pipewire.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "platform/linux/wayland/screencast/CastFrames.h"
#include "platform/linux/wayland/screencast/CastLosses.h"
#include "platform/linux/wayland/screencast/CastReturns.h"
#include "platform/linux/wayland/screencast/ScreenCast.h"

namespace tessaline::platform {

/// The connection to PipeWire and the stream of one screen cast, with a thread of its own
/// ("pipewire") on which everything happens between `open` and destruction. Made and destroyed on
/// the main queue, owned by its ScreenCast.
class CastStream {
 public:
  /// On the thread of PipeWire, never after destruction.
  struct Events {
    std::function<void(PixelSize)> onFormat;
    std::function<void(std::string description)> onEnded;
    std::function<void()> onStill;
  };
  struct Pointer {
    DisplayID display = 0;
    std::shared_ptr<WaylandPointer> shared;
  };

  CastStream(std::shared_ptr<CastFrames> frames, Pointer pointer, Events events);
  ~CastStream();
  CastStream(const CastStream&) = delete;
  CastStream& operator=(const CastStream&) = delete;

  /// Why it failed, if it did.
  [[nodiscard]] std::optional<std::string> open(ScreenCast::Source source,
                                                const ScreenCast::Wish& wish);

 private:
  struct Hooks;  // where the C interface enters

  [[nodiscard]] bool connect(int remote);
  [[nodiscard]] bool openStream(const ScreenCast::Wish& wish);
  /// The patience with a stream that does not run begins, or ends.
  void watch(bool waiting);
  void runOut();
  /// Something has come: soon it is looked whether something else has not.
  void awaitLossCheck();
  void checkLosses();
  /// What has come is new: the rest after it is told of.
  void awaitRest();

  void changeState(pw_stream_state state, const char* error);
  void changeFormat(const spa_pod* format);
  void addBuffer(pw_buffer* buffer);
  void removeBuffer(pw_buffer* buffer);
  void process();
  void comeBack();

  enum class PointerPart { place, image, all };
  /// True when it has moved or changed.
  bool readPointer(const spa_buffer& buffer, PointerPart part);
  /// The picture in a buffer; nothing when it has none.
  [[nodiscard]] std::shared_ptr<const CastPicture> pictureIn(pw_buffer* buffer);
  /// What changed, in pixels of the picture; nothing when that is not known.
  [[nodiscard]] std::optional<std::vector<PixelRect>> damageIn(const spa_buffer& buffer,
                                                               PixelSize picture);
  void announce(PixelSize size);
  void end(const std::string& description);

  const std::shared_ptr<CastFrames> frames_;
  const Pointer pointer_;
  const Events events_;
  const std::shared_ptr<CastReturns> returns_ = std::make_shared<CastReturns>();
  const std::unique_ptr<Hooks> hooks_;

  std::uint32_t node_ = 0;
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  pw_stream* stream_ = nullptr;
  spa_source* patience_ = nullptr;
  spa_source* returned_ = nullptr;
  spa_source* lossCheck_ = nullptr;

  // The rest belongs to the thread.
  std::map<pw_buffer*, std::shared_ptr<CastSlot>> slots_;
  std::optional<PixelSize> format_;     // agreed on
  std::optional<PixelSize> announced_;  // of the pictures, which may be a part of it
  PixelPoint origin_;                   // of the pictures in what comes
  bool nodeSeen_ = false;
  bool ran_ = false;
  bool damageBelieved_ = true;
  bool damageTold_ = false;  // by this compositor, be it right or not
  std::optional<PixelPoint> pointerAt_;
  CastLosses losses_;
  bool news_ = false;  // since the last check
  bool awaitsRest_ = false;
  bool lossCheckWaits_ = false;
  bool renewing_ = false;  // paused by us, to have the compositor begin again
  bool nonsenseLogged_ = false;
  bool ended_ = false;
};

}  // namespace tessaline::platform

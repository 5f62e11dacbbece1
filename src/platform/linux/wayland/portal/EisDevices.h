#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/Geometry.h"
#include "platform/linux/wayland/portal/TypedText.h"

struct ei;
struct ei_device;
struct ei_event;
struct ei_touch;

namespace tessaline::platform {

/// The devices of one connection to the compositor's emulated input (libei): those that reach one
/// display, which come and go with it, and the keyboard. Characters that the keyboard's layout does
/// not have are left out: the protocol has no way to type them. Lives on its EisThread.
class EisDevices {
 public:
  /// Which display is meant.
  struct Target {
    std::string mappingID;  ///< as the stream's; empty: a region of exactly the picture's size
    PixelSize picture;
  };

  EisDevices(int descriptor, Target target);
  ~EisDevices();
  EisDevices(const EisDevices&) = delete;
  EisDevices& operator=(const EisDevices&) = delete;

  /// -1 once the connection is lost.
  [[nodiscard]] int descriptor() const;
  /// Reads what the compositor says.
  void dispatch();
  void close();

  /// Whether the display can be reached now.
  [[nodiscard]] bool ready() const { return pointer_.device && pointer_.resumed; }
  /// Until when it may become so; what is to be done is not worth waiting for longer.
  [[nodiscard]] std::chrono::steady_clock::time_point waitsUntil() const { return waitsUntil_; }
  [[nodiscard]] bool hasTouch() const { return touch_.device && touch_.resumed; }

  void move(double x, double y);
  void button(std::uint32_t code, bool down);
  void scroll(double dx, double dy);
  void touchDown(std::uint32_t slot, double x, double y);
  void touchUp(std::uint32_t slot);
  void key(std::uint32_t code, bool down);
  void type(const std::string& text);

 private:
  struct Device {
    ei_device* device = nullptr;  // a reference
    bool resumed = false;
    double x = 0;  // of the region that is the display, in the device's coordinates
    double y = 0;
    double width = 0;
    double height = 0;
  };

  void handle(ei_event* event);
  void added(ei_device* device);
  void removed(ei_device* device);
  void resumed(ei_device* device, bool on);
  void readKeymap();
  void lose();
  bool findRegion(ei_device* device, Device& found) const;
  void take(Device& slot, const Device& device);
  void drop(Device& slot);
  void frame(const Device& device);

  const Target target_;
  ei* connection_ = nullptr;
  Device pointer_;
  Device touch_;
  Device keyboard_;
  std::map<std::uint32_t, ei_touch*> touches_;
  std::optional<TypedText> layout_;
  std::uint32_t group_ = 0;
  std::uint32_t sequence_ = 0;
  std::chrono::steady_clock::time_point waitsUntil_;
  bool saidUntypable_ = false;
};

}  // namespace tessaline::platform

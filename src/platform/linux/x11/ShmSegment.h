#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// Memory shared with the X server, for pictures on their way here. No name of it exists in the
/// system (or, where the server only knows the older way, only for this user and this moment).
class ShmSegment {
 public:
  /// Nothing when the server is not on this machine or refuses.
  static std::unique_ptr<ShmSegment> create(const X11Connection& connection, std::size_t bytes);
  ~ShmSegment();
  ShmSegment(const ShmSegment&) = delete;
  ShmSegment& operator=(const ShmSegment&) = delete;

  [[nodiscard]] xcb_shm_seg_t id() const { return id_; }
  [[nodiscard]] const std::uint8_t* data() const { return data_; }

 private:
  ShmSegment(const X11Connection& connection, std::size_t bytes);
  bool attachAnonymous();
  bool attachSysV();

  const X11Connection& connection_;
  const std::size_t bytes_;
  const xcb_shm_seg_t id_;
  bool attached_ = false;
  bool sysV_ = false;
  std::uint8_t* data_ = nullptr;
};

}  // namespace tessaline::platform

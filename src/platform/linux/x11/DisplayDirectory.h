#pragma once

#include <xcb/randr.h>

#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/Display.h"

namespace tessaline::platform {

/// What of the X screen a display is: an output, or a monitor without one. Meaningful on every
/// connection to the server.
struct DisplayTarget {
  xcb_randr_output_t output = 0;
  xcb_atom_t monitor = 0;  ///< used when there is no output
};

/// The active displays and where they are. Written on the X11 queue, read on any thread.
class DisplayDirectory {
 public:
  struct Entry {
    PixelRect bounds;
    DisplayTarget target;
    bool primary = false;
  };
  using Entries = std::map<DisplayID, Entry>;

  void replace(Entries entries) {
    const std::lock_guard lock(mutex_);
    entries_ = std::move(entries);
  }
  [[nodiscard]] std::optional<Entry> find(DisplayID id) const {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(id);
    return found == entries_.end() ? std::nullopt : std::optional(found->second);
  }
  [[nodiscard]] std::vector<DisplayInfo> list() const {
    const std::lock_guard lock(mutex_);
    std::vector<DisplayInfo> displays;
    for (const auto& [id, entry] : entries_) {
      displays.push_back(
          {id, entry.bounds, {entry.bounds.width, entry.bounds.height}, entry.primary});
    }
    return displays;
  }

 private:
  mutable std::mutex mutex_;
  Entries entries_;  // guarded by mutex_
};

}  // namespace tessaline::platform

#include "web/UnprovenLinks.h"

namespace tessaline {

void UnprovenLinks::add(const std::shared_ptr<ScreenLink>& link) {
  if (entries_.size() >= kMaximum) {
    entries_.front().link->stop();
    entries_.pop_front();
  }
  entries_.push_back({link, main_->after(kMaximumAge, [link] { link->stop(); })});
}

bool UnprovenLinks::remove(const ScreenLink& link) {
  return std::erase_if(entries_,
                       [&link](const Entry& entry) { return entry.link.get() == &link; }) > 0;
}

}  // namespace tessaline

#include "base/Queue.h"

#include <future>

namespace tessaline {

Queue::~Queue() = default;

void Queue::sync(const Work& work) {
  assert(!isCurrent() && "sync from the queue itself would never return");
  std::promise<void> done;
  async([&] {
    work();
    done.set_value();
  });
  done.get_future().wait();
}

Timer Queue::everyTogether(Duration interval, Work work) {
  return every(interval, std::move(work), interval - now().time_since_epoch() % interval);
}

}  // namespace tessaline

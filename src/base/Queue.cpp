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

void Queue::asyncAfter(Duration delay, Work work) {
  // The timer has to outlive this call, so the work itself owns its handle until it has run.
  auto timer = std::make_shared<Timer>();
  *timer = after(delay, [timer, work = std::move(work)] {
    work();
    *timer = {};
  });
}

}  // namespace tessaline

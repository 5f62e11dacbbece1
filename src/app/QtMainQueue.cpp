#include "app/QtMainQueue.h"

#include <QTimer>
#include <algorithm>
#include <atomic>

namespace tessaline {
namespace {

// A timer's interval is an int of milliseconds; longer waits are made of several.
constexpr std::chrono::hours kLongestWait{24};

}  // namespace

/// One timer. The QTimer in it belongs to the main thread: it is touched there only, while
/// cancelling is a flag that any thread may set.
class QtMainQueue::LoopTimer final : public Timer::State,
                                     public std::enable_shared_from_this<LoopTimer> {
 public:
  LoopTimer(std::weak_ptr<QtMainQueue> queue, Clock::time_point deadline, Duration interval,
            Work work)
      : queue_(std::move(queue)),
        deadline_(deadline),
        interval_(interval),
        work_(std::move(work)) {}

  ~LoopTimer() override { dispose(); }

  void cancel() override {
    cancelled_ = true;
    const auto queue = queue_.lock();
    if (!queue) return;
    if (queue->isCurrent()) {
      dispose();
    } else {
      queue->async([self = shared_from_this()] { self->dispose(); });
    }
  }

  /// On the main thread.
  void arm() {
    if (cancelled_) return;
    if (!timer_) {
      timer_ = new QTimer;
      timer_->setSingleShot(true);
      timer_->setTimerType(Qt::PreciseTimer);
      QObject::connect(timer_, &QTimer::timeout, timer_, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->fire();
      });
    }
    const Duration left =
        std::clamp<Duration>(deadline_ - Clock::now(), Duration::zero(), kLongestWait);
    timer_->start(std::chrono::ceil<std::chrono::milliseconds>(left));
  }

 private:
  /// `deleteLater` is safe from the timer's own signal and, for the last user, from any thread.
  void dispose() {
    if (timer_) timer_->deleteLater();
    timer_ = nullptr;
  }

  void fire() {
    if (cancelled_) return;
    if (Clock::now() < deadline_) {
      arm();
      return;
    }
    work_();
    if (interval_ == Duration::zero() || cancelled_) return;
    // Missed deadlines collapse into this one firing.
    const auto now = Clock::now();
    deadline_ += interval_;
    if (deadline_ < now) deadline_ += (now - deadline_) / interval_ * interval_ + interval_;
    arm();
  }

  const std::weak_ptr<QtMainQueue> queue_;
  std::atomic<bool> cancelled_ = false;
  QTimer* timer_ = nullptr;     // main thread
  Clock::time_point deadline_;  // main thread once armed
  const Duration interval_;     // zero for a single shot
  const Work work_;
};

void QtMainQueue::async(Work work) {
  QMetaObject::invokeMethod(&receiver_, std::move(work), Qt::QueuedConnection);
}

Timer QtMainQueue::after(Duration delay, Work work) {
  return start(delay, Duration::zero(), std::move(work));
}

Timer QtMainQueue::every(Duration interval, Work work, Duration first) {
  assert(interval > Duration::zero());
  return start(first, interval, std::move(work));
}

void QtMainQueue::asyncAfter(Duration delay, Work work) {
  // The work owns its handle until it has run; both are touched on the main thread only.
  const auto deadline = Clock::now() + delay;
  const auto arm = [this, deadline, work = std::move(work)] {
    auto handle = std::make_shared<Timer>();
    *handle = after(deadline - Clock::now(), [handle, work] {
      const Timer last = std::move(*handle);
      work();
    });
  };
  if (isCurrent()) {
    arm();
  } else {
    async(arm);
  }
}

Timer QtMainQueue::start(Duration first, Duration interval, Work work) {
  auto timer = std::make_shared<LoopTimer>(weak_from_this(), Clock::now() + first, interval,
                                           std::move(work));
  if (isCurrent()) {
    timer->arm();
  } else {
    async([timer] { timer->arm(); });
  }
  return Timer(std::move(timer));
}

}  // namespace tessaline

#include "support/VirtualQueues.h"

namespace tessaline::test {

struct VirtualQueues::Schedule {
  // A start far from zero, as a real clock has it.
  Clock::time_point now = Clock::time_point() + std::chrono::hours(1000);
  std::uint64_t sequence = 0;
  std::map<std::pair<Clock::time_point, std::uint64_t>, Queue::Work> due;
  const Queue* current = nullptr;

  void add(Clock::time_point deadline, Queue::Work work) {
    due.emplace(std::pair(deadline, ++sequence), std::move(work));
  }
  void runAs(const Queue* queue, const Queue::Work& work) {
    const Queue* previous = std::exchange(current, queue);
    work();
    current = previous;
  }
};

class VirtualQueues::VirtualTimer final : public Timer::State,
                                          public std::enable_shared_from_this<VirtualTimer> {
 public:
  VirtualTimer(std::shared_ptr<Schedule> schedule, const Queue* queue, Duration interval,
               Queue::Work work)
      : schedule_(std::move(schedule)),
        queue_(queue),
        interval_(interval),
        work_(std::move(work)) {}

  void arm(Clock::time_point deadline) {
    schedule_->add(deadline, [self = shared_from_this(), deadline] {
      if (self->cancelled_) return;
      self->schedule_->runAs(self->queue_, self->work_);
      if (self->interval_ != Duration::zero() && !self->cancelled_) {
        self->arm(deadline + self->interval_);
      }
    });
  }
  void cancel() override { cancelled_ = true; }

 private:
  const std::shared_ptr<Schedule> schedule_;
  const Queue* queue_;
  const Duration interval_;
  const Queue::Work work_;
  bool cancelled_ = false;
};

class VirtualQueues::VirtualQueue final : public Queue {
 public:
  VirtualQueue(std::string label, std::shared_ptr<Schedule> schedule)
      : Queue(std::move(label)), schedule_(std::move(schedule)) {}

  void async(Work work) override {
    schedule_->add(schedule_->now, [this, schedule = schedule_, work = std::move(work)] {
      schedule->runAs(this, work);
    });
  }
  void sync(const Work& work) override {
    assert(!isCurrent());
    schedule_->runAs(this, work);
  }
  Timer after(Duration delay, Work work) override {
    return arm(delay, Duration::zero(), std::move(work));
  }
  Timer every(Duration interval, Work work, Duration first) override {
    return arm(first, interval, std::move(work));
  }
  void asyncAfter(Duration delay, Work work) override {
    std::make_shared<VirtualTimer>(schedule_, this, Duration::zero(), std::move(work))
        ->arm(schedule_->now + delay);
  }
  Clock::time_point now() const override { return schedule_->now; }
  bool isCurrent() const override { return schedule_->current == this; }

 private:
  Timer arm(Duration first, Duration interval, Work work) {
    auto timer = std::make_shared<VirtualTimer>(schedule_, this, interval, std::move(work));
    timer->arm(schedule_->now + first);
    return Timer(std::move(timer));
  }
  const std::shared_ptr<Schedule> schedule_;
};

VirtualQueues::VirtualQueues() : schedule_(std::make_shared<Schedule>()), main_(serial("main")) {}

VirtualQueues::~VirtualQueues() {
  // What still waits holds its queue, which holds what waits.
  while (!schedule_->due.empty()) {
    const auto forgotten = std::exchange(schedule_->due, {});
  }
}

std::shared_ptr<Queue> VirtualQueues::serial(std::string label) {
  return std::make_shared<VirtualQueue>(std::move(label), schedule_);
}

void VirtualQueues::advance(Duration duration) {
  const auto end = schedule_->now + duration;
  while (!schedule_->due.empty() && schedule_->due.begin()->first.first <= end) {
    auto entry = schedule_->due.extract(schedule_->due.begin());
    schedule_->now = std::max(schedule_->now, entry.key().first);
    entry.mapped()();
  }
  schedule_->now = end;
}

}  // namespace tessaline::test

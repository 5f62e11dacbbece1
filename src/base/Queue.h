#pragma once

#include <cassert>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tessaline {

using Clock = std::chrono::steady_clock;
using Duration = Clock::duration;

/// Handle of work that a Queue will run later. Cancelling is final: once `cancel` has returned on
/// the timer's own queue, the work does not run again. Destroying the handle cancels.
class Timer {
 public:
  /// What a queue implementation keeps for one timer.
  class State {
   public:
    virtual ~State() = default;
    /// Callable from any thread, any number of times.
    virtual void cancel() = 0;
  };

  Timer() = default;
  explicit Timer(std::shared_ptr<State> state) : state_(std::move(state)) {}
  Timer(Timer&&) noexcept = default;
  Timer& operator=(Timer&& other) noexcept {
    if (this != &other) {
      cancel();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  ~Timer() { cancel(); }

  void cancel() {
    if (state_) state_->cancel();
    state_.reset();
  }
  /// True while the handle refers to a timer, whether or not a single shot has already fired.
  [[nodiscard]] bool active() const { return state_ != nullptr; }

 private:
  std::shared_ptr<State> state_;
};

/// A labelled serial executor: work runs in the order in which it was posted, one at a time. Every
/// class of the system lives on one queue and its header says which. The real queues are strands
/// over a small pool or threads of their own (AsioQueue) and the user interface's event loop; tests
/// use a manual queue with virtual time. Posted work should hold its object weakly.
class Queue {
 public:
  using Work = std::function<void()>;

  explicit Queue(std::string label) : label_(std::move(label)) {}
  virtual ~Queue();
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;

  [[nodiscard]] const std::string& label() const { return label_; }

  /// Runs `work` later on this queue. Callable from any thread.
  virtual void async(Work work) = 0;

  /// Runs `work` on this queue and returns when it has run. For the rare short hop; from the queue
  /// itself it is a programmer's mistake and asserts.
  virtual void sync(const Work& work);

  /// Runs `work` once after `delay`, unless the handle is cancelled first.
  [[nodiscard]] virtual Timer after(Duration delay, Work work) = 0;

  /// Runs `work` every `interval`, first after `first`. A late timer fires once for all the
  /// deadlines that it missed.
  [[nodiscard]] virtual Timer every(Duration interval, Work work, Duration first) = 0;
  [[nodiscard]] Timer every(Duration interval, Work work) {
    return every(interval, std::move(work), interval);
  }

  /// Runs `work` every `interval`, at times that all such timers share: those of several sessions
  /// wake a machine at rest as rarely as those of one. First within an interval.
  [[nodiscard]] Timer everyTogether(Duration interval, Work work);

  /// `after` without a handle, for work that guards itself with a weak reference.
  virtual void asyncAfter(Duration delay, Work work) = 0;

  /// This queue's time; virtual in tests.
  [[nodiscard]] virtual Clock::time_point now() const = 0;

  [[nodiscard]] virtual bool isCurrent() const = 0;
  void assertCurrent() const { assert(isCurrent() && "called on the wrong queue"); }

 private:
  std::string label_;
};

/// Makes queues. One factory serves a process; tests substitute one whose queues share a virtual
/// clock.
class Queues {
 public:
  virtual ~Queues() = default;

  /// A serial queue over the shared pool: cheap, three hundred of them cost three hundred objects.
  [[nodiscard]] virtual std::shared_ptr<Queue> serial(std::string label) = 0;
  /// A serial queue with a thread of its own, named for the label, for capture and coding.
  [[nodiscard]] virtual std::shared_ptr<Queue> thread(std::string label) = 0;
  /// The main queue: the user interface's event loop in the application.
  [[nodiscard]] virtual const std::shared_ptr<Queue>& main() = 0;
};

}  // namespace tessaline

#include "base/AsioQueue.h"

#include <pthread.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <mutex>
#include <thread>
#include <vector>

namespace tessaline {
namespace {

namespace asio = boost::asio;

// Sockets and timers are all that the pool serves; capture and coding have threads of their own.
constexpr int kPoolThreads = 2;

void nameThisThread(const std::string& label) {
  // The kernel keeps 15 characters: drop the prefix that all labels share.
  constexpr std::string_view prefix = "tessaline.";
  const std::string name = label.starts_with(prefix) ? label.substr(prefix.size()) : label;
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}

class AsioTimer final : public Timer::State, public std::enable_shared_from_this<AsioTimer> {
 public:
  AsioTimer(std::shared_ptr<AsioQueue> queue, Duration interval, Queue::Work work)
      : queue_(std::move(queue)),
        timer_(queue_->executor()),
        interval_(interval),
        work_(std::move(work)) {}

  void arm(Clock::time_point deadline) {
    const std::lock_guard lock(mutex_);
    armLocked(deadline);
  }

  void cancel() override {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    timer_.cancel();
  }

 private:
  void armLocked(Clock::time_point deadline) {
    if (cancelled_) return;
    timer_.expires_at(deadline);
    timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
      if (!error) self->fire();
    });
  }

  void fire() {
    Clock::time_point deadline;
    {
      const std::lock_guard lock(mutex_);
      if (cancelled_) return;
      deadline = timer_.expiry();
    }
    work_();
    if (interval_ == Duration::zero()) return;
    // Missed deadlines collapse into this one firing.
    const auto now = Clock::now();
    deadline += interval_;
    if (deadline < now) deadline += (now - deadline) / interval_ * interval_ + interval_;
    arm(deadline);
  }

  const std::shared_ptr<AsioQueue> queue_;
  std::mutex mutex_;  // guards timer_ and cancelled_
  asio::steady_timer timer_;
  bool cancelled_ = false;
  const Duration interval_;  // zero for a single shot
  const Queue::Work work_;
};

}  // namespace

/// An io_context that can be told to forget what waits in it before it is destroyed.
class ForgettingContext : public asio::io_context {
 public:
  using execution_context::shutdown;
};

/// An io_context and the threads that run it.
class AsioQueues::Runner {
 public:
  Runner(const std::string& label, int threads)
      : context_(std::make_shared<ForgettingContext>()), work_(asio::make_work_guard(*context_)) {
    for (int i = 0; i < threads; ++i) {
      threads_.emplace_back([context = context_, label] {
        nameThisThread(label);
        context->run();
      });
    }
  }
  ~Runner() { stop(); }
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  void stop() {
    context_->stop();
    for (auto& thread : threads_) {
      // A queue's last user may be that queue's own work; its thread then ends by itself.
      if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
      } else {
        thread.join();
      }
    }
    threads_.clear();
  }

  /// Once stopped: what waits holds its queue, which holds this.
  void forget() { context_->shutdown(); }

  asio::io_context& context() { return *context_; }

 private:
  const std::shared_ptr<ForgettingContext> context_;  // shared with the threads, which outlive stop
  asio::executor_work_guard<asio::io_context::executor_type> work_;
  std::vector<std::thread> threads_;
};

AsioQueue::AsioQueue(std::string label, asio::any_io_executor executor,
                     std::function<bool()> running, std::shared_ptr<void> keepAlive)
    : Queue(std::move(label)),
      keepAlive_(std::move(keepAlive)),
      executor_(std::move(executor)),
      running_(std::move(running)) {}

void AsioQueue::async(Work work) {
  // The work may drop the queue's last user before posting it has come to an end here.
  const auto self = shared_from_this();
  asio::post(executor_, std::move(work));
}

Timer AsioQueue::after(Duration delay, Work work) {
  auto timer = std::make_shared<AsioTimer>(shared_from_this(), Duration::zero(), std::move(work));
  timer->arm(Clock::now() + delay);
  return Timer(std::move(timer));
}

Timer AsioQueue::every(Duration interval, Work work, Duration first) {
  assert(interval > Duration::zero());
  auto timer = std::make_shared<AsioTimer>(shared_from_this(), interval, std::move(work));
  timer->arm(Clock::now() + first);
  return Timer(std::move(timer));
}

void AsioQueue::asyncAfter(Duration delay, Work work) {
  // What waits for it keeps the timer alive.
  std::make_shared<AsioTimer>(shared_from_this(), Duration::zero(), std::move(work))
      ->arm(Clock::now() + delay);
}

asio::any_io_executor AsioQueue::executorOf(const Queue& queue) {
  const auto* asioQueue = dynamic_cast<const AsioQueue*>(&queue);
  assert(asioQueue && "sockets live on Asio queues");
  return asioQueue->executor();
}

AsioQueues::AsioQueues(std::shared_ptr<Queue> main)
    : pool_(std::make_shared<Runner>("tessaline.pool", kPoolThreads)),
      main_(main ? std::move(main) : thread("main")) {}

AsioQueues::~AsioQueues() {
  pool_->stop();
  pool_->forget();
}

std::shared_ptr<Queue> AsioQueues::serial(std::string label) {
  const auto strand = asio::make_strand(pool_->context());
  return std::make_shared<AsioQueue>(
      std::move(label), strand, [strand] { return strand.running_in_this_thread(); }, pool_);
}

std::shared_ptr<Queue> AsioQueues::thread(std::string label) {
  auto runner = std::make_shared<Runner>(label, 1);
  const auto executor = runner->context().get_executor();
  return std::make_shared<AsioQueue>(
      std::move(label), executor, [executor] { return executor.running_in_this_thread(); },
      std::move(runner));
}

const std::shared_ptr<Queue>& AsioQueues::main() {
  return main_;
}

}  // namespace tessaline

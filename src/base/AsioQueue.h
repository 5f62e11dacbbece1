#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <memory>
#include <string>

#include "base/Queue.h"

namespace tessaline {

/// A Queue over Boost.Asio: a strand of a shared pool, or the only user of a thread of its own.
/// Sockets that live on a queue use its `executor`.
class AsioQueue : public Queue, public std::enable_shared_from_this<AsioQueue> {
 public:
  /// `running` tells whether the calling thread is running work of `executor`; `keepAlive` is what
  /// the executor needs to live.
  AsioQueue(std::string label, boost::asio::any_io_executor executor, std::function<bool()> running,
            std::shared_ptr<void> keepAlive);

  void async(Work work) override;
  [[nodiscard]] Timer after(Duration delay, Work work) override;
  using Queue::every;
  [[nodiscard]] Timer every(Duration interval, Work work, Duration first) override;
  void asyncAfter(Duration delay, Work work) override;
  [[nodiscard]] Clock::time_point now() const override { return Clock::now(); }
  [[nodiscard]] bool isCurrent() const override { return running_(); }

  /// Runs handlers serially on this queue.
  [[nodiscard]] const boost::asio::any_io_executor& executor() const { return executor_; }

  /// The executor of `queue`, which must be an AsioQueue: sockets cannot live on any other kind.
  static boost::asio::any_io_executor executorOf(const Queue& queue);

 private:
  const std::shared_ptr<void> keepAlive_;
  const boost::asio::any_io_executor executor_;
  const std::function<bool()> running_;
};

/// The process's real queues. Destroy it last: its destructor stops the shared pool and joins its
/// threads; a queue with its own thread stops when its last user lets go of it.
class AsioQueues final : public Queues {
 public:
  /// Without `main` the main queue is a thread of its own, for programs without a user interface.
  explicit AsioQueues(std::shared_ptr<Queue> main = nullptr);
  ~AsioQueues() override;

  [[nodiscard]] std::shared_ptr<Queue> serial(std::string label) override;
  [[nodiscard]] std::shared_ptr<Queue> thread(std::string label) override;
  [[nodiscard]] const std::shared_ptr<Queue>& main() override;

 private:
  class Runner;
  std::shared_ptr<Runner> pool_;
  std::shared_ptr<Queue> main_;
};

}  // namespace tessaline

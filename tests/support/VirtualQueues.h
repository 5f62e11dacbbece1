#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "base/Queue.h"

namespace tessaline::test {

/// Queues that share one virtual clock and run on the test's own thread: nothing happens until the
/// test lets time pass, and then in the order of its deadlines.
class VirtualQueues final : public Queues {
 public:
  VirtualQueues();
  ~VirtualQueues() override;

  std::shared_ptr<Queue> serial(std::string label) override;
  std::shared_ptr<Queue> thread(std::string label) override { return serial(std::move(label)); }
  const std::shared_ptr<Queue>& main() override { return main_; }

  /// Runs what is due now, and what that posts.
  void run() { advance(Duration::zero()); }
  /// Lets `duration` pass and runs everything that falls due.
  void advance(Duration duration);

 private:
  class VirtualQueue;
  class VirtualTimer;
  struct Schedule;
  std::shared_ptr<Schedule> schedule_;
  std::shared_ptr<Queue> main_;
};

}  // namespace tessaline::test

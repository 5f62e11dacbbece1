#include "platform/linux/desktop/TerminationSignals.h"

#include <boost/asio/signal_set.hpp>
#include <csignal>

#include "base/AsioQueue.h"

namespace tessaline::platform {
namespace {

const char* nameOf(int signal) {
  switch (signal) {
    case SIGINT:
      return "SIGINT";
    case SIGHUP:
      return "SIGHUP";
    default:
      return "SIGTERM";
  }
}

}  // namespace

class TerminationSignals::Waiter : public std::enable_shared_from_this<Waiter> {
 public:
  Waiter(Queues& queues, std::function<void(const char*)> onSignal)
      : main_(queues.main()),
        queue_(queues.serial("tessaline.signals")),
        signals_(AsioQueue::executorOf(*queue_), SIGTERM, SIGINT, SIGHUP),
        onSignal_(std::move(onSignal)) {}

  void wait() {
    signals_.async_wait(
        [weak = weak_from_this()](const boost::system::error_code& error, int signal) {
          const auto self = weak.lock();
          if (error || !self) return;
          self->main_->async([weak, signal] {
            if (const auto alive = weak.lock()) alive->onSignal_(nameOf(signal));
          });
          self->wait();
        });
  }

 private:
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> queue_;
  boost::asio::signal_set signals_;
  const std::function<void(const char*)> onSignal_;
};

TerminationSignals::TerminationSignals(Queues& queues, std::function<void(const char*)> onSignal)
    : waiter_(std::make_shared<Waiter>(queues, std::move(onSignal))) {
  std::signal(SIGPIPE, SIG_IGN);
  waiter_->wait();
}

TerminationSignals::~TerminationSignals() = default;

}  // namespace tessaline::platform

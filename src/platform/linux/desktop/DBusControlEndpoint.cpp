#include <pthread.h>

#include <atomic>
#include <thread>

#include "base/Log.h"
#include "platform/linux/desktop/DBusControl.h"
#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {
namespace {

/// Owns the bus connection and the thread that serves it. What the main queue is asked to do holds
/// the requests weakly, so that nothing runs once the endpoint has gone.
class Endpoint final : public ControlEndpoint {
 public:
  Endpoint(std::string busName, std::vector<ControlRequest> requests, std::shared_ptr<Queue> main)
      : busName_(std::move(busName)),
        main_(std::move(main)),
        requests_(std::make_shared<const std::vector<ControlRequest>>(std::move(requests))),
        thread_([this] { run(); }) {}

  ~Endpoint() override {
    stopping_ = true;
    // The loop finds this notice even when it starts only now.
    if (ready_) connection_->leaveEventLoop();
    thread_.join();
  }

  void announceChange() override {
    if (!ready_) return;
    try {
      (*object_)
          ->emitSignal(DBusControl::kChanged)
          .onInterface(DBusControl::kInterface)
          .withArguments();
    } catch (const sdbus::Error&) {
      // The serving thread notices the loss of the bus and says so.
    }
  }

 private:
  /// A message refers to its connection, and may wait on the main queue when the endpoint ends.
  struct Asked {
    std::shared_ptr<sdbus::IConnection> connection;
    sdbus::Result<std::string> result;
  };

  void run() {
    pthread_setname_np(pthread_self(), "control");
    try {
      connection_ = sdbus::createSessionBusConnection();
      object_.emplace(*connection_, DBusControl::kPath);
      for (std::size_t i = 0; i < requests_->size(); ++i) add(i);
      object_->signal(DBusControl::kInterface, DBusControl::kChanged);
      object_->publish();
      connection_->requestName(bus::ServiceName(busName_));
    } catch (const sdbus::Error& error) {
      log("no control bus: " + error.getMessage() + "; tessalinectl cannot reach this instance");
      return;
    }
    ready_ = true;
    if (stopping_) return;
    try {
      connection_->enterEventLoop();
    } catch (const sdbus::Error& error) {
      log("the session bus has gone: " + error.getMessage() +
          "; tessalinectl cannot reach this instance any more");
    }
  }

  void add(std::size_t index) {
    const ControlRequest& request = (*requests_)[index];
    if (request.argument) {
      object_->method(DBusControl::kInterface, request.name,
                      [this, index](sdbus::Result<std::string>&& result, std::string argument) {
                        receive(index, std::move(argument), std::move(result));
                      },
                      {*request.argument}, {"answer"});
    } else {
      object_->method(DBusControl::kInterface, request.name,
                      [this, index](sdbus::Result<std::string>&& result) {
                        receive(index, {}, std::move(result));
                      },
                      {}, {"answer"});
    }
  }

  void receive(std::size_t index, std::string argument, sdbus::Result<std::string> result) {
    auto answer = [asked = std::make_shared<Asked>(Asked{connection_, std::move(result)})](
                      tessaline::Result<std::string> reply) {
      try {
        if (reply) {
          asked->result.returnResults(*reply);
        } else {
          asked->result.returnError(bus::error(DBusControl::kRefused, reply.error()));
        }
      } catch (const sdbus::Error&) {
        // The asker or the bus has gone.
      }
    };
    main_->async([weak = std::weak_ptr(requests_), index, argument = std::move(argument),
                  answer = std::move(answer)] {
      if (const auto requests = weak.lock()) (*requests)[index].handle(argument, answer);
    });
  }

  const std::string busName_;
  const std::shared_ptr<Queue> main_;
  std::shared_ptr<const std::vector<ControlRequest>> requests_;
  std::shared_ptr<sdbus::IConnection> connection_;  // made by the thread, there once ready_
  std::optional<bus::Object> object_;
  std::atomic<bool> ready_ = false;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<ControlEndpoint> DBusControl::serve(std::string busName,
                                                    std::vector<ControlRequest> requests,
                                                    std::shared_ptr<Queue> main) {
  return std::make_unique<Endpoint>(std::move(busName), std::move(requests), std::move(main));
}

}  // namespace tessaline::platform

#include <chrono>
#include <thread>

#include "platform/linux/desktop/DBusControl.h"
#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {
namespace {

// Answers come from a main queue that never blocks; what takes longer is not coming.
constexpr std::chrono::seconds kAnswerLimit{5};

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kNotRunning = "Tessaline is not running.";

bool nobodyThere(const sdbus::Error& error) {
  const std::string& name = error.getName();
  return name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
         name == "org.freedesktop.DBus.Error.NameHasNoOwner" ||
         name == "org.freedesktop.DBus.Error.NoReply";
}

class Client final : public ControlClient {
 public:
  explicit Client(std::string busName) : busName_(std::move(busName)) {}

  ~Client() override {
    if (!thread_.joinable()) return;
    connection_->leaveEventLoop();
    thread_.join();
  }

  Reply request(const std::string& name, const std::optional<std::string>& argument) override {
    try {
      connect();
      std::string text;
      auto call = proxy_->callMethod(name);
      call.onInterface(DBusControl::kInterface).withTimeout(kAnswerLimit);
      if (argument) call.withArguments(*argument);
      call.storeResultsTo(text);
      return {std::nullopt, std::move(text)};
    } catch (const sdbus::Error& error) {
      if (error.getName() == DBusControl::kRefused) return {Problem::refused, error.getMessage()};
      if (nobodyThere(error)) return {Problem::notReachable, kNotRunning};
      return {Problem::notReachable, "Tessaline cannot be reached: " + error.getMessage()};
    }
  }

  bool watch(Events events) override {
    try {
      connect();
      proxy_->uponSignal(DBusControl::kChanged)
          .onInterface(DBusControl::kInterface)
          .call([onChange = events.onChange] { onChange(); });
      bus::finishRegistration(*proxy_);
      bus_ = bus::createProxy(*connection_, kBus, "/org/freedesktop/DBus");
      bus_->uponSignal("NameOwnerChanged")
          .onInterface(kBus)
          .call([name = busName_, onGone = events.onGone](const std::string& changed,
                                                          const std::string& /*before*/,
                                                          const std::string& owner) {
            if (changed == name && owner.empty()) onGone();
          });
      bus::finishRegistration(*bus_);
      bool running = false;
      bus_->callMethod("NameHasOwner")
          .onInterface(kBus)
          .withArguments(busName_)
          .storeResultsTo(running);
      if (!running) return false;
    } catch (const sdbus::Error&) {
      return false;
    }
    thread_ = std::thread([this, onGone = std::move(events.onGone)] {
      try {
        connection_->enterEventLoop();
      } catch (const sdbus::Error&) {
        onGone();
      }
    });
    return true;
  }

 private:
  void connect() {
    if (connection_) return;
    auto connection = sdbus::createSessionBusConnection();
    proxy_ = bus::createProxy(*connection, busName_, DBusControl::kPath);
    connection_ = std::move(connection);
  }

  const std::string busName_;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> proxy_;
  std::unique_ptr<sdbus::IProxy> bus_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<ControlClient> DBusControl::client(std::string busName) {
  return std::make_unique<Client>(std::move(busName));
}

}  // namespace tessaline::platform

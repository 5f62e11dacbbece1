#include "platform/linux/wayland/mutter/MutterBus.h"

#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kBusPatience = 2s;  // for the bus itself, when something waits for its answer

}  // namespace

Result<std::unique_ptr<MutterBus>> MutterBus::open(std::shared_ptr<Queue> main,
                                                   std::function<void()> onGone) {
  try {
    auto connection = sdbus::createSessionBusConnection();
    connection->setMethodCallTimeout(kBusPatience);
    return std::unique_ptr<MutterBus>(
        new MutterBus(std::move(main), std::move(connection), std::move(onGone)));
  } catch (const sdbus::Error& error) {
    return Failure{error.getMessage()};
  }
}

MutterBus::MutterBus(std::shared_ptr<Queue> main, std::unique_ptr<sdbus::IConnection> connection,
                     std::function<void()> onGone)
    : main_(std::move(main)),
      connection_(std::move(connection)),
      onGone_(std::move(onGone)),
      thread_("tessaline.mutter", *this) {
  bus::addMatch(
      *connection_,
      std::string("type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                  "member='NameOwnerChanged',arg0='") +
          MutterNames::kScreenCast + "',arg2=''",
      [this](sdbus::Message& /*message*/) { tellGone(); });
  thread_.wake();
}

MutterBus::Proxy MutterBus::proxy(const std::string& service, const std::string& path) {
  try {
    return bus::createProxy(*connection_, service, path);
  } catch (const sdbus::Error&) {
    return nullptr;
  }
}

void MutterBus::listen(sdbus::IProxy* proxy) {
  try {
    if (proxy) bus::finishRegistration(*proxy);
    thread_.wake();  // what came in meanwhile no longer shows at the socket
  } catch (const sdbus::Error&) {
    // The bus has gone, which `onGone` tells.
  }
}

std::vector<sdbus::IConnection*> MutterBus::connections() {
  if (broken_) return {};
  return {connection_.get()};
}

void MutterBus::lost(sdbus::IConnection& /*connection*/) {
  broken_ = true;
  tellGone();
}

void MutterBus::tellGone() {
  main_->async([this, alive = std::weak_ptr<int>(alive_)] {
    if (!alive.expired() && !std::exchange(gone_, true)) onGone_();
  });
}

}  // namespace tessaline::platform

#include "platform/linux/wayland/portal/PortalWire.h"

#include <utility>

#include "platform/linux/wayland/portal/PortalNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using Clock = BusThread::Clock;

constexpr auto kReconnect = 10s;
constexpr std::chrono::microseconds kReplyPatience =
    10s;  // for replies, which no person has a part in
constexpr std::size_t kMostWaiting = 1000;

const std::string kGone = "the desktop portal has gone";

}  // namespace

PortalBus::Wire::Wire(Listener listener)
    : listener_(std::move(listener)), thread_("portal", *this) {}

void PortalBus::Wire::post(Call call) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(call));
  }
  thread_.wake();
}

Clock::time_point PortalBus::Wire::update() {
  if (std::exchange(broken_, false)) drop("the session bus has gone");
  {
    const std::lock_guard lock(mutex_);
    while (!posted_.empty()) {
      waiting_.push_back(std::move(posted_.front()));
      posted_.pop_front();
    }
  }
  const auto now = Clock::now();
  if (!connection_ && (!waiting_.empty() || (wasThere_ && now >= nextAttempt_))) connect();
  if (!connection_) return wasThere_ ? nextAttempt_ : Clock::time_point::max();
  if (waiting_.size() > kMostWaiting) drop("the desktop portal does not answer");
  if (introduction_ == Introduction::none && !waiting_.empty()) introduce();
  if (introduction_ == Introduction::done) sendWaiting();
  return Clock::time_point::max();
}

std::vector<sdbus::IConnection*> PortalBus::Wire::connections() {
  if (!connection_) return {};
  return {connection_.get()};
}

void PortalBus::Wire::lost(sdbus::IConnection& /*connection*/) {
  broken_ = true;
  thread_.wake();
}

void PortalBus::Wire::finish() {
  {
    const std::lock_guard lock(mutex_);
    for (auto& call : posted_) waiting_.push_back(std::move(call));
    posted_.clear();
  }
  // The portal ends the sessions of a caller that leaves the bus; what was held goes first.
  if (connection_ && introduction_ == Introduction::done) sendWaiting();
  portal_.reset();
  connection_.reset();
}

void PortalBus::Wire::connect() {
  nextAttempt_ = Clock::now() + kReconnect;
  try {
    connection_ = sdbus::createSessionBusConnection();
    portal_ = bus::createProxy(*connection_, PortalNames::kService, PortalNames::kPath);
    listen();
  } catch (const sdbus::Error& error) {
    drop("there is no session bus: " + error.getMessage());
    return;
  }
  wasThere_ = true;
  if (std::exchange(away_, false)) listener_.onBack();
}

void PortalBus::Wire::listen() {
  const auto listenTo = [&](const std::string& rule, auto handler) {
    bus::addMatch(*connection_, "type='signal'," + rule, [handler](sdbus::Message& message) {
      try {
        handler(message, std::string(message.getPath()));
      } catch (const sdbus::Error&) {
        // Not what the interface says; whoever waits for it gives up in time.
      }
    });
  };
  const std::string portal = "sender='" + std::string(PortalNames::kService) + "',interface='";
  listenTo(portal + PortalNames::kRequest + "',member='Response'",
           [this](auto& message, const std::string& path) {
             std::uint32_t response = 0;
             PortalValues values;
             try {
               message >> response >> values;
             } catch (const sdbus::Error&) {
               response = 2;
               values.clear();
             }
             listener_.onResponse(path.substr(path.rfind('/') + 1), response, std::move(values));
           });
  listenTo(portal + PortalNames::kSession + "',member='Closed'",
           [this](auto&, const std::string& path) { listener_.onSessionClosed(path); });
  listenTo(portal + PortalNames::kShortcuts + "',member='Activated'",
           [this](auto& message, const auto&) {
             sdbus::ObjectPath session;
             message >> session;
             listener_.onShortcut(session);
           });
  listenTo(
      "sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
      "arg0='" +
          std::string(PortalNames::kService) + "'",
      [this](auto& message, const auto&) { ownerChanged(message); });
}

void PortalBus::Wire::ownerChanged(sdbus::Message& message) {
  std::string name, before, now;
  message >> name >> before >> now;
  introduction_ = Introduction::none;  // a new portal has never heard of this process
  if (!before.empty()) {
    away_ = true;
    listener_.onGone(kGone);
  }
  if (!now.empty() && std::exchange(away_, false)) listener_.onBack();
  thread_.wake();
}

void PortalBus::Wire::introduce() {
  introduction_ = Introduction::asked;
  send(waiting_.emplace_front(Call{.path = PortalNames::kPath,
                                   .method = {PortalNames::kRegistry, "Register"},
                                   .write =
                                       [](sdbus::MethodCall& call) {
                                         call << std::string(PortalNames::kApplication)
                                              << PortalValues();
                                       },
                                   .read = [](sdbus::MethodReply&) {},
                                   // Older portals have no register, and one without our desktop
                                   // file does not take us in; both serve us all the same.
                                   .done =
                                       [this](const std::optional<std::string>&) {
                                         if (introduction_ == Introduction::asked)
                                           introduction_ = Introduction::done;
                                         thread_.wake();
                                       }}));
  waiting_.pop_front();
}

void PortalBus::Wire::drop(const std::string& reason) {
  const bool connected = portal_ != nullptr;
  portal_.reset();
  connection_.reset();
  introduction_ = Introduction::none;
  nextAttempt_ = Clock::now() + kReconnect;
  for (auto& call : std::exchange(waiting_, {})) {
    if (call.done) call.done(reason);
  }
  if (!connected) return;
  away_ = true;
  listener_.onGone(reason);
}

void PortalBus::Wire::sendWaiting() {
  while (!waiting_.empty()) {
    send(waiting_.front());
    waiting_.pop_front();
  }
}

void PortalBus::Wire::send(Call& call) {
  try {
    const bool own = call.path == PortalNames::kPath;
    const auto other =
        own ? nullptr : bus::createProxy(*connection_, PortalNames::kService, call.path);
    sdbus::IProxy& proxy = own ? *portal_ : *other;
    auto message = bus::methodCall(proxy, call.method.interface, call.method.name);
    if (call.write) call.write(message);
    if (!call.done) {
      message.dontExpectReply();
      message.send(0);
      return;
    }
    bus::callAsync(proxy, message, kReplyPatience,
                   [read = call.read, done = call.done](sdbus::MethodReply& reply,
                                                        const bus::ReplyError& error) {
                     if (error) {
                       done(error->getMessage());
                       return;
                     }
                     try {
                       read(reply);
                     } catch (const sdbus::Error& garbage) {
                       done(garbage.getMessage());
                       return;
                     }
                     done(std::nullopt);
                   });
  } catch (const sdbus::Error& error) {
    if (call.done) call.done(error.getMessage());
  }
}

}  // namespace tessaline::platform

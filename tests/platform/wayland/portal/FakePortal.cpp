#include "platform/wayland/portal/FakePortal.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "base/RandomText.h"

namespace tessaline::test {
namespace {

namespace bus = platform::bus;
using Streams = std::vector<sdbus::Struct<std::uint32_t, std::map<std::string, sdbus::Variant>>>;

constexpr const char* kService = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kCast = "org.freedesktop.portal.ScreenCast";
constexpr const char* kRemote = "org.freedesktop.portal.RemoteDesktop";
constexpr const char* kRequest = "org.freedesktop.portal.Request";
constexpr const char* kSession = "org.freedesktop.portal.Session";
constexpr std::uint32_t kMonitor = 1;
constexpr std::uint32_t kVirtual = 4;

template <typename Message>
std::string senderOf(const Message& message) {
  std::string name;
  if constexpr (std::is_pointer_v<Message>) {
    name = message->getSender();
  } else {
    name = message.getSender();
  }
  std::ranges::replace(name, '.', '_');
  return name.substr(1);
}

}  // namespace

FakePortal::FakePortal(std::uint32_t node, std::function<int()> remote)
    : node_(node),
      remote_(std::move(remote)),
      connection_(sdbus::createSessionBusConnection()),
      portal_(std::make_unique<bus::Object>(*connection_, kPath)) {
  serveSessions();
  portal_->publish();
  connection_->enterEventLoopAsync();
  connection_->requestName(bus::ServiceName(kService));
}

FakePortal::~FakePortal() {
  connection_->leaveEventLoop();
}

void FakePortal::serveSessions() {
  const auto createSession = [this](const Values& options) {
    const std::string path = pathOf("session", options.at("session_handle_token"));
    const auto handle = request(options);
    openSession(path);
    const bool babbles = user_ == User::babbles;
    respond(handle, 0, {{"session_handle", babbles ? sdbus::Variant(7U) : sdbus::Variant(path)}});
    return handle;
  };
  const auto select = [this](const sdbus::ObjectPath& session, const Values& options) {
    const auto handle = request(options);
    if (const auto token = options.find("restore_token"); token != options.end()) {
      const std::lock_guard lock(mutex_);
      if (tokens_.erase(token->second.get<std::string>()) > 0) restored_.insert(session);
    }
    respond(handle, 0, {});
    return handle;
  };
  portal_->property(kCast, "AvailableSourceTypes", [] { return kMonitor | kVirtual; });
  portal_->property(kCast, "AvailableCursorModes", [] { return std::uint32_t{7}; });
  portal_->property(kRemote, "AvailableDeviceTypes", [] { return std::uint32_t{7}; });
  portal_->property(kRemote, "version", [] { return std::uint32_t{1}; });
  portal_->method(kRemote, "CreateSession", createSession);
  portal_->method(kRemote, "SelectDevices", select);
  portal_->method(kCast, "SelectSources", select);
  portal_->method(kRemote, "Start",
                  [this](const sdbus::ObjectPath& session, const std::string& /*window*/,
                         const Values& options) { return start(session, options); });
  portal_->method(kCast, "OpenPipeWireRemote", [this](const sdbus::ObjectPath&, const Values&) {
    // A copy that stayed open here would keep each consumer that has gone among the node's.
    return sdbus::UnixFd(remote_(), sdbus::adopt_fd);
  });
}

std::string FakePortal::pathOf(const std::string& kind, const sdbus::Variant& token) const {
  return std::string(kPath) + "/" + kind + "/" +
         senderOf((*portal_)->getCurrentlyProcessedMessage()) + "/" + token.get<std::string>();
}

sdbus::ObjectPath FakePortal::request(const Values& options) {
  const std::string path = pathOf("request", options.at("handle_token"));
  auto object = std::make_unique<bus::Object>(*connection_, path);
  object->method(kRequest, "Close", [this] { ++closedRequests_; });
  object->signal<std::uint32_t, Values>(kRequest, "Response");
  object->publish();
  const std::lock_guard lock(mutex_);
  objects_[path] = std::move(object);
  return sdbus::ObjectPath(path);
}

void FakePortal::respond(const std::string& request, std::uint32_t response, const Values& values) {
  bus::Object* object = nullptr;
  {
    const std::lock_guard lock(mutex_);
    object = objects_.at(request).get();
  }
  (*object)->emitSignal("Response").onInterface(kRequest).withArguments(response, values);
}

void FakePortal::openSession(const std::string& path) {
  auto object = std::make_unique<bus::Object>(*connection_, path);
  object->method(kSession, "Close", [this, path] {
    const std::lock_guard lock(mutex_);
    sessions_.erase(path);
  });
  object->signal<>(kSession, "Closed");
  object->publish();
  const std::lock_guard lock(mutex_);
  objects_[path] = std::move(object);
  sessions_.insert(path);
}

sdbus::ObjectPath FakePortal::start(const std::string& session, const Values& options) {
  const auto handle = request(options);
  if (restored_.contains(session)) {
    grant(handle, kVirtual);
    return handle;
  }
  {
    const std::lock_guard lock(mutex_);
    open_ = handle;
  }
  const bool atOnce = user_ != User::waits;  // the test may go on as soon as it counts the question
  ++questions_;
  if (atOnce) answer();
  return handle;
}

void FakePortal::answer() {
  const std::string open = [this] {
    const std::lock_guard lock(mutex_);
    return open_;
  }();
  const User user = user_;
  if (user == User::refuses || user == User::crashes) {
    respond(open, user == User::refuses ? 1 : 2, {});
  } else {
    grant(open, user == User::givesAMonitor ? kMonitor : kVirtual);
  }
}

void FakePortal::grant(const std::string& request, std::uint32_t sourceType) {
  std::string token;
  {
    const std::lock_guard lock(mutex_);
    token = "token-" + std::to_string(++given_) + "-" + randomUuid();
    tokens_.insert(token);
  }
  const Streams streams = {{node_, Values{{"source_type", sdbus::Variant(sourceType)}}}};
  respond(request, 0,
          {{"streams", sdbus::Variant(streams)},
           {"devices", sdbus::Variant(std::uint32_t{7})},
           {"restore_token", sdbus::Variant(token)}});
}

void FakePortal::endSharing() {
  std::vector<bus::Object*> closed;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& path : std::exchange(sessions_, {})) {
      closed.push_back(objects_.at(path).get());
    }
  }
  for (auto* const session : closed) {
    (*session)->emitSignal("Closed").onInterface(kSession).withArguments();
  }
}

std::size_t FakePortal::sessions() {
  const std::lock_guard lock(mutex_);
  return sessions_.size();
}

}  // namespace tessaline::test

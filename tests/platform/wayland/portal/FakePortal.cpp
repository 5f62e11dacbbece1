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
constexpr const char* kShortcuts = "org.freedesktop.portal.GlobalShortcuts";
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
  name.erase(0, 1);
  std::ranges::replace(name, '.', '_');
  return name;
}

}  // namespace

FakePortal::FakePortal(std::uint32_t node, std::function<int()> remote)
    : node_(node),
      remote_(std::move(remote)),
      connection_(sdbus::createSessionBusConnection()),
      portal_(std::make_unique<bus::Object>(*connection_, kPath)) {
  serveSessions();
  serveInput();
  serveShortcuts();
  portal_->publish();
  connection_->enterEventLoopAsync();
  connection_->requestName(bus::ServiceName(kService));
}

FakePortal::~FakePortal() {
  connection_->leaveEventLoop();
}

std::string FakePortal::sender() {
  return senderOf((*portal_)->getCurrentlyProcessedMessage());
}

void FakePortal::serveSessions() {
  const auto createSession = [this](const Values& options) {
    const std::string token = options.at("session_handle_token").get<std::string>();
    const std::string path = std::string(kPath) + "/session/" + sender() + "/" + token;
    const auto handle = request(options);
    const std::lock_guard lock(mutex_);
    openSession(path);
    if (user_ == User::babbles) {
      respond(handle, 0, {{"session_handle", sdbus::Variant(std::uint32_t{7})}});
    } else {
      respond(handle, 0, {{"session_handle", sdbus::Variant(path)}});
    }
    return handle;
  };
  const auto select = [this](const sdbus::ObjectPath& session, const Values& options) {
    const auto handle = request(options);
    const std::lock_guard lock(mutex_);
    if (const auto token = options.find("restore_token"); token != options.end()) {
      restored_[session] = tokens_.erase(token->second.get<std::string>()) > 0;
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
    return remote_ ? sdbus::UnixFd(remote_(), sdbus::adopt_fd) : sdbus::UnixFd(0);
  });
}

void FakePortal::serveInput() {
  const auto session = [](const sdbus::ObjectPath& path) { return path.empty() ? "?" : ""; };
  portal_->method(kRemote, "NotifyPointerMotionAbsolute",
                  [=, this](const sdbus::ObjectPath& path, const Values&, std::uint32_t node,
                            double x, double y) {
                    hear(session(path) + ("move " + std::to_string(node == node_)) + " " +
                         std::to_string(static_cast<int>(x)) + "," +
                         std::to_string(static_cast<int>(y)));
                  });
  portal_->method(
      kRemote, "NotifyPointerButton",
      [=, this](const sdbus::ObjectPath& path, const Values&, std::int32_t code,
                std::uint32_t state) {
        hear(session(path) + ("button " + std::to_string(code)) + " " + std::to_string(state));
      });
  portal_->method(
      kRemote, "NotifyKeyboardKeysym",
      [=, this](const sdbus::ObjectPath& path, const Values&, std::int32_t symbol,
                std::uint32_t state) {
        hear(session(path) + ("symbol " + std::to_string(symbol)) + " " + std::to_string(state));
      });
}

void FakePortal::serveShortcuts() {
  portal_->method(kShortcuts, "CreateSession", [this](const Values& options) {
    const std::string token = options.at("session_handle_token").get<std::string>();
    const std::string path = std::string(kPath) + "/session/" + sender() + "/" + token;
    const auto handle = request(options);
    const std::lock_guard lock(mutex_);
    respond(handle, 0, {{"session_handle", sdbus::Variant(path)}});
    return handle;
  });
  portal_->method(
      kShortcuts, "BindShortcuts",
      [this](const sdbus::ObjectPath& session,
             const std::vector<sdbus::Struct<std::string, Values>>& shortcuts,
             const std::string& /*window*/, const Values& options) {
        const auto handle = request(options);
        const std::lock_guard lock(mutex_);
        shortcuts_ = session;
        hear("bound " + std::get<1>(shortcuts.front()).at("preferred_trigger").get<std::string>());
        respond(handle, 0, {});
        return handle;
      });
  portal_->signal<sdbus::ObjectPath, std::string, std::uint64_t, Values>(kShortcuts, "Activated");
}

sdbus::ObjectPath FakePortal::request(const Values& options) {
  const std::string token = options.at("handle_token").get<std::string>();
  const std::string path = std::string(kPath) + "/request/" + sender() + "/" + token;
  const std::lock_guard lock(mutex_);
  auto object = std::make_unique<bus::Object>(*connection_, path);
  object->method(kRequest, "Close", [this] { ++closedRequests_; });
  object->signal<std::uint32_t, Values>(kRequest, "Response");
  object->publish();
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
    hear("closed");
  });
  object->signal<>(kSession, "Closed");
  object->publish();
  objects_[path] = std::move(object);
  sessions_.insert(path);
}

sdbus::ObjectPath FakePortal::start(const std::string& session, const Values& options) {
  const auto handle = request(options);
  const std::lock_guard lock(mutex_);
  if (restored_[session]) {
    grant(handle, kVirtual);
    return handle;
  }
  const bool atOnce = user_ != User::waits;  // the test may go on as soon as it counts the question
  open_ = handle;
  ++questions_;
  if (atOnce) answer();
  return handle;
}

void FakePortal::answer() {
  const std::string open = [this] {
    const std::lock_guard lock(mutex_);
    return open_;
  }();
  switch (user_) {
    case User::grants:
    case User::waits:
      grant(open, kVirtual);
      break;
    case User::givesAMonitor:
      grant(open, kMonitor);
      break;
    case User::refuses:
      respond(open, 1, {});
      break;
    case User::crashes:
      respond(open, 2, {});
      break;
    case User::babbles:
      respond(open, 0, {{"streams", sdbus::Variant(std::string("none"))}});
      break;
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

void FakePortal::pressShortcut() {
  const std::string shortcuts = [this] {
    const std::lock_guard lock(mutex_);
    return shortcuts_;
  }();
  (*portal_)
      ->emitSignal("Activated")
      .onInterface(kShortcuts)
      .withArguments(sdbus::ObjectPath(shortcuts), std::string("start-stop"), std::uint64_t{1},
                     Values());
}

std::size_t FakePortal::sessions() {
  const std::lock_guard lock(mutex_);
  return sessions_.size();
}

void FakePortal::hear(const std::string& text) {
  const std::lock_guard lock(mutex_);
  heard_.push_back(text);
}

std::vector<std::string> FakePortal::heard() {
  const std::lock_guard lock(mutex_);
  return heard_;
}

void FakePortal::knowToken(const std::string& token) {
  const std::lock_guard lock(mutex_);
  tokens_.insert(token);
}

}  // namespace tessaline::test

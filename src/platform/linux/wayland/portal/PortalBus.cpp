#include "platform/linux/wayland/portal/PortalBus.h"

#include <utility>
#include <vector>

#include "base/RandomText.h"
#include "platform/linux/wayland/portal/PortalNames.h"
#include "platform/linux/wayland/portal/PortalWire.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 5s;  // for answers that no person has a part in
constexpr auto kLateness = 5s;  // how long an answer may still come once its request is closed

constexpr std::string_view kTokenAlphabet = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t kTokenLength = 16;

// Of a Response signal.
constexpr std::uint32_t kDone = 0;
constexpr std::uint32_t kCancelled = 1;

PortalAnswer answerOf(std::uint32_t response, PortalValues values) {
  using Kind = PortalAnswer::Kind;
  if (response == kDone) return {Kind::done, std::move(values), {}};
  if (response == kCancelled) return {Kind::refused, {}, {}};
  return {Kind::failed, {}, "the desktop portal ended the request"};
}

PortalAnswer failure(std::string reason) {
  return {PortalAnswer::Kind::failed, {}, std::move(reason)};
}

}  // namespace

PortalBus::PortalBus(std::shared_ptr<Queue> main) : main_(std::move(main)) {}

PortalBus::~PortalBus() = default;

std::shared_ptr<PortalBus> PortalBus::open(Queues& queues) {
  const std::shared_ptr<PortalBus> bus(new PortalBus(queues.main()));
  bus->self_ = bus;
  const auto onMain = [main = bus->main_, weak = bus->self_](auto work) {
    main->async([weak, work = std::move(work)] {
      if (const auto self = weak.lock()) work(*self);
    });
  };
  bus->wire_ = std::make_unique<Wire>(Wire::Listener{
      .onResponse =
          [onMain](std::string token, std::uint32_t response, PortalValues values) {
            onMain([token = std::move(token), answer = answerOf(response, std::move(values))](
                       PortalBus& self) { self.answered(token, answer); });
          },
      .onSessionClosed =
          [onMain](std::string path) {
            onMain([path = std::move(path)](PortalBus& self) {
              self.sessionClosed(path, "the desktop ended the sharing");
            });
          },
      .onShortcut =
          [onMain](std::string session) {
            onMain([session = std::move(session)](PortalBus& self) {
              self.shortcutActivated(session);
            });
          },
      .onGone =
          [onMain](std::string reason) {
            onMain([reason = std::move(reason)](PortalBus& self) { self.gone(reason); });
          },
      .onBack = [onMain] { onMain([](PortalBus& self) { self.return_.notify(); }); },
  });
  return bus;
}

void PortalBus::call(Method method, Write write, Read read,
                     std::function<void(std::optional<std::string> error)> done) {
  auto onMain = [main = main_, weak = self_,
                 done = std::move(done)](const std::optional<std::string>& error) {
    main->async([weak, done, error] {
      if (!weak.expired()) done(error);
    });
  };
  wire_->post({PortalNames::kPath, method, std::move(write), std::move(read), std::move(onMain)});
}

void PortalBus::send(Method method, Write write) {
  wire_->post({PortalNames::kPath, method, std::move(write), nullptr, nullptr});
}

std::unique_ptr<PortalBus::Request> PortalBus::request(Method method, Patience patience,
                                                       WriteRequest write, Answers answers) {
  const std::string token = randomText(kTokenLength, kTokenAlphabet);
  Pending& pending = pending_[token];
  pending.answers = std::move(answers);
  if (patience == Patience::machine) {
    pending.patience = main_->after(kPatience, [this, token] {
      answered(token, failure("the desktop portal does not answer"));
    });
  }
  PortalValues options;
  options["handle_token"] = sdbus::Variant(token);
  const auto handle = std::make_shared<sdbus::ObjectPath>();
  call(
      method, [write = std::move(write), options](sdbus::MethodCall& out) { write(out, options); },
      [handle](sdbus::MethodReply& reply) { reply >> *handle; },
      [this, token, handle](const std::optional<std::string>& error) {
        if (error) {
          answered(token, failure(*error));
        } else {
          begun(token, *handle);
        }
      });
  return std::make_unique<Request>(self_, token);
}

void PortalBus::begun(const std::string& token, const std::string& handle) {
  const auto found = pending_.find(token);
  if (found == pending_.end()) return;
  found->second.handle = handle;
  if (found->second.closed) closeObject(handle, PortalNames::kRequest);
}

void PortalBus::answered(const std::string& token, PortalAnswer answer) {
  const auto found = pending_.find(token);
  if (found == pending_.end()) return;
  const Pending pending = std::move(found->second);
  pending_.erase(found);
  const auto& tell = pending.closed ? pending.answers.tooLate : pending.answers.answered;
  if (tell) tell(std::move(answer));
}

void PortalBus::close(const std::string& token) {
  const auto found = pending_.find(token);
  if (found == pending_.end()) return;
  Pending& pending = found->second;
  pending.closed = true;
  pending.patience = main_->after(kLateness, [this, token] {
    const auto late = pending_.extract(token);  // whatever runs here goes with it
  });
  if (!pending.handle.empty()) closeObject(pending.handle, PortalNames::kRequest);
}

void PortalBus::closeObject(const std::string& path, const char* interface) {
  wire_->post({path, {interface, "Close"}, nullptr, nullptr, nullptr});
}

Subscription PortalBus::watchSession(const std::string& path,
                                     std::function<void(std::string reason)> onClosed) {
  auto kept = std::make_shared<std::function<void(std::string)>>(std::move(onClosed));
  sessions_.emplace(path, kept);
  return {kept.get(), [weak = self_, path](void* which) {
            const auto self = weak.lock();
            if (!self) return;
            std::erase_if(self->sessions_,
                          [&](const auto& entry) { return entry.second.get() == which; });
          }};
}

Subscription PortalBus::watchShortcut(const std::string& session,
                                      std::function<void()> onActivated) {
  auto kept = std::make_shared<std::function<void()>>(std::move(onActivated));
  shortcuts_.emplace(session, kept);
  return {kept.get(), [weak = self_](void* which) {
            const auto self = weak.lock();
            if (!self) return;
            std::erase_if(self->shortcuts_,
                          [&](const auto& entry) { return entry.second.get() == which; });
          }};
}

void PortalBus::closeSession(const std::string& path) {
  closeObject(path, PortalNames::kSession);
}

void PortalBus::sessionClosed(const std::string& path, const std::string& reason) {
  const auto [from, to] = sessions_.equal_range(path);
  std::vector<std::shared_ptr<std::function<void(std::string)>>> listeners;
  for (auto it = from; it != to; ++it) listeners.push_back(it->second);
  for (const auto& listener : listeners) (*listener)(reason);
}

void PortalBus::shortcutActivated(const std::string& session) {
  const auto [from, to] = shortcuts_.equal_range(session);
  std::vector<std::shared_ptr<std::function<void()>>> listeners;
  for (auto it = from; it != to; ++it) listeners.push_back(it->second);
  for (const auto& listener : listeners) (*listener)();
}

void PortalBus::gone(const std::string& reason) {
  const auto self = self_.lock();
  std::vector<std::string> requests;
  for (const auto& [token, pending] : pending_) requests.push_back(token);
  for (const auto& token : requests) answered(token, failure(reason));
  std::vector<std::string> sessions;
  for (const auto& [path, listener] : sessions_) sessions.push_back(path);
  for (const auto& path : sessions) sessionClosed(path, reason);
}

}  // namespace tessaline::platform

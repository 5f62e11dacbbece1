#include "platform/linux/wayland/portal/PortalSession.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "base/RandomText.h"
#include "platform/linux/wayland/portal/EisInput.h"
#include "platform/linux/wayland/portal/PortalNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kRestoreTime = 5s;  // a restored consent is answered by then, a question may not be

constexpr std::int64_t kFarthest = 1'000'000;  // of a display's place; no desktop is that large

using Streams = std::vector<sdbus::Struct<std::uint32_t, PortalValues>>;
using Pair = sdbus::Struct<std::int32_t, std::int32_t>;

std::string sessionOf(const PortalAnswer& answer) {
  // A text by the interface's words; an object path is what it means.
  if (const auto text = portalValue<std::string>(answer.values, "session_handle")) return *text;
  return portalValue<sdbus::ObjectPath>(answer.values, "session_handle")
      .value_or(sdbus::ObjectPath());
}

std::optional<std::string> tokenOf(const PortalAnswer& answer) {
  return portalValue<std::string>(answer.values, "restore_token");
}

void closeDescriptor(int& descriptor) {
  if (descriptor >= 0) ::close(std::exchange(descriptor, -1));
}

/// Why what was granted is not what was asked for; nothing when it is, and then `lease` has it.
std::optional<std::string> readGrant(const PortalAnswer& answer, PortalSession::Lease& lease) {
  const auto streams = portalValue<Streams>(answer.values, "streams");
  if (!streams || streams->empty()) return "the desktop portal granted no display";
  if (streams->size() > 1) return "the desktop portal granted several displays for one";
  const PortalValues& about = std::get<1>(streams->front());
  const auto type = portalValue<std::uint32_t>(about, "source_type");
  if (type != PortalNames::kVirtualSource) {
    return "the desktop portal shares a monitor or a window that is there already, where an extra "
           "display was asked for";
  }
  lease.node = std::get<0>(streams->front());
  lease.devices = portalValue<std::uint32_t>(answer.values, "devices").value_or(0);
  lease.mappingID = portalValue<std::string>(about, "mapping_id").value_or("");
  if (const auto size = portalValue<Pair>(about, "size");
      size && std::get<0>(*size) > 0 && std::get<1>(*size) > 0) {
    lease.size = PixelSize{std::get<0>(*size), std::get<1>(*size)};
  }
  if (const auto place = portalValue<Pair>(about, "position");
      place && std::abs(std::int64_t{std::get<0>(*place)}) < kFarthest &&
      std::abs(std::int64_t{std::get<1>(*place)}) < kFarthest) {
    lease.position = PixelPoint{std::get<0>(*place), std::get<1>(*place)};
  }
  return std::nullopt;
}

}  // namespace

PortalSession::PortalSession(Portal portal, Callbacks callbacks)
    : main_(std::move(portal.main)),
      bus_(portal.bus),
      consent_(portal.consent),
      offer_(portal.offer),
      callbacks_(std::move(callbacks)) {}

std::shared_ptr<PortalSession> PortalSession::start(Portal portal, Callbacks callbacks) {
  const std::shared_ptr<PortalSession> session(
      new PortalSession(std::move(portal), std::move(callbacks)));
  // Later, so that no callback comes before the owner has the session.
  session->main_->async([weak = session->weak_from_this()] {
    if (const auto self = weak.lock()) self->begin();
  });
  return session;
}

PortalSession::~PortalSession() {
  request_.reset();  // the question before the session that it belongs to
  endSession();
  closeDescriptor(lease_.remote);
  closeDescriptor(lease_.eis);
}

void PortalSession::endSession() {
  const std::string session = std::exchange(lease_.session, {});
  const auto bus = bus_.lock();
  if (bus && !session.empty()) bus->closeSession(session);
}

void PortalSession::letGo(std::shared_ptr<PortalSession> session) {
  if (!session) return;
  session->callbacks_ = {};
  const bool renewing = session->startedAt_ && session->turn_ && session->turn_->token() &&
                        session->main_->now() - *session->startedAt_ < kRestoreTime;
  if (!renewing) return;
  const auto main = session->main_;
  main->asyncAfter(kRestoreTime, [kept = std::move(session)]() mutable { kept.reset(); });
}

void PortalSession::begin() {
  const auto consent = consent_.lock();
  if (!consent) return;
  consent->ask([weak = weak_from_this()](std::unique_ptr<PortalConsent::Turn> turn) {
    const auto self = weak.lock();
    if (!self) return;  // the turn passes to the next
    if (!turn) {
      self->refuse();
      return;
    }
    self->asking_ = false;
    self->turn_ = std::move(turn);
    self->createSession();
  });
}

void PortalSession::request(PortalBus::Method method, PortalBus::WriteRequest write,
                            void (PortalSession::*next)()) {
  const auto bus = bus_.lock();
  if (!bus) return;
  request_ = bus->request(
      method, PortalBus::Patience::machine, std::move(write),
      {[weak = weak_from_this(), next](const PortalAnswer& answer) {
        const auto self = weak.lock();
        if (!self) return;
        if (answer.kind == PortalAnswer::Kind::done) {
          ((*self).*next)();
        } else {
          self->fail(answer.reason.empty() ? "the desktop portal said no" : answer.reason);
        }
      }});
}

void PortalSession::createSession() {
  const auto bus = bus_.lock();
  if (!bus) return;
  const auto write = [](sdbus::MethodCall& call, PortalValues options) {
    options["session_handle_token"] = sdbus::Variant(randomText(16, "abcdefghijklmnopqrstuvwxyz"));
    call << options;
  };
  const auto answered = [weak = weak_from_this()](const PortalAnswer& answer) {
    const auto self = weak.lock();
    if (!self) return;
    const std::string path = sessionOf(answer);
    if (path.empty() || path.front() != '/') {
      self->fail(answer.reason.empty() ? "the desktop portal gave no session" : answer.reason);
      return;
    }
    self->lease_.session = path;
    if (const auto open = self->bus_.lock()) {
      self->closed_ = open->watchSession(path, [weak](const std::string& reason) {
        if (const auto alive = weak.lock()) alive->fail(reason);
      });
    }
    self->selectDevices();
  };
  const auto tooLate = [later = bus_](const PortalAnswer& answer) {
    const auto alive = later.lock();
    const std::string path = sessionOf(answer);
    if (alive && !path.empty()) alive->closeSession(path);
  };
  request_ = bus->request({PortalNames::kRemoteDesktop, "CreateSession"},
                          PortalBus::Patience::machine, write, {answered, tooLate});
}

void PortalSession::selectDevices() {
  const std::uint32_t devices = offer_.devices & PortalNames::kAllDevices;
  request(
      {PortalNames::kRemoteDesktop, "SelectDevices"},
      [session = sdbus::ObjectPath(lease_.session), token = turn_->token(),
       devices = devices == 0 ? PortalNames::kAllDevices : devices](sdbus::MethodCall& call,
                                                                    PortalValues options) {
        options["types"] = sdbus::Variant(devices);
        options["persist_mode"] = sdbus::Variant(PortalNames::kUntilRevoked);
        if (token) options["restore_token"] = sdbus::Variant(*token);
        call << session << options;
      },
      &PortalSession::selectSource);
}

void PortalSession::selectSource() {
  // A mode that is not offered would end the session; hidden is the one that always is.
  const std::uint32_t cursor = offer_.cursorModes & PortalNames::kPointerApart
                                   ? PortalNames::kPointerApart
                                   : PortalNames::kPointerHidden;
  request(
      {PortalNames::kScreenCast, "SelectSources"},
      [session = sdbus::ObjectPath(lease_.session), cursor](sdbus::MethodCall& call,
                                                            PortalValues options) {
        options["types"] = sdbus::Variant(PortalNames::kVirtualSource);
        options["multiple"] = sdbus::Variant(false);
        options["cursor_mode"] = sdbus::Variant(cursor);
        call << session << options;
      },
      &PortalSession::startSession);
}

void PortalSession::startSession() {
  const auto bus = bus_.lock();
  if (!bus) return;
  asking_ = true;
  startedAt_ = main_->now();
  const auto tooLate = [consent = consent_](const PortalAnswer& answer) {
    const auto token = tokenOf(answer);
    const auto alive = consent.lock();
    if (alive && token) alive->keep(*token);
  };
  request_ = bus->request({PortalNames::kRemoteDesktop, "Start"}, PortalBus::Patience::person,
                          [session = sdbus::ObjectPath(lease_.session)](
                              sdbus::MethodCall& call, const PortalValues& options) {
                            call << session << std::string() << options;
                          },
                          {[weak = weak_from_this()](PortalAnswer answer) {
                             if (const auto self = weak.lock()) self->started(std::move(answer));
                           },
                           tooLate});
}

void PortalSession::started(PortalAnswer answer) {
  asking_ = false;
  switch (answer.kind) {
    case PortalAnswer::Kind::refused:
      refuse();
      return;
    case PortalAnswer::Kind::failed:
      fail(answer.reason);
      return;
    case PortalAnswer::Kind::done:
      break;
  }
  if (const auto problem = readGrant(answer, lease_)) {
    turn_->wasted();  // a token for this would bring the same again
    fail(*problem);
    return;
  }
  turn_->granted(tokenOf(answer));
  turn_.reset();
  if (callbacks_.onGranted) {
    openPictures();
  } else {
    endSession();  // nobody waits for it any more
  }
}

void PortalSession::open(
    PortalBus::Method method,
    std::function<void(PortalSession&, int descriptor, std::optional<std::string>)> done) {
  const auto bus = bus_.lock();
  if (!bus) return;
  const auto opened = std::make_shared<sdbus::UnixFd>();
  bus->call(
      method,
      [session = sdbus::ObjectPath(lease_.session)](sdbus::MethodCall& call) {
        call << session << PortalValues();
      },
      [opened](sdbus::MethodReply& reply) { reply >> *opened; },
      [weak = weak_from_this(), opened,
       done = std::move(done)](const std::optional<std::string>& error) {
        if (const auto self = weak.lock()) done(*self, error ? -1 : opened->release(), error);
      });
}

void PortalSession::openPictures() {
  open({PortalNames::kScreenCast, "OpenPipeWireRemote"},
       [](PortalSession& self, int descriptor, const std::optional<std::string>& error) {
         if (error) {
           self.fail("the desktop portal does not open PipeWire: " + *error);
           return;
         }
         self.lease_.remote = descriptor;
         self.openInput();
       });
}

void PortalSession::openInput() {
  if (!EisInput::builtIn() || offer_.remoteDesktop < 2) {
    grant();
    return;
  }
  open({PortalNames::kRemoteDesktop, "ConnectToEIS"},
       [](PortalSession& self, int descriptor, const std::optional<std::string>&) {
         self.lease_.eis = descriptor;  // without one the portal's own calls serve
         self.grant();
       });
}

void PortalSession::grant() {
  Lease lease = lease_;
  lease_.remote = -1;
  lease_.eis = -1;
  const auto onGranted = callbacks_.onGranted;
  if (onGranted) {
    onGranted(std::move(lease));
  } else {
    closeDescriptor(lease.remote);
    closeDescriptor(lease.eis);
  }
}

void PortalSession::refuse() {
  asking_ = false;
  if (turn_) turn_->refused();
  turn_.reset();
  closed_.reset();
  const auto callbacks = std::exchange(callbacks_, {});
  if (callbacks.onRefused) callbacks.onRefused();
}

void PortalSession::fail(const std::string& reason) {
  asking_ = false;
  request_.reset();
  turn_.reset();
  closed_.reset();
  endSession();
  const auto callbacks = std::exchange(callbacks_, {});
  if (callbacks.onFailed) callbacks.onFailed(reason);
}

}  // namespace tessaline::platform

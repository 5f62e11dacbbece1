#include "platform/linux/wayland/portal/PortalShortcuts.h"

#include <chrono>
#include <utility>
#include <vector>

#include "base/Log.h"
#include "base/RandomText.h"
#include "platform/linux/wayland/portal/PortalBus.h"
#include "platform/linux/wayland/portal/PortalNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

// The desktop may ask its user for the key. By then the application's own windows are there, the
// menu's too, which waits 3 s for a tray; one that came later would cover the question and take its
// keystrokes.
constexpr auto kSettling = 4s;

// By these the desktop remembers which key the user chose.
constexpr const char* kShortcut = "start-stop";
constexpr const char* kDescription = "Start or stop the extra screen";

std::string triggerOf(const HotKey& hotKey) {
  return std::string(hotKey.control ? "CTRL+" : "") + (hotKey.option ? "ALT+" : "") +
         (hotKey.command ? "LOGO+" : "") + hotKey.key;
}

/// A hot key and its session, which is made anew when the portal comes back.
class Shortcut final : public std::enable_shared_from_this<Shortcut> {
 public:
  Shortcut(std::shared_ptr<PortalBus> bus, const HotKey& hotKey, std::function<void()> action)
      : bus_(std::move(bus)), hotKey_(hotKey), action_(std::move(action)) {}
  ~Shortcut() {
    request_.reset();
    if (!session_.empty()) bus_->closeSession(session_);
  }

  void begin(Queue& main) {
    return_ = bus_->watchReturn([weak = weak_from_this()] {
      const auto self = weak.lock();
      if (self && !self->unwanted_) self->createSession();
    });
    start_ = main.after(kSettling, [this] { createSession(); });
  }

 private:
  using Next = void (Shortcut::*)(const PortalAnswer&);

  PortalBus::Answers then(Next next) {
    return {[weak = weak_from_this(), next](const PortalAnswer& answer) {
      const auto self = weak.lock();
      if (!self) return;
      if (answer.kind == PortalAnswer::Kind::done) {
        ((*self).*next)(answer);
      } else {
        self->without(answer.kind == PortalAnswer::Kind::refused ? "the user refused it"
                                                                 : answer.reason);
      }
    }};
  }

  void createSession() {
    start_ = {};
    session_.clear();
    request_ = bus_->request(
        {PortalNames::kShortcuts, "CreateSession"}, PortalBus::Patience::machine,
        [](sdbus::MethodCall& call, PortalValues options) {
          options["session_handle_token"] =
              sdbus::Variant(randomText(16, "abcdefghijklmnopqrstuvwxyz"));
          call << options;
        },
        then(&Shortcut::bind));
  }

  void bind(const PortalAnswer& answer) {
    session_ = portalValue<std::string>(answer.values, "session_handle").value_or("");
    activated_ = bus_->watchShortcut(session_, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->action_();
    });
    request_ = bus_->request(
        {PortalNames::kShortcuts, "BindShortcuts"}, PortalBus::Patience::person,
        [session = sdbus::ObjectPath(session_), trigger = triggerOf(hotKey_)](
            sdbus::MethodCall& call, const PortalValues& options) {
          const PortalValues about = {
              {"description", sdbus::Variant(std::string(kDescription))},
              {"preferred_trigger", sdbus::Variant(trigger)},
          };
          const std::vector<sdbus::Struct<std::string, PortalValues>> shortcuts = {
              sdbus::Struct<std::string, PortalValues>(kShortcut, about)};
          call << session << shortcuts << std::string() << options;
        },
        then(&Shortcut::bound));
  }

  void bound(const PortalAnswer& /*answer*/) { request_.reset(); }

  void without(const std::string& reason) {
    unwanted_ = true;
    log("the shortcut " + triggerOf(hotKey_) + " does nothing: " + reason);
  }

  const std::shared_ptr<PortalBus> bus_;
  const HotKey hotKey_;
  const std::function<void()> action_;
  std::string session_;
  bool unwanted_ = false;
  Timer start_;
  Subscription return_;
  Subscription activated_;
  std::unique_ptr<PortalBus::Request> request_;
};

/// What the desktop's caller holds.
class Registration final : public HotKeyRegistration {
 public:
  explicit Registration(std::shared_ptr<Shortcut> shortcut) : shortcut_(std::move(shortcut)) {}

 private:
  const std::shared_ptr<Shortcut> shortcut_;
};

class Shortcuts final : public PortalShortcuts {
 public:
  Shortcuts(std::shared_ptr<Queue> main, std::shared_ptr<PortalBus> bus)
      : main_(std::move(main)), bus_(std::move(bus)) {}

  [[nodiscard]] std::unique_ptr<HotKeyRegistration> add(const HotKey& hotKey,
                                                        std::function<void()> action) override {
    const auto shortcut = std::make_shared<Shortcut>(bus_, hotKey, std::move(action));
    shortcut->begin(*main_);
    return std::make_unique<Registration>(shortcut);
  }

 private:
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<PortalBus> bus_;
};

}  // namespace

std::unique_ptr<PortalShortcuts> PortalShortcuts::open(Queues& queues) {
  return open(queues, PortalBus::open(queues));
}

std::unique_ptr<PortalShortcuts> PortalShortcuts::open(Queues& queues,
                                                       std::shared_ptr<PortalBus> bus) {
  return std::make_unique<Shortcuts>(queues.main(), std::move(bus));
}

}  // namespace tessaline::platform

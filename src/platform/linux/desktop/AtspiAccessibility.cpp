#include "platform/linux/desktop/AtspiAccessibility.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "base/Log.h"
#include "platform/linux/desktop/BusThread.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using Clock = BusThread::Clock;
using Role = FocusedElement::Role;

constexpr auto kReconnect = 10s;
constexpr auto kLaunch = 8s;    // the bus starts when it is first asked for
constexpr auto kPatience = 2s;  // for an answer; a program's late one counts as no text field
constexpr std::uint32_t kScreenCoordinates = 0;
constexpr std::uint32_t kEditableState = 7;
constexpr std::uint32_t kFocusedState = 12;

constexpr const char* kRegistry = "org.a11y.atspi.Registry";
constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
constexpr const char* kComponent = "org.a11y.atspi.Component";
constexpr const char* kFocusEvents = "object:state-changed:focused";

// AT-SPI's numbers of roles.
Role roleOf(std::uint32_t role) {
  switch (role) {
    case 40:  // password text
    case 52:  // spin button
    case 79:  // entry
      return Role::textField;
    case 60:  // terminal
    case 61:  // text
      return Role::textArea;
    default:
      return Role::other;
  }
}

}  // namespace

/// What runs on the thread.
class AtspiAccessibility::Listener final : private BusThread::Client {
 public:
  explicit Listener(Frames frames) : frames_(frames), thread_("accessibility", *this) {}

  std::optional<FocusedElement> ask() {
    std::optional<FocusedElement> answer;
    {
      const std::lock_guard lock(mutex_);
      answer = found_;
      lookAgain_ = true;
    }
    thread_.wake();
    return answer;
  }

 private:
  /// One object of one program on the accessibility bus.
  struct Element {
    std::string program;
    std::string path;
    bool operator==(const Element&) const = default;
  };
  /// The answers to one look at an element; complete when all three are there.
  struct Look {
    Element element;
    std::optional<std::uint32_t> role;
    std::optional<std::vector<std::uint32_t>> states;
    std::optional<PixelRect> frame;
    Clock::time_point began;
    std::unique_ptr<sdbus::IProxy> proxy;
  };

  Clock::time_point update() override;
  std::vector<sdbus::IConnection*> connections() override;
  void lost(sdbus::IConnection& connection) override;
  void finish() override;

  void connect();
  void switchOn();
  void focusEvent(sdbus::Message& message);
  void programLeft(const std::string& program);
  void look();
  void answered();
  void publish(std::optional<FocusedElement> element);

  const Frames frames_;
  std::mutex mutex_;
  std::optional<FocusedElement> found_;  // guarded by mutex_
  bool lookAgain_ = false;               // guarded by mutex_

  // The rest belongs to the thread.
  std::unique_ptr<sdbus::IConnection> session_;
  std::unique_ptr<sdbus::IProxy> status_;
  std::unique_ptr<sdbus::IConnection> bus_;
  std::unique_ptr<sdbus::IProxy> registry_;
  bool broken_ = false;
  bool switchedOn_ = false;  // by us, so that it is switched off again
  bool saidMissing_ = false;
  Clock::time_point reconnect_{};
  std::optional<Element> focused_;
  std::optional<Look> look_;
  bool done_ = false;  // the look's answers are all there
  BusThread thread_;   // last: it starts at once
};

Clock::time_point AtspiAccessibility::Listener::update() {
  if (std::exchange(broken_, false)) {
    look_.reset();
    focused_.reset();
    registry_.reset();
    bus_.reset();
    status_.reset();
    session_.reset();
    publish(std::nullopt);
    reconnect_ = Clock::now() + kReconnect;
  }
  bool wanted = false;
  {
    const std::lock_guard lock(mutex_);
    wanted = std::exchange(lookAgain_, false);
  }
  // Not in the callback of a reply: it belongs to the look.
  if (std::exchange(done_, false)) look_.reset();
  if (wanted) connect();
  if (look_ && Clock::now() >= look_->began + kPatience) {
    // A program that hangs; it is asked again as soon as anyone wants to know.
    look_.reset();
    publish(std::nullopt);
  }
  if (wanted && bus_ && focused_ && !look_) look();
  return look_ ? look_->began + kPatience : Clock::time_point::max();
}

std::vector<sdbus::IConnection*> AtspiAccessibility::Listener::connections() {
  std::vector<sdbus::IConnection*> connections;
  if (session_) connections.push_back(session_.get());
  if (bus_) connections.push_back(bus_.get());
  return connections;
}

void AtspiAccessibility::Listener::lost(sdbus::IConnection& /*connection*/) {
  broken_ = true;
  thread_.wake();
}

void AtspiAccessibility::Listener::finish() {
  look_.reset();
  if (switchedOn_ && status_) {
    status_->setProperty("IsEnabled").onInterface("org.a11y.Status").toValue(false);
  }
  registry_.reset();
  bus_.reset();
  status_.reset();
  session_.reset();
}

void AtspiAccessibility::Listener::connect() {
  if (bus_ || Clock::now() < reconnect_) return;
  reconnect_ = Clock::now() + kReconnect;
  try {
    session_ = sdbus::createSessionBusConnection();
    session_->setMethodCallTimeout(kPatience);  // who ends the application waits for this thread
    status_ = bus::createProxy(*session_, "org.a11y.Bus", "/org/a11y/bus");
    std::string address;
    status_->callMethod("GetAddress")
        .onInterface("org.a11y.Bus")
        .withTimeout(kLaunch)
        .storeResultsTo(address);
    bus_ = sdbus::createSessionBusConnectionWithAddress(address);
    bus::addMatch(*bus_,
                  "type='signal',interface='org.a11y.atspi.Event.Object',member='StateChanged',"
                  "arg0='focused'",
                  [this](sdbus::Message& message) { focusEvent(message); });
    bus::addMatch(*bus_,
                  "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                  "member='NameOwnerChanged',arg2=''",
                  [this](sdbus::Message& message) {
                    std::string name;
                    message >> name;
                    programLeft(name);
                  });
    registry_ = bus::createProxy(*bus_, kRegistry, "/org/a11y/atspi/registry");
    registry_->callMethodAsync("RegisterEvent")
        .onInterface(kRegistry)
        .withArguments(std::string(kFocusEvents), std::vector<std::string>(), std::string())
        .uponReplyInvoke([](bus::ReplyError /*error*/) {});
    switchOn();
    saidMissing_ = false;
  } catch (const sdbus::Error& error) {
    registry_.reset();
    bus_.reset();
    status_.reset();
    session_.reset();
    if (std::exchange(saidMissing_, true)) return;
    log("no accessibility bus: " + error.getMessage() +
        "; touch devices get no keyboard button for text fields");
  }
}

void AtspiAccessibility::Listener::switchOn() {
  // Most toolkits tell of nothing until someone has said that accessibility is needed.
  const auto on = status_->getProperty("IsEnabled").onInterface("org.a11y.Status");
  if (on.get<bool>()) return;
  status_->setProperty("IsEnabled").onInterface("org.a11y.Status").toValue(true);
  switchedOn_ = true;
}

void AtspiAccessibility::Listener::focusEvent(sdbus::Message& message) {
  // What follows differs between toolkits and does not matter.
  std::string state;
  std::int32_t gained = 0;
  message >> state >> gained;
  const Element element{message.getSender(), message.getPath()};
  if (gained != 0) {
    focused_ = element;
    look_.reset();
    const std::lock_guard lock(mutex_);
    lookAgain_ = true;
  } else if (focused_ == element) {
    focused_.reset();
    look_.reset();
    publish(std::nullopt);
  }
}

void AtspiAccessibility::Listener::programLeft(const std::string& program) {
  if (!focused_ || focused_->program != program) return;
  focused_.reset();
  look_.reset();
  publish(std::nullopt);
}

void AtspiAccessibility::Listener::look() {
  look_.emplace();
  look_->element = *focused_;
  look_->began = Clock::now();
  look_->proxy = bus::createProxy(*bus_, focused_->program, focused_->path);
  sdbus::IProxy& proxy = *look_->proxy;
  // These are answered while the look exists: its end takes them back.
  proxy.callMethodAsync("GetRole")
      .onInterface(kAccessible)
      .uponReplyInvoke([this](bus::ReplyError error, std::uint32_t role) {
        look_->role = error ? 0 : role;
        answered();
      });
  proxy.callMethodAsync("GetState")
      .onInterface(kAccessible)
      .uponReplyInvoke([this](bus::ReplyError error, std::vector<std::uint32_t> states) {
        look_->states = error ? std::vector<std::uint32_t>() : std::move(states);
        answered();
      });
  using Rectangle = sdbus::Struct<std::int32_t, std::int32_t, std::int32_t, std::int32_t>;
  proxy.callMethodAsync("GetExtents")
      .onInterface(kComponent)
      .withArguments(kScreenCoordinates)
      .uponReplyInvoke([this](bus::ReplyError error, Rectangle frame) {
        look_->frame =
            error ? PixelRect()
                  : PixelRect{frame.get<0>(), frame.get<1>(), frame.get<2>(), frame.get<3>()};
        answered();
      });
}

void AtspiAccessibility::Listener::answered() {
  if (!look_->role || !look_->states || !look_->frame) return;
  const auto has = [&](std::uint32_t state) {
    const std::size_t word = state / 32;
    return word < look_->states->size() && ((*look_->states)[word] >> (state % 32) & 1U) != 0;
  };
  if (has(kFocusedState) && !look_->frame->empty()) {
    const auto frame = frames_ == Frames::global ? look_->frame : std::nullopt;
    publish(FocusedElement{roleOf(*look_->role), has(kEditableState), frame});
  } else {
    publish(std::nullopt);
  }
  done_ = true;
  thread_.wake();
}

void AtspiAccessibility::Listener::publish(std::optional<FocusedElement> element) {
  const std::lock_guard lock(mutex_);
  found_ = element;
}

AtspiAccessibility::AtspiAccessibility(Frames frames) : frames_(frames) {}

AtspiAccessibility::~AtspiAccessibility() = default;

std::optional<FocusedElement> AtspiAccessibility::focusedElement() const {
  if (!listener_) listener_ = std::make_unique<Listener>(frames_);
  return listener_->ask();
}

}  // namespace tessaline::platform

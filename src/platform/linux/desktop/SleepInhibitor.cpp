#include "platform/linux/desktop/SleepInhibitor.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/Log.h"
#include "platform/linux/x11/awake/X11Awake.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using Clock = BusThread::Clock;

constexpr const char* kApplication = "Tessaline";
constexpr auto kReconnect = 10s;
constexpr auto kHeartbeat = 30s;       // less than any screen saver's shortest delay
constexpr auto kPatience = 20s;        // for a service's answer
constexpr std::uint32_t kSuspend = 4;  // of the session manager's flags
constexpr std::uint32_t kIdle = 8;

struct Service {
  const char* name;
  const char* path;
  const char* interface;
  const char* release;
};
constexpr Service kServices[] = {
    {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver",
     "UnInhibit"},
    {"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager",
     "Uninhibit"},
};
constexpr std::size_t kScreenSaver = 0;
constexpr std::size_t kServiceCount = std::size(kServices);

struct Wish {
  ActivityOptions options;
  std::string reason;
};

}  // namespace

/// What is to be in force now.
struct SleepInhibitor::Wishes {
  std::mutex mutex;
  std::map<std::uint64_t, Wish> active;  // guarded by mutex
  std::uint64_t last = 0;                // guarded by mutex
  BusThread* thread = nullptr;           // guarded by mutex; null once the inhibitor has ended

  void change(const std::function<void()>& work) {
    const std::lock_guard lock(mutex);
    work();
    if (thread) thread->wake();
  }
};

class SleepInhibitor::Handle final : public Activity {
 public:
  Handle(std::shared_ptr<Wishes> wishes, std::uint64_t id) : wishes_(std::move(wishes)), id_(id) {}
  ~Handle() override {
    wishes_->change([this] { wishes_->active.erase(id_); });
  }

 private:
  const std::shared_ptr<Wishes> wishes_;
  const std::uint64_t id_;
};

/// What runs on the thread: brings what is inhibited in line with what is wished.
class SleepInhibitor::Talker final : private BusThread::Client {
 public:
  explicit Talker(std::shared_ptr<Wishes> wishes)
      : wishes_(std::move(wishes)), thread_("awake", *this) {
    wishes_->change([this] { wishes_->thread = &thread_; });
  }
  ~Talker() override {
    wishes_->change([this] { wishes_->thread = nullptr; });
  }

 private:
  enum class State { unknown, asking, held, absent, beats };
  struct Held {
    State states[kServiceCount] = {};
    std::uint32_t cookies[kServiceCount] = {};
    State login = State::unknown;
    sdbus::UnixFd lock;  // the login manager's; closing it releases
  };

  Clock::time_point update() override;
  std::vector<sdbus::IConnection*> connections() override;
  void lost(sdbus::IConnection& connection) override;
  void finish() override;

  void connectSession();
  void inhibit(std::uint64_t id, const Wish& wish, Held& held);
  void ask(std::size_t service, std::uint64_t id, const Wish& wish);
  void answered(std::size_t service, std::uint64_t id, const bus::ReplyError& error,
                std::uint32_t cookie);
  void askLogin(std::uint64_t id, const Wish& wish);
  void release(const Held& held);
  void releaseOne(std::size_t service, std::uint32_t cookie);
  void ownerChanged(std::size_t service, bool there);
  Clock::time_point beat();

  const std::shared_ptr<Wishes> wishes_;
  std::unique_ptr<sdbus::IConnection> session_;
  std::unique_ptr<sdbus::IConnection> system_;
  std::unique_ptr<sdbus::IProxy> proxies_[kServiceCount];
  std::unique_ptr<sdbus::IProxy> loginProxy_;
  std::map<std::uint64_t, Held> held_;
  std::unique_ptr<X11Awake> x11_;
  bool x11Tried_ = false;
  bool brokenSession_ = false;
  bool brokenSystem_ = false;
  bool saidNothing_ = false;
  int unanswered_ = 0;
  Clock::time_point reconnect_{};
  Clock::time_point nextBeat_{};
  BusThread thread_;  // last: it starts at once
};

Clock::time_point SleepInhibitor::Talker::update() {
  if (std::exchange(brokenSession_, false)) {
    for (auto& proxy : proxies_) proxy.reset();
    session_.reset();
    unanswered_ = 0;
    for (auto& [id, held] : held_) std::ranges::fill(held.states, State::unknown);
    reconnect_ = Clock::now() + kReconnect;
  }
  if (std::exchange(brokenSystem_, false)) {
    loginProxy_.reset();
    system_.reset();
    for (auto& [id, held] : held_) held.login = State::unknown;
  }
  std::map<std::uint64_t, Wish> wishes;
  {
    const std::lock_guard lock(wishes_->mutex);
    wishes = wishes_->active;
  }
  for (auto it = held_.begin(); it != held_.end();) {
    if (wishes.contains(it->first)) {
      ++it;
    } else {
      release(it->second);
      it = held_.erase(it);
    }
  }
  const bool display = std::ranges::any_of(
      wishes, [](const auto& wish) { return wish.second.options.idleDisplaySleepDisabled; });
  if (!display) {
    x11_.reset();
    x11Tried_ = false;
  } else if (!std::exchange(x11Tried_, true)) {
    x11_ = X11Awake::begin();
  }
  if (wishes.empty()) {
    if (unanswered_ == 0) {
      for (auto& proxy : proxies_) proxy.reset();
      session_.reset();
    }
    loginProxy_.reset();
    system_.reset();
    return Clock::time_point::max();
  }
  connectSession();
  for (const auto& [id, wish] : wishes) inhibit(id, wish, held_[id]);
  return std::min(session_ ? Clock::time_point::max() : reconnect_, beat());
}

std::vector<sdbus::IConnection*> SleepInhibitor::Talker::connections() {
  std::vector<sdbus::IConnection*> connections;
  if (session_) connections.push_back(session_.get());
  if (system_) connections.push_back(system_.get());
  return connections;
}

void SleepInhibitor::Talker::lost(sdbus::IConnection& connection) {
  (session_.get() == &connection ? brokenSession_ : brokenSystem_) = true;
  thread_.wake();
}

void SleepInhibitor::Talker::finish() {
  x11_.reset();
  for (const auto& [id, held] : held_) release(held);
  for (auto& proxy : proxies_) proxy.reset();
  loginProxy_.reset();
  session_.reset();  // services forget a caller that leaves the bus
  system_.reset();
}

void SleepInhibitor::Talker::connectSession() {
  if (session_ || Clock::now() < reconnect_) return;
  try {
    session_ = sdbus::createSessionBusConnection();
  } catch (const sdbus::Error&) {
    reconnect_ = Clock::now() + kReconnect;
    return;
  }
  for (std::size_t i = 0; i < kServiceCount; ++i) {
    proxies_[i] = bus::createProxy(*session_, kServices[i].name, kServices[i].path);
    bus::addMatch(*session_,
                  "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                  "member='NameOwnerChanged',arg0='" +
                      std::string(kServices[i].name) + "'",
                  [this, i](sdbus::Message& message) {
                    std::string name, before, now;
                    message >> name >> before >> now;
                    ownerChanged(i, !now.empty());
                  });
  }
}

void SleepInhibitor::Talker::inhibit(std::uint64_t id, const Wish& wish, Held& held) {
  if (session_) {
    for (std::size_t i = 0; i < kServiceCount; ++i) {
      if (held.states[i] != State::unknown) continue;
      held.states[i] = State::asking;
      ask(i, id, wish);
    }
  }
  const bool none = !session_ || std::ranges::all_of(held.states, [](State state) {
    return state == State::absent;
  });
  if (none && held.login == State::unknown) {
    held.login = State::asking;
    askLogin(id, wish);
  }
  if (none && held.login == State::absent && !x11_ && !std::exchange(saidNothing_, true)) {
    log("nothing here can be asked to keep the computer awake; it may fall asleep");
  }
}

void SleepInhibitor::Talker::ask(std::size_t service, std::uint64_t id, const Wish& wish) {
  const auto done = [this, service, id](bus::ReplyError error, std::uint32_t cookie) {
    answered(service, id, error, cookie);
  };
  ++unanswered_;
  const std::string method = "Inhibit";  // the call keeps a reference to it
  auto call = proxies_[service]->callMethodAsync(method);
  call.onInterface(kServices[service].interface).withTimeout(kPatience);
  if (service == kScreenSaver) {
    call.withArguments(std::string(kApplication), wish.reason).uponReplyInvoke(done);
  } else {
    const std::uint32_t flags = (wish.options.idleDisplaySleepDisabled ? kIdle : 0) |
                                (wish.options.idleSystemSleepDisabled ? kSuspend : 0);
    const std::uint32_t noWindow = 0;
    call.withArguments(std::string(kApplication), noWindow, wish.reason, flags)
        .uponReplyInvoke(done);
  }
}

void SleepInhibitor::Talker::answered(std::size_t service, std::uint64_t id,
                                      const bus::ReplyError& error, std::uint32_t cookie) {
  --unanswered_;
  const auto found = held_.find(id);
  if (found == held_.end()) {
    if (!error) releaseOne(service, cookie);  // its activity ended meanwhile
    return;
  }
  State& state = found->second.states[service];
  if (!error) {
    state = State::held;
    found->second.cookies[service] = cookie;
  } else if (service == kScreenSaver &&
             error->getName() == "org.freedesktop.DBus.Error.UnknownMethod") {
    state = State::beats;
  } else {
    state = State::absent;
  }
  thread_.wake();
}

void SleepInhibitor::Talker::askLogin(std::uint64_t id, const Wish& wish) {
  const auto fail = [this, id] {
    if (const auto found = held_.find(id); found != held_.end()) {
      found->second.login = State::absent;
    }
    thread_.wake();
  };
  try {
    if (!system_) system_ = sdbus::createSystemBusConnection();
    if (!loginProxy_) {
      loginProxy_ = bus::createProxy(*system_, "org.freedesktop.login1", "/org/freedesktop/login1");
    }
  } catch (const sdbus::Error&) {
    fail();
    return;
  }
  // Not "sleep": that would also refuse the user who closes the lid.
  loginProxy_->callMethodAsync("Inhibit")
      .onInterface("org.freedesktop.login1.Manager")
      .withTimeout(kPatience)
      .withArguments(std::string("idle"), std::string(kApplication), wish.reason,
                     std::string("block"))
      .uponReplyInvoke([this, id, fail](bus::ReplyError error, sdbus::UnixFd lock) {
        const auto found = held_.find(id);
        if (found == held_.end()) return;
        if (error) return fail();
        found->second.login = State::held;
        found->second.lock = std::move(lock);
      });
}

void SleepInhibitor::Talker::release(const Held& held) {
  for (std::size_t i = 0; i < kServiceCount; ++i) {
    if (held.states[i] == State::held) releaseOne(i, held.cookies[i]);
  }
}

void SleepInhibitor::Talker::releaseOne(std::size_t service, std::uint32_t cookie) {
  if (!session_ || !proxies_[service]) return;
  proxies_[service]
      ->callMethod(kServices[service].release)
      .onInterface(kServices[service].interface)
      .withArguments(cookie)
      .dontExpectReply();
}

void SleepInhibitor::Talker::ownerChanged(std::size_t service, bool there) {
  for (auto& [id, held] : held_) {
    if (held.states[service] == State::asking) continue;  // its answer is on the way
    held.states[service] = there ? State::unknown : State::absent;
  }
  thread_.wake();
}

Clock::time_point SleepInhibitor::Talker::beat() {
  const bool beats = session_ && std::ranges::any_of(held_, [](const auto& held) {
                       return held.second.states[kScreenSaver] == State::beats;
                     });
  if (!beats) return Clock::time_point::max();
  if (Clock::now() >= nextBeat_) {
    nextBeat_ = Clock::now() + kHeartbeat;
    proxies_[kScreenSaver]
        ->callMethod("SimulateUserActivity")
        .onInterface(kServices[kScreenSaver].interface)
        .dontExpectReply();
  }
  return nextBeat_;
}

SleepInhibitor::SleepInhibitor() : wishes_(std::make_shared<Wishes>()) {}

SleepInhibitor::~SleepInhibitor() = default;

std::unique_ptr<Activity> SleepInhibitor::begin(ActivityOptions options,
                                                const std::string& reason) {
  if (!talker_) talker_ = std::make_unique<Talker>(wishes_);
  std::uint64_t id = 0;
  wishes_->change([&] {
    id = ++wishes_->last;
    wishes_->active[id] = {options, reason};
  });
  return std::make_unique<Handle>(wishes_, id);
}

}  // namespace tessaline::platform

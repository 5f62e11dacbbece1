#include "system/AirDropPause.h"

#include <atomic>
#include <utility>

#include "system/AirDrop.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kGuardInterval = 500ms;  // how fast a link that something else raised is noticed
constexpr auto kQuiet = 2s;             // without motion, until the link comes back

constexpr std::string_view kCut = "cutAirDrop";
constexpr std::string_view kSmart = "smartAirDrop";

}  // namespace

/// Brings reports of motion to the main queue, one at a time however many there are.
struct AirDropPause::Reporter {
  std::shared_ptr<Queue> main;
  std::weak_ptr<AirDropPause*> pause;
  std::atomic<bool> pending = false;
};

AirDropPause::AirDropPause(std::shared_ptr<platform::SystemCommands> commands, Queues& queues,
                           UserDefaults& defaults)
    : commands_(std::move(commands)),
      queues_(queues),
      main_(queues.main()),
      defaults_(defaults),
      self_(std::make_shared<AirDropPause*>(this)),
      reporter_(std::make_shared<Reporter>()) {
  reporter_->main = main_;
  reporter_->pause = self_;
}

AirDropPause::~AirDropPause() = default;

bool AirDropPause::available() const {
  return AirDrop(*commands_).exists();
}

bool AirDropPause::helperInstalled() const {
  return AirDrop(*commands_).helperInstalled();
}

void AirDropPause::installHelper() {
  if (installing_) return;  // the question is already on the user's screen
  installing_ = true;
  if (onChange) onChange();
  perform([](auto& commands) { AirDrop(commands).installHelper(); },
          [this] {
            installing_ = false;
            if (onChange) onChange();
          });
}

bool AirDropPause::cut() const {
  return defaults_.boolean(kCut).value_or(true);
}

void AirDropPause::setCut(bool cut) {
  defaults_.set(kCut, cut);
}

bool AirDropPause::smart() const {
  return defaults_.boolean(kSmart).value_or(true);
}

void AirDropPause::setSmart(bool smart) {
  defaults_.set(kSmart, smart);
}

AirDropPause::Mode AirDropPause::mode() const {
  if (!cut()) return Mode::never;
  return smart() ? Mode::whileMoving : Mode::always;
}

void AirDropPause::setMode(Mode mode) {
  if (mode != Mode::never && !helperInstalled()) installHelper();
  setCut(mode != Mode::never);
  setSmart(mode == Mode::whileMoving);
  if (mode == Mode::never) resume();
}

std::function<void()> AirDropPause::activityReporter() {
  if (!available()) return {};
  return [reporter = reporter_] {
    if (reporter->pending.exchange(true)) return;
    reporter->main->async([reporter] {
      reporter->pending = false;
      if (const auto pause = reporter->pause.lock()) (*pause)->noteActivity();
    });
  };
}

void AirDropPause::noteActivity() {
  lastActivity_ = main_->now();
  if (cut() && !paused_) pause();
}

void AirDropPause::connecting() {
  if (cut() && !smart()) pause();
}

void AirDropPause::setSessions(bool exist) {
  sessions_ = exist;
  if (!exist) {
    guard_ = {};
    if (paused_) resume();
  } else if (!guard_.active() && available()) {
    guard_ = main_->every(kGuardInterval, [this] { guardTick(); });
  }
}

void AirDropPause::lastSessionEnded() {
  if (cut()) resume();
}

void AirDropPause::guardTick() {
  if (!sessions_ || !cut()) return;
  const bool moving = lastActivity_ && main_->now() - *lastActivity_ < kQuiet;
  if (!smart() || moving) {
    if (AirDrop(*commands_).isActive()) pause();
  } else if (paused_) {
    resume();
  }
}

void AirDropPause::pause() {
  paused_ = true;
  command(false);
}

void AirDropPause::resume() {
  paused_ = false;
  command(true);
}

void AirDropPause::release(std::function<void()> done) {
  if (cut()) resume();
  if (!running_) {
    done();
  } else {
    released_.push_back(std::move(done));
  }
}

// Only the newest wish waits behind a command: a dialog that nobody answers collects nothing.
void AirDropPause::command(bool enabled) {
  if (!available()) return;
  if (running_) {
    next_ = enabled;
    return;
  }
  running_ = enabled;
  perform([enabled](auto& commands) { AirDrop(commands).set(enabled); },
          [this, enabled] { commandDone(enabled); });
}

void AirDropPause::commandDone(bool enabled) {
  running_.reset();
  const auto next = std::exchange(next_, std::nullopt);
  if (next && *next != enabled) command(*next);
  if (running_) return;
  const auto released = std::exchange(released_, {});
  for (const auto& done : released) done();
}

void AirDropPause::perform(std::function<void(platform::SystemCommands&)> work,
                           std::function<void()> done) {
  if (!queue_) queue_ = queues_.thread("tessaline.airdrop");
  queue_->async([this_ = std::weak_ptr(self_), main = main_, commands = commands_,
                 work = std::move(work), done = std::move(done)] {
    work(*commands);
    main->async([this_, done] {
      if (!this_.expired()) done();
    });
  });
}

}  // namespace tessaline

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/SystemCommands.h"

namespace tessaline {

/// When the AirDrop link is off: always while a screen is shown, or only while things move on it,
/// or never, as the user chose. Lives on the main queue; commands run one after the other on
/// "tessaline.airdrop", because a password dialog may hold one up for minutes. Owned by the
/// controller.
class AirDropPause {
 public:
  enum class Mode { whileMoving, always, never };

  AirDropPause(std::shared_ptr<platform::SystemCommands> commands, Queues& queues,
               UserDefaults& defaults);
  ~AirDropPause();

  /// An installation has begun or ended.
  std::function<void()> onChange;

  /// There is such a link here; nothing else of this class does anything without.
  [[nodiscard]] bool available() const;
  [[nodiscard]] bool helperInstalled() const;
  /// The user is being asked to install the rule.
  [[nodiscard]] bool installing() const { return installing_; }
  void installHelper();

  /// The link is paused at all; true unless the user said no.
  [[nodiscard]] bool cut() const;
  void setCut(bool cut);
  /// It is paused only while things move; true unless the user said no.
  [[nodiscard]] bool smart() const;
  void setSmart(bool smart);
  [[nodiscard]] Mode mode() const;
  /// Installs the rule first where it is missing.
  void setMode(Mode mode);

  /// What sessions call when the picture moves; callable from any thread, at any time. Empty where
  /// there is no such link.
  [[nodiscard]] std::function<void()> activityReporter();
  /// A session with another computer is about to begin.
  void connecting();
  /// Called after every start and end of a session, with whether there is one now.
  void setSessions(bool exist);
  /// The last session with another computer has ended and no browser is left.
  void lastSessionEnded();
  /// The main role ends: brings the link up, if it is ever paused. `done` runs when that has
  /// happened; within the call when there is nothing to do.
  void release(std::function<void()> done);

 private:
  struct Reporter;
  void noteActivity();
  void pause();
  void resume();
  void guardTick();
  void command(bool enabled);
  void commandDone(bool enabled);
  /// Runs `work` on the command queue and `done` on the main queue afterwards.
  void perform(std::function<void(platform::SystemCommands&)> work, std::function<void()> done);

  const std::shared_ptr<platform::SystemCommands> commands_;
  Queues& queues_;
  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  std::shared_ptr<Queue> queue_;  // made when it is first needed
  const std::shared_ptr<AirDropPause*> self_;
  std::shared_ptr<Reporter> reporter_;

  std::optional<Clock::time_point> lastActivity_;  // nothing: long ago
  bool paused_ = false;                            // this process owes bringing the link up
  bool sessions_ = false;
  Timer guard_;
  bool installing_ = false;
  std::optional<bool> running_;  // the command being run: up or down
  std::optional<bool> next_;     // the one wanted after it
  std::vector<std::function<void()>> released_;
};

}  // namespace tessaline

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/Observers.h"
#include "base/UserDefaults.h"
#include "protocol/Hello.h"

namespace tessaline {

/// Remembers which display devices the user has allowed, and asks about those it does not know.
/// Asking never blocks: each unknown device is one prompt, which whoever can reach the user answers
/// (a window, a terminal, the control bus; the first answer counts). A prompt outlives the link
/// that asked. A refusal is not remembered. Lives on the main queue.
class ApprovedDevices {
 public:
  using Completion = std::function<void(bool allowed)>;

  struct Prompt {
    std::uint64_t id = 0;  ///< never 0, never used twice in a process
    std::string deviceID;  ///< may be empty: such a device is asked about every time
    std::string deviceName;

    // The texts of the question, wherever it is shown.
    [[nodiscard]] std::string message() const;
    static constexpr std::string_view kInformativeText =
        "This device asked to show your extra screen. It will see everything you put on that "
        "screen. Only allow devices you own.";
    static constexpr std::string_view kAllow = "Use as Extra Screen";
    static constexpr std::string_view kRefuse = "Don't Allow";
  };

  explicit ApprovedDevices(UserDefaults& defaults);

  /// Identifier → name as it was when the device was allowed.
  [[nodiscard]] UserDefaults::Dictionary all() const;
  void setAll(const UserDefaults::Dictionary& devices);
  [[nodiscard]] bool contains(const std::string& deviceID) const;
  void add(const std::string& deviceID, const std::string& name);
  /// Every device is asked about again; running sessions go on.
  void forgetAll();

  /// Decides whether the device may become a screen. `completion` runs once: now for a known device
  /// (or when too many questions are open, with false), else when the prompt is answered. It holds
  /// its session weakly.
  void ask(const Hello& hello, Completion completion);

  /// Questions waiting for an answer, oldest first.
  [[nodiscard]] std::vector<Prompt> pending() const;
  /// False when there is no such prompt (any more).
  bool answer(std::uint64_t promptID, bool allow);

  /// `pending` has changed.
  [[nodiscard]] Subscription observe(Observers::Observer observer);

 private:
  struct Question {
    Prompt prompt;
    std::vector<Completion> completions;
  };
  UserDefaults& defaults_;
  std::vector<Question> questions_;
  std::uint64_t lastID_ = 0;
  Observers observers_;
};

}  // namespace tessaline

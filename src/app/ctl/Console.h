#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/ctl/Status.h"
#include "app/ctl/TerminalKeys.h"
#include "platform/ControlEndpoint.h"

namespace tessaline::ctl {

/// The application's face in a terminal: shows the link and the computers that can be the screen,
/// starts and stops one, asks about each device that wants to be a screen, and says what becomes of
/// it. It waits for the application's word and never polls. Used
/// once, on the program's only thread of its own.
class Console {
 public:
  explicit Console(platform::ControlClient& client);
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Returns the program's exit code when the user quits, the application ends or a signal comes.
  [[nodiscard]] int run();

 private:
  void introduce(const Status& status);
  void refresh();
  void showComputers(const std::vector<std::string>& names);
  void showScreens(const std::vector<Status::Screen>& screens);
  void showPrompt(const std::vector<Status::Prompt>& pending);
  void handleKey(char key);
  void handleSignal();
  void handleEvents();
  void answer(bool allow);

  platform::ControlClient& client_;
  int events_;   // eventfd, written by the client's thread
  int signals_;  // signalfd
  TerminalKeys keys_;
  std::vector<std::string> computers_;
  std::vector<std::string> screenLines_;
  bool screensPresent_ = false;
  std::optional<Status::Prompt> asked_;  // the question on the terminal
  bool quitting_ = false;
  std::optional<int> exitCode_;
};

}  // namespace tessaline::ctl

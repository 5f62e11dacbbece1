#pragma once

#include <termios.h>

#include <optional>

namespace tessaline::ctl {

/// Single key presses from the terminal on standard input, without Enter and without echo. The
/// terminal is as before once this object has gone. Without a terminal there are no keys.
class TerminalKeys {
 public:
  TerminalKeys();
  ~TerminalKeys();
  TerminalKeys(const TerminalKeys&) = delete;
  TerminalKeys& operator=(const TerminalKeys&) = delete;

  /// The descriptor to poll for a key, -1 without a terminal.
  [[nodiscard]] int descriptor() const;
  /// The next key; nothing when the terminal has gone.
  [[nodiscard]] std::optional<char> read();
  /// Takes the terminal again after the process was stopped and continued.
  void resume();

 private:
  std::optional<termios> before_;
  bool ended_ = false;
};

}  // namespace tessaline::ctl

#include "app/ctl/TerminalKeys.h"

#include <unistd.h>

namespace tessaline::ctl {

TerminalKeys::TerminalKeys() {
  termios settings{};
  // In the background the terminal belongs to somebody else, and touching it would stop us.
  if (::isatty(STDIN_FILENO) == 0 || ::tcgetpgrp(STDIN_FILENO) != ::getpgrp()) return;
  if (::tcgetattr(STDIN_FILENO, &settings) != 0) return;
  before_ = settings;
  resume();
}

TerminalKeys::~TerminalKeys() {
  if (before_) ::tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
}

int TerminalKeys::descriptor() const {
  return before_ && !ended_ ? STDIN_FILENO : -1;
}

std::optional<char> TerminalKeys::read() {
  char key = 0;
  if (::read(STDIN_FILENO, &key, 1) == 1) return key;
  ended_ = true;
  return std::nullopt;
}

void TerminalKeys::resume() {
  if (!before_) return;
  termios settings = *before_;
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

}  // namespace tessaline::ctl

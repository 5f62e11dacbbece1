#pragma once

namespace tessaline::platform {

/// A key with modifiers, named as on the main computer's keyboard; each system has its own keys for
/// Option (Alt) and Command (Super).
struct HotKey {
  char key = 0;  ///< a Latin letter or a digit
  bool control = false;
  bool option = false;
  bool command = false;
  bool operator==(const HotKey&) const = default;
};

/// A key that the whole desktop gives to this process. It is let go when this object ends; no
/// action runs after that. Main queue.
class HotKeyRegistration {
 public:
  virtual ~HotKeyRegistration() = default;
};

}  // namespace tessaline::platform

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/ScreenCaptureAccess.h"

namespace tessaline::test {

/// A system whose rule about capturing the screen the test sets.
class FakeCaptureAccess final : public platform::ScreenCaptureAccess {
 public:
  struct Attempt final : Trial {
    explicit Attempt(int& count) : trials(count) { ++trials; }
    ~Attempt() override { --trials; }
    int& trials;
  };
  bool allowed = true;
  int trials = 0;  // that last now

  bool granted() override { return allowed; }
  void request() override {}
  std::unique_ptr<Trial> tryCapture() override { return std::make_unique<Attempt>(trials); }
  void revealApplication() override {}
};

}  // namespace tessaline::test

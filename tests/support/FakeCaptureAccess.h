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
  bool canTry = true;
  int requests = 0;
  int trials = 0;  // that last now
  int reveals = 0;

  bool granted() override { return allowed; }
  void request() override { ++requests; }
  std::unique_ptr<Trial> tryCapture() override {
    return canTry ? std::make_unique<Attempt>(trials) : nullptr;
  }
  void revealApplication() override { ++reveals; }
};

}  // namespace tessaline::test

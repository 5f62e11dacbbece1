#include "app/DesktopLoss.h"

#include <atomic>
#include <cstdlib>

#include "base/Log.h"

namespace tessaline {
namespace {

std::atomic<bool> expected = false;
std::atomic<bool> reported = false;

void atExit() {
  if (!expected) return;
  DesktopLoss::report();
  std::_Exit(EXIT_FAILURE);
}

}  // namespace

DesktopLoss::DesktopLoss() {
  expected = true;
  std::atexit(atExit);
}

DesktopLoss::~DesktopLoss() {
  expected = false;
}

void DesktopLoss::report() {
  if (claim()) log("the desktop has gone; ending");
}

bool DesktopLoss::claim() {
  return !reported.exchange(true);
}

}  // namespace tessaline

#include "app/AppDelegate.h"

#include <algorithm>

#include "base/Log.h"

namespace tessaline {
namespace {

constexpr std::string_view kRequestScreen = "--request-screen";
// The setup assistant has been completed; a new role begins with it again.
constexpr std::string_view kOnboardedKey = "onboarded";

}  // namespace

AppDelegate::AppDelegate(Outside& outside, UserDefaults& defaults,
                         std::vector<std::string> arguments)
    : outside_(outside), defaults_(defaults), arguments_(std::move(arguments)) {}

void AppDelegate::didFinishLaunching() {
  decide();
}

void AppDelegate::decide() {
  const auto stored = AppMode::current(defaults_);
  if (stored == AppMode::screen) {
    startScreen();
  } else if (stored == AppMode::main && outside_.mainModeSupported()) {
    startMain();
  } else {
    showChooser();
  }
}

void AppDelegate::startMain() {
  if (!outside_.mainModeSupported()) return;
  outside_.setActivationPolicy(ActivationPolicy::accessory);
  mainController_ = createRole(AppMode::main);
  if (!mainController_) {
    // The desktop turned out not to offer what the role needs; the chooser says so.
    showChooser();
    return;
  }
  mode_ = AppMode::main;
  mainController_->start();
  if (std::ranges::find(arguments_, kRequestScreen) != arguments_.end()) {
    outside_.requestScreenPermission();
  }
}

void AppDelegate::startScreen() {
  mode_ = AppMode::screen;
  outside_.setActivationPolicy(ActivationPolicy::regular);
  screenController_ = createRole(AppMode::screen);
  if (screenController_) screenController_->start();
}

void AppDelegate::showChooser() {
  outside_.setActivationPolicy(ActivationPolicy::regular);
  chooser_ = outside_.createChooser();
  chooser_->onChoose = [this](AppMode mode) {
    AppMode::setCurrent(defaults_, mode);
    chooser_.reset();
    decide();
  };
  chooser_->show();
}

std::unique_ptr<AppDelegate::Role> AppDelegate::createRole(AppMode mode) {
  auto role = outside_.createRole(mode);
  if (role) role->onSwitchMode = [this] { switchMode(); };
  return role;
}

void AppDelegate::switchMode() {
  if (terminating_) return;
  AppMode::setCurrent(defaults_, std::nullopt);
  defaults_.remove(kOnboardedKey);
  // Without a successor the user starts the application by hand and is asked then.
  outside_.relaunch();
  terminate(0);
}

bool AppDelegate::reopen() {
  if (terminating_) return false;
  if (screenController_) {
    screenController_->reopen();
  } else if (mainController_) {
    mainController_->reopen();
  } else if (chooser_) {
    chooser_->show();
  }
  return true;
}

void AppDelegate::terminate(int exitCode) {
  if (terminating_) return;
  terminating_ = true;
  chooser_.reset();
  Role* role = mainController_ ? mainController_.get() : screenController_.get();
  if (!role) {
    outside_.exit(exitCode);
    return;
  }
  role->quit([this, exitCode] { outside_.exit(exitCode); });
}

}  // namespace tessaline

#include "app/MainWindows.h"

#include <chrono>

#include "control/Controller.h"
#include "control/MacHelpWindow.h"
#include "control/SetupAssistantWindow.h"
#include "control/StatusTrayView.h"
#include "web/ApprovalAlertWindow.h"
#include "web/LinkWindow.h"

namespace tessaline {
namespace {

// Changes come in bursts, and a stranger can bring about any number of them: what is shown follows
// this late, which nobody sees.
constexpr std::chrono::milliseconds kRefreshDelay{50};

}  // namespace

MainWindows::MainWindows() = default;
MainWindows::~MainWindows() = default;

void MainWindows::open(Controller& controller) {
  controller_ = &controller;
  approval_ = std::make_unique<ApprovalAlertWindow>(controller.approvedDevices());
  menu_ = std::make_unique<StatusTrayView>([&controller] { return controller.statusMenu(); });
  refresh_.setSingleShot(true);
  refresh_.setInterval(kRefreshDelay);
  refresh_.callOnTimeout([this] { refresh(); });
  changes_ = controller.observe([this] {
    if (!refresh_.isActive()) refresh_.start();
  });
}

void MainWindows::refresh() {
  menu_->setActive(controller_->live());
  menu_->refresh();
  if (assistant_) assistant_->refresh();
}

void MainWindows::close() {
  changes_.reset();
  refresh_.stop();
  controller_ = nullptr;
  approval_.reset();
  menu_.reset();
  assistant_.reset();
  link_.reset();
  macHelp_.reset();
}

void MainWindows::reopen() {
  menu_->reopen();
  // In front of everything: somebody is waiting for the answer.
  approval_->bringToFront();
}

void MainWindows::showOnboarding() {
  if (!controller_) return;
  if (!assistant_) {
    assistant_ = std::make_unique<SetupAssistantWindow>(
        [controller = controller_] { return controller->setupAssistant(); });
  }
  assistant_->bringToFront();
}

void MainWindows::closeOnboarding() {
  if (assistant_) assistant_->hide();
}

void MainWindows::showQR() {
  if (!controller_) return;
  if (!link_) link_ = std::make_unique<LinkWindow>(controller_->web());
  link_->bringToFront();
}

void MainWindows::showMacHelp() {
  if (!macHelp_) macHelp_ = std::make_unique<MacHelpWindow>();
  macHelp_->bringToFront();
}

void MainWindows::setRegular(bool /*regular*/) {
  // Linux desktops list windows, not applications: what has no window is not listed anyway.
}

}  // namespace tessaline

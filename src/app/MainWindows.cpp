#include "app/MainWindows.h"

#include "control/Controller.h"
#include "control/MacHelpWindow.h"
#include "control/SetupAssistantWindow.h"
#include "control/StatusTrayView.h"
#include "web/ApprovalAlertWindow.h"
#include "web/LinkWindow.h"

namespace tessaline {

MainWindows::MainWindows() = default;
MainWindows::~MainWindows() = default;

void MainWindows::open(Controller& controller) {
  controller_ = &controller;
  approval_ = std::make_unique<ApprovalAlertWindow>(controller.approvedDevices());
  menu_ = std::make_unique<StatusTrayView>([&controller] { return controller.statusMenu(); });
  changes_ = controller.observe([this] {
    menu_->setActive(controller_->live());
    menu_->refresh();
    if (assistant_) assistant_->refresh();
  });
}

void MainWindows::close() {
  changes_.reset();
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

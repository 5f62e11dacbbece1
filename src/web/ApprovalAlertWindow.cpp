#include "web/ApprovalAlertWindow.h"

#include <QPushButton>
#include <QTimer>
#include <chrono>

#include "shell/AlertWindow.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

// The question takes the keyboard's focus; a key that was meant for what the user was typing into
// must not answer it.
constexpr auto kAnswerDelay = 700ms;

}  // namespace

ApprovalAlertWindow::ApprovalAlertWindow(ApprovedDevices& devices) : devices_(devices) {
  subscription_ = devices_.observe([this] { update(); });
  update();
}

ApprovalAlertWindow::~ApprovalAlertWindow() {
  close();
}

void ApprovalAlertWindow::update() {
  const auto pending = devices_.pending();
  const std::uint64_t wanted = pending.empty() ? 0 : pending.front().id;
  if (wanted == promptID_) return;
  close();
  if (wanted != 0) open(pending.front());
}

void ApprovalAlertWindow::open(const ApprovedDevices::Prompt& prompt) {
  using Prompt = ApprovedDevices::Prompt;
  promptID_ = prompt.id;
  box_ =
      new AlertWindow(ViewStyle::text(prompt.message()), ViewStyle::text(Prompt::kInformativeText),
                      {ViewStyle::text(Prompt::kAllow), ViewStyle::text(Prompt::kRefuse)});
  box_->setAttribute(Qt::WA_DeleteOnClose);
  box_->setWindowFlag(Qt::WindowStaysOnTopHint);
  for (auto* button : box_->buttons()) button->setEnabled(false);
  QTimer::singleShot(kAnswerDelay, box_, [box = box_] {
    for (auto* button : box->buttons()) button->setEnabled(true);
    box->buttons().front()->setFocus();
  });
  QObject::connect(box_, &QDialog::finished, box_, [this, id = prompt.id, box = box_] {
    if (box_ != box) return;  // answered elsewhere, or the application is ending
    box_ = nullptr;
    promptID_ = 0;
    devices_.answer(id, box->pressed() == 0);
    update();
  });
  bringToFront();
}

void ApprovalAlertWindow::bringToFront() {
  if (box_) box_->bringToFront();
}

void ApprovalAlertWindow::close() {
  promptID_ = 0;
  if (AlertWindow* box = std::exchange(box_, nullptr)) box->dismiss();
}

}  // namespace tessaline

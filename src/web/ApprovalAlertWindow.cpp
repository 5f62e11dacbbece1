#include "web/ApprovalAlertWindow.h"

#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <chrono>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

// The question takes the keyboard's focus; a key that was meant for what the user was typing into
// must not answer it.
constexpr auto kAnswerDelay = 700ms;

constexpr QSize kIconSize(64, 64);  // device-independent pixels

QString text(std::string_view utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

}  // namespace

ApprovalAlertWindow::ApprovalAlertWindow(ApprovedDevices& devices, QIcon icon)
    : devices_(devices), icon_(std::move(icon)) {
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
  box_ = new QMessageBox;
  box_->setAttribute(Qt::WA_DeleteOnClose);
  box_->setWindowFlag(Qt::WindowStaysOnTopHint);
  box_->setWindowTitle("Tessaline");
  box_->setIconPixmap(icon_.pixmap(kIconSize));
  // The device chose its name: nothing in it is markup.
  box_->setTextFormat(Qt::PlainText);
  box_->setText(text(prompt.message()));
  box_->setInformativeText(text(Prompt::kInformativeText));
  auto* allow = box_->addButton(text(Prompt::kAllow), QMessageBox::AcceptRole);
  auto* refuse = box_->addButton(text(Prompt::kRefuse), QMessageBox::RejectRole);
  box_->setDefaultButton(allow);
  box_->setEscapeButton(refuse);
  // First button first, whatever the desktop's custom.
  box_->setStyleSheet("QDialogButtonBox { button-layout: 0 }");

  allow->setEnabled(false);
  refuse->setEnabled(false);
  QTimer::singleShot(kAnswerDelay, allow, [allow, refuse] {
    allow->setEnabled(true);
    refuse->setEnabled(true);
    allow->setFocus();
  });
  QObject::connect(box_, &QMessageBox::finished, box_, [this, allow, id = prompt.id, box = box_] {
    if (box_ != box) return;  // answered elsewhere, or the application is ending
    box_ = nullptr;
    promptID_ = 0;
    // `clickedButton` is the refusing one when the window was closed.
    devices_.answer(id, box->clickedButton() == allow);
    update();
  });
  box_->open();
  bringToFront();
}

void ApprovalAlertWindow::bringToFront() {
  if (!box_) return;
  // Not where the pointer happens to be: an extra screen is in somebody else's hands.
  if (const QScreen* display = QGuiApplication::primaryScreen()) {
    box_->adjustSize();
    box_->move(display->availableGeometry().center() - box_->rect().center());
  }
  box_->show();
  box_->raise();
  box_->activateWindow();
}

void ApprovalAlertWindow::close() {
  promptID_ = 0;
  if (QMessageBox* box = std::exchange(box_, nullptr)) box->close();
}

}  // namespace tessaline

#include "control/StatusTrayView.h"

#include <QCursor>
#include <QGuiApplication>
#include <chrono>

#include "control/StatusMenuWindow.h"
#include "shell/Brand.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

// A panel that starts or ends is rare, and asking costs a round trip.
constexpr auto kLookInterval = 5s;

}  // namespace

StatusTrayView::StatusTrayView(Provider provider)
    : provider_(std::move(provider)), menu_(provider_) {
  QObject::connect(&timer_, &QTimer::timeout, &menu_, [this] { lookForTray(); });
  timer_.start(kLookInterval);
  lookForTray();
}

StatusTrayView::~StatusTrayView() = default;

void StatusTrayView::lookForTray() {
  const bool there = QSystemTrayIcon::isSystemTrayAvailable();
  if (there && !icon_) showIcon();
  if (!there && (icon_ || !window_)) {
    icon_.reset();
    showWindow();
  }
}

void StatusTrayView::showIcon() {
  icon_ = std::make_unique<QSystemTrayIcon>();
  icon_->setToolTip(ViewStyle::text(Brand::kName));
  icon_->setContextMenu(&menu_);
  QObject::connect(icon_.get(), &QSystemTrayIcon::activated, &menu_,
                   [this](QSystemTrayIcon::ActivationReason reason) { openMenu(reason); });
  setActive(active_);
  icon_->show();
  if (window_) window_->close();
}

void StatusTrayView::openMenu(QSystemTrayIcon::ActivationReason reason) {
  if (reason != QSystemTrayIcon::Trigger) return;  // the panel opens it for other clicks
  // Wayland places no menu without a window that it belongs to.
  if (QGuiApplication::platformName().startsWith("wayland")) {
    showWindow();
  } else {
    menu_.popup(QCursor::pos());
  }
}

void StatusTrayView::showWindow() {
  if (!window_) window_ = std::make_unique<StatusMenuWindow>(provider_);
  window_->refresh();
  window_->bringToFront();
}

void StatusTrayView::setActive(bool active) {
  active_ = active;
  if (icon_) icon_->setIcon(ViewStyle::icon(Brand::menuBarIconSvg(active)));
}

void StatusTrayView::refresh() {
  menu_.refresh();
  if (window_ && window_->isVisible()) window_->refresh();
}

bool StatusTrayView::reopen() {
  if (icon_) return false;
  showWindow();
  return true;
}

}  // namespace tessaline

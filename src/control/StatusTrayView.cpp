#include "control/StatusTrayView.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QGuiApplication>
#include <chrono>

#include "base/Log.h"
#include "control/StatusMenuWindow.h"
#include "shell/Brand.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

// A panel that starts or ends is rare, and asking costs a round trip.
constexpr auto kLookInterval = 5s;
constexpr auto kFirstLookInterval = 250ms;
// What a desktop's panel may need to appear after login, when applications start beside it.
constexpr auto kGrace = 3s;  // the portal's question for the hot key waits for this
// A panel that starts anew is gone for a moment.
constexpr int kAbsencesOfLostTray = 2;

const QString kTrayService = "org.kde.StatusNotifierWatcher";

}  // namespace

StatusTrayView::StatusTrayView(Provider provider)
    : provider_(std::move(provider)), menu_(provider_) {
  QObject::connect(&timer_, &QTimer::timeout, &menu_, [this] { lookForTray(); });
  age_.start();
  lookForTray();
}

StatusTrayView::~StatusTrayView() = default;

/// The toolkit looks for a tray on the session bus once in a process, when it is first asked.
bool StatusTrayView::mayAskToolkit() const {
  const auto bus = QDBusConnection::sessionBus();
  return !bus.isConnected() || std::chrono::milliseconds(age_.elapsed()) >= kGrace ||
         bus.interface()->isServiceRegistered(kTrayService);
}

void StatusTrayView::lookForTray() {
  toolkitAsked_ = toolkitAsked_ || mayAskToolkit();
  timer_.start(toolkitAsked_ ? kLookInterval : kFirstLookInterval);
  if (!toolkitAsked_) return;
  if (QSystemTrayIcon::isSystemTrayAvailable()) {
    absences_ = 0;
    if (!icon_) showIcon();
    return;
  }
  const bool lost = icon_ && ++absences_ >= kAbsencesOfLostTray;
  if (lost) icon_.reset();
  if (lost || (!icon_ && !window_)) showWindowUnasked();
}

void StatusTrayView::showWindowUnasked() {
  log("no tray: the menu is a window");
  // Somebody who is answering another window goes on typing there, not in this one.
  if (!QGuiApplication::focusWindow()) {
    showWindow();
    return;
  }
  makeWindow();
  window_->setAttribute(Qt::WA_ShowWithoutActivating);
  window_->show();
  window_->lower();
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

void StatusTrayView::makeWindow() {
  if (!window_) window_ = std::make_unique<StatusMenuWindow>(provider_);
  window_->refresh();
}

void StatusTrayView::showWindow() {
  makeWindow();
  window_->setAttribute(Qt::WA_ShowWithoutActivating, false);
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

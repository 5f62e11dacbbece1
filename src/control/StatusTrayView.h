#pragma once

#include <QElapsedTimer>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>

#include "control/StatusMenu.h"
#include "control/StatusMenuView.h"

namespace tessaline {

class StatusMenuWindow;

/// The status item: the smiling screen in the tray with its menu. A desktop without a tray gets
/// the same menu as a small window, until a tray appears. Right after login the desktop's panel may
/// not be there yet: it gets a few seconds. Main thread; owned by the application shell, outlived
/// by what `provider` refers to.
class StatusTrayView final {
 public:
  using Provider = std::function<StatusMenu()>;
  explicit StatusTrayView(Provider provider);
  ~StatusTrayView();
  StatusTrayView(const StatusTrayView&) = delete;
  StatusTrayView& operator=(const StatusTrayView&) = delete;

  /// A screen is on.
  void setActive(bool active);
  /// Something that the menu shows has changed.
  void refresh();
  /// The user started the running application once more: shows the window if that is where the
  /// menu is. False when the menu is in the tray.
  bool reopen();

 private:
  [[nodiscard]] bool mayAskToolkit() const;
  void lookForTray();
  void showIcon();
  void makeWindow();
  void showWindow();
  void showWindowUnasked();
  void openMenu(QSystemTrayIcon::ActivationReason reason);

  const Provider provider_;
  bool active_ = false;
  StatusMenuView menu_;
  std::unique_ptr<QSystemTrayIcon> icon_;     // while there is a tray
  std::unique_ptr<StatusMenuWindow> window_;  // once there was none
  QElapsedTimer age_;
  bool toolkitAsked_ = false;
  int absences_ = 0;  // looks in a row that found no tray
  QTimer timer_;
};

}  // namespace tessaline

#pragma once

#include <QKeySequence>
#include <QMenu>
#include <functional>
#include <vector>

#include "control/StatusMenu.h"

namespace tessaline {

class MenuHeaderView;

/// The status menu as a menu of the desktop, made anew each time it opens. A panel that shows it
/// in its own way over the session bus gets the header as an entry. Main thread; outlived by what
/// `provider` refers to.
class StatusMenuView final : public QMenu {
 public:
  using Provider = std::function<StatusMenu()>;
  explicit StatusMenuView(Provider provider);

  /// Something in it has changed. Panels keep a copy of the menu; an open one stays as it is.
  void refresh();

  /// Whether both show the same to the user.
  [[nodiscard]] static bool looksSame(const StatusMenu& a, const StatusMenu& b);
  [[nodiscard]] static QKeySequence keys(const StatusMenuItem& item);

  /// Where an entry stands: its index, then its index in the submenu.
  using Path = std::vector<std::size_t>;
  /// Null when the menu has no such entry any more.
  [[nodiscard]] static const StatusMenuItem* find(const StatusMenu& menu, const Path& path);

 private:
  void update(const StatusMenu& menu);
  void addHeader();
  void fill(QMenu& menu, const std::vector<StatusMenuItem>& items, const Path& path);
  void addCommand(QMenu& menu, const StatusMenuItem& item, const Path& path);
  void perform(const Path& path) const;

  const Provider provider_;
  StatusMenu shown_;
  QAction* header_ = nullptr;
  std::vector<QMenu*> submenus_;
};

}  // namespace tessaline

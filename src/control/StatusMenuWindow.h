#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "control/StatusMenuView.h"
#include "shell/CentredWindow.h"

namespace tessaline {

class MenuHeaderView;
class MenuRowView;

/// The status menu as a small window, for desktops without a tray. Arrow keys, Return and Tab reach
/// everything. Main thread; outlived by what `provider` refers to.
class StatusMenuWindow final : public CentredWindow {
 public:
  using Provider = std::function<StatusMenu()>;
  explicit StatusMenuWindow(Provider provider);

  /// Something in it has changed.
  void refresh();

 private:
  using Path = StatusMenuView::Path;
  void render();
  void addItems(const std::vector<StatusMenuItem>& items, const Path& path);
  void addRow(const StatusMenuItem& item, const Path& path);
  void perform(const Path& path);
  void showExpansion();
  void fitHeight();

  struct Line {
    QWidget* view;
    MenuRowView* row;  // null for separators and headers
    Path path;
  };

  const Provider provider_;
  StatusMenu shown_;
  MenuHeaderView* header_ = nullptr;
  QWidget* list_ = nullptr;
  std::vector<Line> lines_;
  std::set<std::string> expanded_;  // titles, which survive that entries move
};

}  // namespace tessaline

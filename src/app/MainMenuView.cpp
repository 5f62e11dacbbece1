#include "app/MainMenuView.h"

#include "shell/AlertWindow.h"
#include "shell/Brand.h"
#include "shell/ViewStyle.h"

namespace tessaline {

MainMenuView::MainMenuView(const std::vector<Menu>& menus, QWidget& window) : window_(window) {
  for (const Menu& menu : menus) {
    // The application's own menu has no title; a menu bar in a window needs one.
    QMenu* shown = addMenu(ViewStyle::text(menu.title.empty() ? Brand::kName : menu.title));
    for (const MenuItem& item : menu.items) {
      if (!item.action) {
        shown->addSeparator();
        continue;
      }
      QAction* line = shown->addAction(ViewStyle::text(item.title));
      if (item.key) {
        line->setShortcut(QKeySequence(QString("Ctrl+%1").arg(QChar(item.key).toUpper())));
      }
      QObject::connect(line, &QAction::triggered, this,
                       [this, action = *item.action] { perform(action); });
    }
  }
}

void MainMenuView::perform(MenuAction action) {
  switch (action) {
    case MenuAction::about:
      showAbout();
      break;
    case MenuAction::hide:
      // A hidden window could not be found again on a desktop that lists windows only.
      window_.showMinimized();
      break;
    case MenuAction::closeWindow:
      window_.close();
      break;
    case MenuAction::switchMode:
    case MenuAction::quit:
      if (onMenu) onMenu(action);
      break;
  }
}

void MainMenuView::showAbout() {
  auto* about = new AlertWindow(ViewStyle::text(Brand::kName) + " " + TESSALINE_VERSION,
                                ViewStyle::text(Brand::kTagline), {"OK"});
  about->setParent(&window_, about->windowFlags());
  about->setAttribute(Qt::WA_DeleteOnClose);
  about->setWindowTitle("About Tessaline");
  about->bringToFront();
}

}  // namespace tessaline

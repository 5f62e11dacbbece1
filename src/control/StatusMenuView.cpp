#include "control/StatusMenuView.h"

#include <QApplication>
#include <QWidgetAction>
#include <algorithm>

#include "control/MenuHeaderView.h"
#include "shell/Brand.h"
#include "shell/ViewStyle.h"
#include "shell/ViewSymbols.h"

namespace tessaline {
namespace {

constexpr int kWidestTitle = 380;  // device-independent pixels; names may be long

// Between the coral of light and of dark windows: the menu may be a panel's, whose colours nobody
// knows here.
const QColor kSymbolColour(0xEE, 0x5A, 0x52);
constexpr double kHighlightShare = 0.22;  // of coral, in what the pointer is on

/// The brand's highlight, on which symbols stay legible.
QPalette menuPalette(const QPalette& palette) {
  QPalette own;  // says nothing about the other colours, which follow the desktop's
  const QColor ground = palette.color(QPalette::Window);
  const QColor coral = ViewStyle::coral();
  const auto mixed = [&](int from, int to) {
    return static_cast<int>(from + (to - from) * kHighlightShare);
  };
  own.setColor(QPalette::Highlight,
               QColor(mixed(ground.red(), coral.red()), mixed(ground.green(), coral.green()),
                      mixed(ground.blue(), coral.blue())));
  own.setColor(QPalette::Light, Qt::transparent);  // some styles emboss what is disabled
  own.setColor(QPalette::HighlightedText, palette.color(QPalette::WindowText));
  return own;
}

bool sameItems(const std::vector<StatusMenuItem>& a, const std::vector<StatusMenuItem>& b) {
  const auto same = [](const StatusMenuItem& x, const StatusMenuItem& y) {
    return x.kind == y.kind && x.title == y.title && x.symbol == y.symbol &&
           x.toolTip == y.toolTip && x.key == y.key &&
           x.controlOptionCommand == y.controlOptionCommand && x.enabled == y.enabled &&
           x.checked == y.checked && sameItems(x.submenu, y.submenu);
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
}

}  // namespace

bool StatusMenuView::looksSame(const StatusMenu& a, const StatusMenu& b) {
  return a.header.status == b.header.status && a.header.dot == b.header.dot &&
         sameItems(a.items, b.items);
}

QKeySequence StatusMenuView::keys(const StatusMenuItem& item) {
  if (item.key == 0) return {};
  const QString modifiers = item.controlOptionCommand ? "Ctrl+Alt+Meta+" : "Ctrl+";
  return QKeySequence(modifiers + QChar(item.key).toUpper());
}

StatusMenuView::StatusMenuView(Provider provider) : provider_(std::move(provider)) {
  setToolTipsVisible(true);
  setAccessibleName(ViewStyle::text(Brand::kName));
  QObject::connect(this, &QMenu::aboutToShow, this, [this] {
    setPalette(menuPalette(QApplication::palette(this)));
    update(provider_());
  });
  addHeader();
  update(provider_());
}

void StatusMenuView::addHeader() {
  auto* header = new QWidgetAction(this);
  header->setDefaultWidget(new MenuHeaderView({}));
  header->setEnabled(false);
  addAction(header);
  addSeparator();
  header_ = header;
}

void StatusMenuView::refresh() {
  if (!isVisible()) update(provider_());
}

void StatusMenuView::update(const StatusMenu& menu) {
  const bool same = looksSame(menu, shown_);
  shown_ = menu;  // the actions in any case
  if (same) return;
  static_cast<MenuHeaderView*>(static_cast<QWidgetAction*>(header_)->defaultWidget())
      ->setHeader(menu.header);
  header_->setText(ViewStyle::text(menu.header.status));
  const auto old = actions();
  for (qsizetype i = 2; i < old.size(); ++i) {  // after the header and its separator
    removeAction(old[i]);
    // One of them may be what was just chosen.
    if (!old[i]->menu()) old[i]->deleteLater();
  }
  for (QMenu* submenu : submenus_) submenu->deleteLater();
  submenus_.clear();
  fill(*this, menu.items, {});
}

void StatusMenuView::fill(QMenu& menu, const std::vector<StatusMenuItem>& items, const Path& path) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    Path place = path;
    place.push_back(i);
    switch (items[i].kind) {
      case StatusMenuItem::Kind::separator:
        menu.addSeparator();
        break;
      case StatusMenuItem::Kind::sectionHeader: {
        // As an entry, because many panels drop a separator's words.
        QAction* words = menu.addAction(ViewStyle::text(items[i].title));
        words->setFont(ViewStyle::font(ViewStyle::kSmallSize, QFont::DemiBold));
        words->setEnabled(false);
        break;
      }
      case StatusMenuItem::Kind::command:
        addCommand(menu, items[i], place);
        break;
    }
  }
}

void StatusMenuView::addCommand(QMenu& menu, const StatusMenuItem& item, const Path& path) {
  const QString whole = ViewStyle::text(item.title).simplified();
  QString title = menu.fontMetrics().elidedText(whole, Qt::ElideMiddle, kWidestTitle);
  QString toolTip = ViewStyle::text(item.toolTip);
  if (title != whole) toolTip = toolTip.isEmpty() ? whole : whole + "\n" + toolTip;
  title.replace('&', "&&");  // a single one would name a key
  const QIcon icon = ViewSymbols::icon(item.symbol, kSymbolColour);
  if (!item.submenu.empty()) {
    auto* submenu = new QMenu(title, &menu);
    submenu->setIcon(icon);
    submenu->setToolTipsVisible(true);
    submenus_.push_back(submenu);
    menu.addMenu(submenu);
    fill(*submenu, item.submenu, path);
    return;
  }
  // One place for both, in most menus.
  QAction* action = menu.addAction(item.checked ? QIcon() : icon, title);
  action->setEnabled(item.enabled);
  action->setCheckable(item.checked);
  action->setChecked(item.checked);
  action->setShortcut(keys(item));
  action->setToolTip(ViewStyle::toolTip(toolTip));
  QObject::connect(action, &QAction::triggered, this, [this, path] { perform(path); });
}

const StatusMenuItem* StatusMenuView::find(const StatusMenu& menu, const Path& path) {
  const StatusMenuItem* item = nullptr;
  const std::vector<StatusMenuItem>* items = &menu.items;
  for (const std::size_t index : path) {
    if (index >= items->size()) return nullptr;
    item = &(*items)[index];
    items = &item->submenu;
  }
  return item;
}

void StatusMenuView::perform(const Path& path) const {
  const StatusMenuItem* item = find(shown_, path);
  if (!item) return;
  const auto action = item->action;  // it may change the menu
  if (action) action();
}

}  // namespace tessaline

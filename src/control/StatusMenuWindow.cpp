#include "control/StatusMenuWindow.h"

#include <QVBoxLayout>

#include "control/MenuHeaderView.h"
#include "control/MenuRowView.h"
#include "shell/TextView.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kWidth = 400;
constexpr int kFirstHeight = 300;  // until its entries are known
constexpr QMargins kListMargins(0, 4, 0, 8);
constexpr int kSideMargin = 14;
constexpr int kHeaderIndent = 50;  // where a submenu's titles begin

QWidget* separator() {
  auto* line = new QFrame;
  line->setFixedHeight(11);
  line->setContentsMargins(kSideMargin, 5, kSideMargin, 5);
  line->setFrameShape(QFrame::HLine);
  QPalette faint = line->palette();
  faint.setColor(QPalette::WindowText, ViewStyle::ink(faint, 0.15));
  line->setPalette(faint);
  line->setFrameShadow(QFrame::Plain);
  return line;
}

}  // namespace

StatusMenuWindow::StatusMenuWindow(Provider provider)
    : CentredWindow({kWidth, kFirstHeight}), provider_(std::move(provider)), shown_(provider_()) {
  header_ = new MenuHeaderView(shown_.header);
  page().addWidget(header_);
  page().addWidget(separator());
  page().addStretch();
  render();
}

void StatusMenuWindow::refresh() {
  const StatusMenu menu = provider_();
  const bool same = StatusMenuView::looksSame(menu, shown_);
  shown_ = menu;  // the actions in any case
  if (!same) render();
}

void StatusMenuWindow::render() {
  Path focus;
  for (const Line& line : lines_) {
    if (line.row && line.row->hasFocus()) focus = line.path;
  }
  header_->setHeader(shown_.header);
  lines_.clear();
  if (list_) {
    list_->hide();
    list_->deleteLater();  // one of its rows may be what was just pressed
  }
  list_ = new QWidget;
  auto* column = new QVBoxLayout(list_);
  column->setContentsMargins(kListMargins);
  column->setSpacing(0);
  addItems(shown_.items, {});
  page().insertWidget(2, list_);
  list_->show();  // else only later, and the keyboard could not go anywhere
  showExpansion();
  for (const Line& line : lines_) {
    if (line.row && (line.path == focus || focus.empty())) {
      line.row->setFocus();
      break;
    }
  }
}

void StatusMenuWindow::addItems(const std::vector<StatusMenuItem>& items, const Path& path) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    Path place = path;
    place.push_back(i);
    if (items[i].kind == StatusMenuItem::Kind::command) {
      addRow(items[i], place);
      addItems(items[i].submenu, place);
      continue;
    }
    QWidget* view = nullptr;
    if (items[i].kind == StatusMenuItem::Kind::separator) {
      if (list_->layout()->isEmpty()) continue;  // the header has one
      view = separator();
    } else {
      view = new TextView(ViewStyle::text(items[i].title),
                          {ViewStyle::kSmallSize, QFont::DemiBold, Tone::tertiary, true});
      view->setContentsMargins(kSideMargin + static_cast<int>(path.size()) * kHeaderIndent, 6,
                               kSideMargin, 4);
    }
    list_->layout()->addWidget(view);
    lines_.push_back({view, nullptr, place});
  }
}

void StatusMenuWindow::addRow(const StatusMenuItem& item, const Path& path) {
  auto* row = new MenuRowView(item, static_cast<int>(path.size()) - 1);
  row->setShortcut(StatusMenuView::keys(item));
  QObject::connect(row, &QAbstractButton::clicked, this, [this, path] { perform(path); });
  list_->layout()->addWidget(row);
  lines_.push_back({row, row, path});
}

void StatusMenuWindow::perform(const Path& path) {
  const StatusMenuItem* item = StatusMenuView::find(shown_, path);
  if (!item) return;
  if (item->submenu.empty()) {
    const auto action = item->action;  // it may change the menu
    if (action) action();
    return;
  }
  if (expanded_.erase(item->title) == 0) expanded_.insert(item->title);
  showExpansion();
}

void StatusMenuWindow::showExpansion() {
  for (const Line& line : lines_) {
    const bool open = expanded_.contains(shown_.items[line.path.front()].title);
    if (line.path.size() > 1) line.view->setVisible(open);
    if (line.path.size() == 1 && line.row && line.row->expandable()) line.row->setExpanded(open);
  }
  fitHeight();
}

void StatusMenuWindow::fitHeight() {
  list_->layout()->activate();
  setContentSize({kWidth, header_->height() + 11 + list_->sizeHint().height()});
}

}  // namespace tessaline

#include "app/ModeChooserWindow.h"

#include <QVBoxLayout>

#include "app/ChoiceCardView.h"
#include "app/MainMenuView.h"
#include "shell/Brand.h"
#include "shell/BrandHeaderView.h"
#include "shell/TextView.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr QSize kContentSize(600, 520);
constexpr QMargins kMargins(28, 8, 28, 24);
constexpr int kSpacing = 16;
constexpr int kQuestionSize = 15;

TextView* centred(const QString& words, const TextView::Look& look) {
  auto* view = new TextView(words, look);
  view->setAlignment(Qt::AlignCenter);
  return view;
}

}  // namespace

ModeChooserWindow::ModeChooserWindow(bool mainModeSupported, const std::vector<Menu>& menus)
    : CentredWindow(kContentSize) {
  auto* bar = new MainMenuView(menus, *this);
  bar->onMenu = [this](MenuAction action) {
    if (onMenu) onMenu(action);
  };
  setMenuBar(bar);
  page().addWidget(new BrandHeaderView("Welcome to Tessaline", ViewStyle::text(Brand::kTagline)));
  auto* column = new QVBoxLayout;
  column->setContentsMargins(kMargins);
  column->setSpacing(kSpacing);
  page().addLayout(column, 1);
  column->addStretch();
  column->addWidget(centred("How will you use this Mac?", {kQuestionSize, QFont::DemiBold}));
  addCards(*column, mainModeSupported);
  column->addStretch();
  column->addWidget(
      centred("You'll need Tessaline on both Macs. You can change this later from the menu.",
              {ViewStyle::kSmallSize, QFont::Normal, Tone::tertiary}));
}

void ModeChooserWindow::addCards(QVBoxLayout& column, bool mainModeSupported) {
  auto* mainCard = new ChoiceCardView(
      {"💻", "laptopcomputer", "This is my main Mac",
       "The Mac you work on. It gets an extra screen, shown on your other Mac.",
       mainModeSupported ? "" : "Needs macOS 14 Sonoma or later.", mainModeSupported});
  auto* screenCard = new ChoiceCardView(
      {"🖥️", "desktopcomputer", "Make this an extra screen",
       "Lend this Mac's display to your main Mac. Perfect for an older iMac or MacBook.", "",
       true});
  auto* row = new QHBoxLayout;
  row->setSpacing(kSpacing);
  row->addStretch();
  for (auto [card, mode] : {std::pair(mainCard, AppMode(AppMode::main)),
                            std::pair(screenCard, AppMode(AppMode::screen))}) {
    row->addWidget(card);
    QObject::connect(card, &QAbstractButton::clicked, this, [this, mode = mode] {
      if (onChoose) onChoose(mode);
    });
  }
  row->addStretch();
  column.addLayout(row);
  (mainModeSupported ? mainCard : screenCard)->setFocus();
}

}  // namespace tessaline

#include "app/ModeChooserWindow.h"

#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include "app/ChoiceCardView.h"
#include "shell/Brand.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr QSize kContentSize(600, 520);
constexpr QMargins kMargins(28, 24, 28, 24);
constexpr int kSpacing = 16;
constexpr int kIconSize = 64;
constexpr int kTitleSize = 24;
constexpr int kTaglineSize = 13;
constexpr int kQuestionSize = 15;
constexpr int kFootnoteSize = 11;
constexpr int kTertiaryAlpha = 130;  // of 255

QString text(std::string_view utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QLabel* label(const QString& words, int pixels, QFont::Weight weight = QFont::Normal) {
  auto* label = new QLabel(words);
  QFont font = label->font();
  font.setPixelSize(pixels);
  font.setWeight(weight);
  label->setFont(font);
  label->setAlignment(Qt::AlignHCenter);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  return label;
}

void fade(QLabel& label) {
  QPalette palette = label.palette();
  QColor colour = palette.color(QPalette::WindowText);
  colour.setAlpha(kTertiaryAlpha);
  palette.setColor(QPalette::WindowText, colour);
  label.setPalette(palette);
}

}  // namespace

ModeChooserWindow::ModeChooserWindow(bool mainModeSupported, const std::vector<Menu>& menus) {
  setWindowTitle(text(Brand::kName));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kMargins);
  column->setSpacing(kSpacing);
  auto* bar = createMenuBar(menus);
  column->setMenuBar(bar);

  auto* icon = new QLabel;
  icon->setPixmap(QApplication::windowIcon().pixmap(QSize(kIconSize, kIconSize)));
  icon->setAlignment(Qt::AlignHCenter);
  auto* tagline = label(text(Brand::kTagline), kTaglineSize);
  fade(*tagline);
  auto* footnote =
      label("You'll need Tessaline on both Macs. You can change this later from the menu.",
            kFootnoteSize);
  fade(*footnote);

  column->addWidget(icon);
  column->addWidget(label("Welcome to Tessaline", kTitleSize, QFont::Bold));
  column->addWidget(tagline);
  column->addStretch();
  column->addWidget(label("How will you use this Mac?", kQuestionSize, QFont::DemiBold));
  addCards(*column, mainModeSupported);
  column->addStretch();
  column->addWidget(footnote);
  setFixedSize(kContentSize + QSize(0, bar->sizeHint().height()));
}

void ModeChooserWindow::addCards(QVBoxLayout& column, bool mainModeSupported) {
  auto* mainCard = new ChoiceCardView(
      {"💻", "This is my main Mac",
       "The Mac you work on. It gets an extra screen, shown on your other Mac.",
       mainModeSupported ? "" : "Needs macOS 14 Sonoma or later.", mainModeSupported});
  auto* screenCard = new ChoiceCardView(
      {"🖥️", "Make this an extra screen",
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

QMenuBar* ModeChooserWindow::createMenuBar(const std::vector<Menu>& menus) {
  auto* bar = new QMenuBar(this);
  for (const Menu& menu : menus) {
    // The application's own menu has no title; a menu bar in a window needs one.
    QMenu* shown = bar->addMenu(text(menu.title.empty() ? Brand::kName : menu.title));
    for (const MenuItem& item : menu.items) {
      if (!item.action) {
        shown->addSeparator();
        continue;
      }
      QAction* line = shown->addAction(text(item.title));
      if (item.key)
        line->setShortcut(QKeySequence(QString("Ctrl+%1").arg(QChar(item.key).toUpper())));
      QObject::connect(line, &QAction::triggered, this,
                       [this, action = *item.action] { perform(action); });
    }
  }
  return bar;
}

void ModeChooserWindow::perform(MenuAction action) {
  switch (action) {
    case MenuAction::about:
      showAbout();
      break;
    case MenuAction::hide:
      // A hidden window could not be found again on a desktop that lists windows only.
      showMinimized();
      break;
    case MenuAction::closeWindow:
      close();
      break;
    case MenuAction::switchMode:
    case MenuAction::quit:
      if (onMenu) onMenu(action);
      break;
  }
}

void ModeChooserWindow::showAbout() {
  auto* about = new QMessageBox(this);
  about->setAttribute(Qt::WA_DeleteOnClose);
  about->setWindowTitle("About Tessaline");
  about->setIconPixmap(QApplication::windowIcon().pixmap(QSize(kIconSize, kIconSize)));
  about->setText(text(Brand::kName) + " " + TESSALINE_VERSION);
  about->setInformativeText(text(Brand::kTagline));
  about->open();
}

void ModeChooserWindow::bringToFront() {
  if (const QScreen* display = QGuiApplication::primaryScreen()) {
    move(display->availableGeometry().center() - rect().center());
  }
  showNormal();
  raise();
  activateWindow();
}

}  // namespace tessaline

#include "shell/AlertWindow.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

#include "shell/Brand.h"
#include "shell/ButtonView.h"
#include "shell/TextView.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// Sizes in device-independent pixels.
constexpr int kWidth = 460;
constexpr int kMargin = 22;
constexpr int kIconSize = 60;
constexpr int kIconGap = 16;
constexpr int kMessageGap = 6;
constexpr int kButtonGap = 18;

class IconView final : public QWidget {
 public:
  IconView() { setFixedSize(kIconSize, kIconSize); }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    ViewStyle::paintSvg(painter, Brand::iconSvg(), rect());
  }
};

}  // namespace

AlertWindow::AlertWindow(const QString& message, const QString& informativeText,
                         const QStringList& buttons) {
  setWindowTitle(ViewStyle::text(Brand::kName));
  setAccessibleName(message);
  setAccessibleDescription(informativeText);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(kMargin, kMargin, kMargin, kMargin - 4);
  row->setSpacing(kIconGap);
  row->addWidget(new IconView, 0, Qt::AlignTop);
  auto* column = new QVBoxLayout;
  column->setSpacing(kMessageGap);
  column->addWidget(new TextView(message, {ViewStyle::kBodySize + 2, QFont::Bold}));
  column->addWidget(
      new TextView(informativeText, {ViewStyle::kBodySize, QFont::Normal, Tone::secondary}));
  column->addSpacing(kButtonGap - kMessageGap);
  column->addStretch();
  auto* line = new QHBoxLayout;
  line->setSpacing(8);
  line->addStretch();
  for (int i = 0; i < buttons.size(); ++i) {
    auto* button =
        new ButtonView(buttons[i], i == 0 ? ButtonView::Kind::primary : ButtonView::Kind::plain);
    button->setAutoDefault(false);
    QObject::connect(button, &QPushButton::clicked, this, [this, i] {
      pressed_ = i;
      accept();
    });
    line->addWidget(button);
    buttons_.push_back(button);
  }
  buttons_.front()->setDefault(true);
  column->addLayout(line);
  row->addLayout(column, 1);
  setFixedWidth(kWidth);
  setFixedHeight(row->heightForWidth(kWidth));
}

void AlertWindow::keyPressEvent(QKeyEvent* event) {
  // What the button may not do yet, Escape may not do either.
  if (event->key() == Qt::Key_Escape && !buttons_.back()->isEnabled()) return;
  QDialog::keyPressEvent(event);
}

void AlertWindow::reject() {
  pressed_ = static_cast<int>(buttons_.size()) - 1;
  QDialog::reject();
}

void AlertWindow::bringToFront() {
  // Not where the pointer happens to be: an extra screen is in somebody else's hands.
  if (const QScreen* display = QGuiApplication::primaryScreen()) {
    move(display->availableGeometry().center() - rect().center());
  }
  show();
  raise();
  activateWindow();
  if (buttons_.front()->isEnabled()) buttons_.front()->setFocus();
}

}  // namespace tessaline

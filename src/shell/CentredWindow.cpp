#include "shell/CentredWindow.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "shell/Brand.h"
#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

constexpr int kFrameHeight = 40;  // what a window manager usually puts above; px

// Slim, as it takes width from content that was made for all of it.
constexpr const char* kScrollBar =
    "QScrollBar { width: 8px; background: transparent; }"
    "QScrollBar::handle { background: rgba(128, 128, 128, 140); border-radius: 4px;"
    " min-height: 32px; }"
    "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }";

}  // namespace

CentredWindow::CentredWindow(const QSize& contentSize) : contentSize_(contentSize) {
  setWindowTitle(ViewStyle::text(Brand::kName));
  auto* whole = new QVBoxLayout(this);
  whole->setContentsMargins(0, 0, 0, 0);
  scroll_ = new QScrollArea;
  scroll_->setFrameShape(QFrame::NoFrame);
  scroll_->setWidgetResizable(true);
  scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll_->setFocusPolicy(Qt::NoFocus);
  scroll_->verticalScrollBar()->setStyleSheet(kScrollBar);
  auto* content = new QWidget;
  content->setAutoFillBackground(false);
  page_ = new QVBoxLayout(content);
  page_->setContentsMargins(0, 0, 0, 0);
  page_->setSpacing(0);
  scroll_->setWidget(content);
  scroll_->viewport()->setAutoFillBackground(false);
  content->setAutoFillBackground(false);
  whole->addWidget(scroll_);
  applySize();
}

void CentredWindow::setMenuBar(QMenuBar* bar) {
  menuBar_ = bar;
  layout()->setMenuBar(bar);
  applySize();
}

void CentredWindow::setContentSize(const QSize& size) {
  contentSize_ = size;
  applySize();
}

void CentredWindow::applySize() {
  QSize size = contentSize_ + QSize(0, menuBar_ ? menuBar_->sizeHint().height() : 0);
  if (const QScreen* display = QGuiApplication::primaryScreen()) {
    size = size.boundedTo(display->availableSize() - QSize(0, kFrameHeight));
  }
  if (size != this->size()) setFixedSize(size);
}

void CentredWindow::bringToFront() {
  applySize();
  if (const QScreen* display = QGuiApplication::primaryScreen()) {
    move(display->availableGeometry().center() - rect().center());
  }
  showNormal();
  raise();
  activateWindow();
}

void CentredWindow::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Close)) {
    close();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace tessaline

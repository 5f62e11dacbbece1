#include "receiver/ScreenWindows.h"

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <utility>

namespace tessaline {
namespace {

constexpr int kLargestScale = 255;  // what a hello has room for

}  // namespace

ScreenWindows::ScreenWindows(std::unique_ptr<VideoView> full) : full_(std::move(full)) {
  full_->setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
  full_->setTitle(QStringLiteral("Tessaline"));
  full_->onEscape = [this] {
    if (onEscape) onEscape();
  };
}

ScreenWindows::~ScreenWindows() {
  QObject::disconnect(resize_);
}

void ScreenWindows::showHome(const HomeScreen& content) {
  updateHome(content);
  if (!home_) {
    home_ = std::make_unique<HomeWindow>(content);
    if (decorateHome) decorateHome(*home_);
  }
  home_->bringToFront();
}

void ScreenWindows::updateHome(const HomeScreen& content) {
  if (home_) home_->setContent(content);
}

void ScreenWindows::hideHome() {
  if (home_) home_->hide();
}

void ScreenWindows::showFull() {
  fitFull();
  full_->showFullScreen();
  full_->raise();
  full_->requestActivate();
}

void ScreenWindows::hideFull() {
  QObject::disconnect(resize_);
  full_->hide();
}

void ScreenWindows::fitFull() {
  QScreen* screen = QGuiApplication::primaryScreen();
  QObject::disconnect(resize_);
  if (screen == nullptr) return;
  // Also for desktops without a window manager, where nobody else makes a window fill the screen.
  full_->setScreen(screen);
  full_->setGeometry(screen->geometry());
  resize_ = QObject::connect(screen, &QScreen::geometryChanged, full_.get(),
                             [this](const QRect& geometry) { full_->setGeometry(geometry); });
}

std::shared_ptr<VideoDisplay> ScreenWindows::videoDisplay() {
  return full_->latestPicture();
}

void ScreenWindows::setPointerImage(std::shared_ptr<const platform::PointerImage> image) {
  const QImage pixels(image->rgba.data(), image->width, image->height, image->width * 4,
                      QImage::Format_RGBA8888);
  // The conversion copies: the pixels outlive `image`.
  full_->setPointerImage(pixels.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

ScreenMetrics ScreenWindows::screenMetrics() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return {};
  const double scale = screen->devicePixelRatio();
  const QSize points = screen->geometry().size();
  const QSizeF physical = screen->physicalSize();
  ScreenMetrics metrics;
  // Rounded, as the screen's own points already are: 853 points of 1.5 pixels are 1280 pixels.
  metrics.size = {qRound(points.width() * scale), qRound(points.height() * scale)};
  metrics.sizeMM = {static_cast<int>(physical.width()), static_cast<int>(physical.height())};
  metrics.scale = std::clamp(qRound(scale), 1, kLargestScale);
  return metrics;
}

}  // namespace tessaline

#include "painter/Painter.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "painter/PaintedCode.h"

namespace tessaline::bench {

namespace {

constexpr int kCodeMargin = 16;  // pixels: the code starts at a macroblock of the picture
constexpr int kClockTop = 12;    // pixels
// In the margin of the page: where code_reader and the page's probe look for the pointer.
constexpr std::array<PixelPoint, 2> kPointerPlaces = {{{4, 200}, {4, 400}}};

std::int64_t wallMicroseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

QImage codePicture(std::uint32_t counter) {
  constexpr int kSize = PaintedCode::kCellSize;
  QImage image(PaintedCode::kCells * kSize, kSize, QImage::Format_RGB32);
  const PaintedCode code(counter);
  for (int y = 0; y < kSize; ++y) {
    auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
    for (const bool white : code.cells()) {
      row = std::fill_n(row, kSize, white ? 0xFFFFFFFFU : 0xFF000000U);
    }
  }
  return image;
}

// The time of day with tenths of a second.
std::string timeOfDay() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%d", local.tm_hour, local.tm_min,
                local.tm_sec, static_cast<int>(now.tv_nsec / 100'000'000));
  return text.data();
}

void waitUntil(Clock::time_point deadline, int descriptor) {
  const auto left = deadline - Clock::now();
  if (left <= Duration::zero()) return;
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
  const timespec limit{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
  pollfd ready{descriptor, POLLIN, 0};
  ppoll(&ready, 1, &limit, nullptr);
}

}  // namespace

Painter::Painter(Canvas& canvas, PainterOptions options)
    : canvas_(canvas), options_(std::move(options)), start_(Clock::now()) {
  const auto& size = options_.bounds;
  std::vector<MovingBand> moving;
  if (options_.load == Load::text) moving = Scenery::scrollingText(size.width, size.height);
  if (options_.load == Load::motion) moving = Scenery::landscape(size.width, size.height);
  if (options_.load == Load::film) moving = Scenery::film(size.width, size.height);
  canvas_.open(size);
  for (auto& band : moving) {
    const xcb_pixmap_t picture = canvas_.upload(band.picture);
    bands_.push_back({std::move(band), picture});
  }
}

void Painter::run(const std::function<bool()>& ending,
                  const std::function<void(const Mark&)>& onCode) {
  const bool moving = !bands_.empty();
  paintEverything();
  auto nextFrame = Clock::now();
  auto nextCode = nextFrame;
  while (!ending()) {
    const auto now = Clock::now();
    if (canvas_.takeExposure()) paintEverything();
    const bool frameDue = moving && now >= nextFrame;
    const bool codeDue = options_.load != Load::still && now >= nextCode && (frameDue || !moving);
    if (codeDue) {
      if (!(options_.load == Load::pointer ? movePointer(onCode) : paintCode(now, onCode))) return;
      nextCode = Clock::now() + nextCodeInterval();
    } else if (frameDue) {
      paintFrame(now);
      if (!canvas_.settle()) return;
    }
    if (frameDue) nextFrame = std::max(nextFrame + options_.frameInterval, Clock::now());
    canvas_.flush();
    auto wake = Clock::now() + std::chrono::milliseconds(200);
    if (moving) {
      wake = std::min(wake, nextFrame);
    } else if (options_.load != Load::still) {
      wake = std::min(wake, nextCode);
    }
    waitUntil(wake, canvas_.descriptor());
    if (!moving && options_.load == Load::still && !canvas_.settle()) return;
  }
}

void Painter::paintEverything() {
  canvas_.put(Scenery::bar(options_.bounds.width, options_.caption), 0, 0);
  canvas_.put(codePicture(counter_), kCodeMargin, kCodeMargin);
  clockText_.clear();
  paintClock();
  if (bands_.empty()) {
    canvas_.put(Scenery::page(options_.bounds.width, options_.bounds.height - Scenery::kBarHeight),
                0, Scenery::kBarHeight);
  }
  paintBands(Clock::now());
}

void Painter::paintFrame(Clock::time_point now) {
  paintBands(now);
  paintClock();
}

void Painter::paintBands(Clock::time_point now) {
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - start_).count();
  for (const Band& band : bands_) {
    const auto period = band.band.vertical ? band.band.picture.height() : band.band.picture.width();
    paintBand(band, static_cast<int>(elapsed * band.band.pixelsPerSecond / 1000 % period));
  }
}

void Painter::paintBand(const Band& band, int shift) {
  const MovingBand& moving = band.band;
  const int width = options_.bounds.width;
  if (moving.vertical) {
    const int first = std::min(moving.height, moving.picture.height() - shift);
    canvas_.copy(band.picture, 0, shift, {0, moving.top, width, first});
    canvas_.copy(band.picture, 0, 0, {0, moving.top + first, width, moving.height - first});
  } else {
    const int first = std::min(width, moving.picture.width() - shift);
    canvas_.copy(band.picture, shift, 0, {0, moving.top, first, moving.height});
    canvas_.copy(band.picture, 0, 0, {first, moving.top, width - first, moving.height});
  }
}

void Painter::paintClock() {
  std::string text = timeOfDay();
  if (text == clockText_) return;
  clockText_ = std::move(text);
  const QImage picture = Scenery::clock(clockText_);
  canvas_.put(picture, options_.bounds.width - picture.width(), kClockTop);
}

bool Painter::paintCode(Clock::time_point now, const std::function<void(const Mark&)>& onCode) {
  counter_ = (counter_ + 1) & PaintedCode::kCounterMask;
  const QImage picture = codePicture(counter_);
  if (!canvas_.settle()) return false;
  Mark mark{counter_, wallMicroseconds(), 0};
  if (!bands_.empty()) paintFrame(now);
  canvas_.put(picture, kCodeMargin, kCodeMargin);
  if (!canvas_.settle()) return false;
  mark.after = wallMicroseconds();
  onCode(mark);
  return true;
}

bool Painter::movePointer(const std::function<void(const Mark&)>& onCode) {
  ++counter_;
  if (!canvas_.settle()) return false;
  Mark mark{counter_, wallMicroseconds(), 0};
  canvas_.movePointer(kPointerPlaces.at(counter_ % 2));
  if (!canvas_.settle()) return false;
  mark.after = wallMicroseconds();
  onCode(mark);
  return true;
}

// Irregular, so that the codes fall into every phase of a capture's and a browser's frames.
Duration Painter::nextCodeInterval() {
  std::uniform_real_distribution<double> share(0.5, 1.5);
  return std::chrono::duration_cast<Duration>(options_.codeInterval * share(dice_));
}

}  // namespace tessaline::bench

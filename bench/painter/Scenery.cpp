#include "painter/Scenery.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <array>
#include <cmath>
#include <random>

namespace tessaline::bench {

namespace {

constexpr int kTextLineHeight = 26;    // pixels
constexpr int kClockWidth = 190;       // pixels
constexpr int kTextSpeed = 240;        // pixels per second: a person flicking through a page
constexpr int kCloudSize = 40;         // pixels
constexpr int kFilmSpeed = 19;         // widths of the picture a second
constexpr int kLandscapeFactor = 2;    // a landscape repeats after so many window widths
constexpr unsigned kSceneryDice = 11;  // the same scenery in every run

const QColor kBarColour(0x24, 0x2A, 0x38);

constexpr std::array kSentences = {
    "A second screen is where the thing you keep looking at goes.",
    "The window on the left is the work; the window on the right is the reason for it.",
    "for (const auto& rectangle : damage) picture.update(rectangle);",
    "Half of all scrolling is looking for the line that was there a moment ago.",
    "2 048 samples, median 11.4 ms, 95th percentile 16.9 ms",
    "Sharp small letters are the hardest picture that a video encoder is given.",
    "if (nothingChanged()) return;  // the cheapest frame is the one nobody sends",
    "Every pixel here is painted by a program that has no idea it is being watched.",
    "The quick brown fox jumps over the lazy dog, 0123456789, {}[]()<>;:!?",
    "",
    "A cable would be faster. A cable would also have to be found first.",
    "return std::max(0, right - left) * std::max(0, bottom - top);",
};

QImage blank(int width, int height, const QColor& colour) {
  QImage image(width, height, QImage::Format_RGB32);
  image.fill(colour);
  return image;
}

QFont monospace(int pixels) {
  QFont font("DejaVu Sans Mono");
  font.setStyleHint(QFont::Monospace);
  font.setPixelSize(pixels);
  return font;
}

QFont sans(int pixels, bool bold = false) {
  QFont font("DejaVu Sans");
  font.setPixelSize(pixels);
  font.setBold(bold);
  return font;
}

// A text of numbered lines that fills `image` to its last whole line.
void writeText(QPainter& painter, const QRect& area) {
  painter.setFont(monospace(17));
  int number = 1;
  for (int y = area.top(); y + kTextLineHeight <= area.bottom() + 1; y += kTextLineHeight) {
    const int baseline = y + kTextLineHeight - 8;
    painter.setPen(QColor(0x9A, 0xA5, 0xB8));
    painter.drawText(area.left(), baseline, QString("%1").arg(number, 4));
    const auto sentence = kSentences.at(static_cast<std::size_t>(number) % kSentences.size());
    painter.setPen(number % 3 == 0 ? QColor(0x1F, 0x5F, 0xA8) : QColor(0x20, 0x24, 0x2C));
    painter.drawText(area.left() + 70, baseline, QString::fromUtf8(sentence));
    if (area.width() > 1200) {
      const auto other = kSentences.at(static_cast<std::size_t>(number * 5) % kSentences.size());
      painter.drawText(area.left() + area.width() / 2, baseline, QString::fromUtf8(other));
    }
    ++number;
  }
}

// A skyline of hills that meets itself at the right edge.
QPainterPath hills(int width, int height, double base, double swing, int waves) {
  QPainterPath path;
  path.moveTo(0, height);
  for (int x = 0; x <= width; x += 4) {
    const double angle = 2 * M_PI * x / width;
    const double wave = std::sin(angle * waves) * 0.6 + std::sin(angle * (waves * 2 + 1)) * 0.3 +
                        std::sin(angle * (waves * 5 + 2)) * 0.1;
    path.lineTo(x, height * base - wave * height * swing);
  }
  path.lineTo(width, height);
  path.closeSubpath();
  return path;
}

QImage sky(int width, int height) {
  QImage image = blank(width, height, Qt::black);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  QLinearGradient light(0, 0, 0, height);
  light.setColorAt(0, QColor(0x2E, 0x5E, 0xA8));
  light.setColorAt(1, QColor(0xFF, 0xC9, 0x8B));
  painter.fillRect(image.rect(), light);
  std::mt19937 dice(kSceneryDice);
  const auto upTo = [&](int limit) { return static_cast<int>(dice() % unsigned(limit)); };
  painter.setPen(Qt::NoPen);
  for (int cloud = 0; cloud < 14; ++cloud) {
    const int cx = 80 + cloud * (width - 320) / 14;
    const int cy = 40 + upTo(height / 2);
    painter.setBrush(QColor(255, 255, 255, 150));
    for (int puff = 0; puff < 6; ++puff) {
      painter.drawEllipse(QPoint(cx + puff * 26, cy + upTo(24)), 30 + upTo(26), 16 + upTo(14));
    }
  }
  painter.setPen(QColor(255, 255, 255, 235));
  painter.setFont(sans(64, true));
  for (int copy = 0; copy < kLandscapeFactor; ++copy) {
    const int left = copy * width / kLandscapeFactor;
    painter.drawText(QRect(left, 0, width / kLandscapeFactor, height), Qt::AlignCenter,
                     "Something is always moving here");
  }
  return image;
}

QImage hillside(int width, int height) {
  QImage image = blank(width, height, QColor(0xFF, 0xC9, 0x8B));
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.fillPath(hills(width, height, 0.45, 0.3, 5), QColor(0x8E, 0x7C, 0xA6));
  painter.fillPath(hills(width, height, 0.70, 0.22, 9), QColor(0x5C, 0x68, 0x8C));
  return image;
}

QImage town(int width, int height) {
  QImage image = blank(width, height, QColor(0x5C, 0x68, 0x8C));
  QPainter painter(&image);
  std::mt19937 dice(kSceneryDice);
  const auto upTo = [&](int limit) { return static_cast<int>(dice() % unsigned(limit)); };
  for (int x = 0; x < width;) {
    const int across = std::min(width - x, 60 + upTo(90));
    const int top = upTo(height / 2);
    const QColor wall = QColor::fromHsv(200 + upTo(160), 70 + upTo(60), 60 + upTo(80));
    painter.fillRect(x, top, across, height - top, wall);
    for (int wy = top + 10; wy + 14 < height; wy += 22) {
      for (int wx = x + 8; wx + 10 < x + across; wx += 18) {
        const bool lit = upTo(3) == 0;
        painter.fillRect(wx, wy, 10, 13, lit ? QColor(0xFF, 0xE2, 0x8A) : wall.darker(150));
      }
    }
    x += across;
  }
  return image;
}

QImage road(int width, int height) {
  QImage image = blank(width, height, QColor(0x3A, 0x3D, 0x44));
  QPainter painter(&image);
  std::mt19937 dice(kSceneryDice);
  for (int grain = 0; grain < width * height / 60; ++grain) {
    const int shade = 0x34 + static_cast<int>(dice() % 24U);
    painter.fillRect(static_cast<int>(dice() % unsigned(width)),
                     static_cast<int>(dice() % unsigned(height)), 3, 2,
                     QColor(shade, shade, shade));
  }
  for (int x = 0; x < width; x += width / 32) {
    painter.fillRect(x, height / 2 - 5, width / 64, 10, QColor(0xF4, 0xE7, 0xB0));
  }
  painter.fillRect(0, 0, width, 8, QColor(0xC9, 0xC4, 0xB8));
  return image;
}

}  // namespace

QImage Scenery::bar(int width, std::string_view caption) {
  QImage image = blank(width, kBarHeight, kBarColour);
  QPainter painter(&image);
  painter.setPen(QColor(0xE8, 0xEC, 0xF4));
  painter.setFont(sans(22));
  painter.drawText(QRect(560, 0, std::max(0, width - 560 - kClockWidth), kBarHeight),
                   Qt::AlignVCenter | Qt::AlignLeft,
                   QString::fromUtf8(caption.data(), static_cast<qsizetype>(caption.size())));
  return image;
}

QImage Scenery::clock(std::string_view text) {
  QImage image = blank(kClockWidth, 40, kBarColour);
  QPainter painter(&image);
  painter.setPen(QColor(0xFF, 0xB3, 0x47));
  painter.setFont(monospace(28));
  painter.drawText(image.rect(), Qt::AlignCenter,
                   QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
  return image;
}

QImage Scenery::page(int width, int height) {
  QImage image = blank(width, height, QColor(0xFB, 0xFB, 0xF8));
  QPainter painter(&image);
  writeText(painter, image.rect().adjusted(30, 0, -30, 0));
  return image;
}

std::vector<MovingBand> Scenery::scrollingText(int width, int height) {
  // Whole lines, and whole rounds of the sentences, so that the page meets itself.
  const int lines = 20 * static_cast<int>(kSentences.size());
  return {
      {page(width, lines * kTextLineHeight), kBarHeight, height - kBarHeight, kTextSpeed, true}};
}

std::vector<MovingBand> Scenery::film(int width, int height) {
  const int whole = width * kLandscapeFactor;
  const int room = height - kBarHeight;
  std::minstd_rand dice(kSceneryDice);
  QImage clouds(whole / kCloudSize, room / kCloudSize, QImage::Format_RGB32);
  for (int y = 0; y < clouds.height(); ++y) {
    auto* row = reinterpret_cast<QRgb*>(clouds.scanLine(y));
    for (int x = 0; x < clouds.width(); ++x) row[x] = static_cast<QRgb>(dice()) | 0xFF000000U;
  }
  QImage image = clouds.scaled(whole, room, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
  image.convertTo(QImage::Format_RGB32);
  for (int y = 0; y < room; ++y) {
    auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
    for (int x = 0; x < whole; ++x) row[x] ^= static_cast<QRgb>(dice() >> 8U & 7U) * 0x010101U;
  }
  return {{image, kBarHeight, room, whole * kFilmSpeed}};
}

std::vector<MovingBand> Scenery::landscape(int width, int height) {
  const int whole = width * kLandscapeFactor;
  const int room = height - kBarHeight;
  const std::array<int, 5> edges = {0, room * 40 / 100, room * 60 / 100, room * 88 / 100, room};
  const auto tall = [&](std::size_t band) { return edges.at(band + 1) - edges.at(band); };
  return {
      {sky(whole, tall(0)), kBarHeight + edges[0], tall(0), 60},
      {hillside(whole, tall(1)), kBarHeight + edges[1], tall(1), 120},
      {town(whole, tall(2)), kBarHeight + edges[2], tall(2), 300},
      {road(whole, tall(3)), kBarHeight + edges[3], tall(3), 660},
  };
}

}  // namespace tessaline::bench

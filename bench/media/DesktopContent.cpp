#include "media/DesktopContent.h"

#include <libyuv/convert_from_argb.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>

namespace tessaline::bench {
namespace {

// Body text of a desktop: cells of a 13 px font, lines with some leading.
constexpr int kCellWidth = 8;
constexpr int kCellHeight = 14;
constexpr int kLineHeight = 19;
constexpr int kGlyphs = 64;
constexpr int kScrollStep = 13;  // pixels a frame: a brisk wheel
constexpr double kFrameRate = 60;
constexpr std::uint32_t kPaper = 0xFFFFFF;
constexpr std::uint32_t kInk = 0x202020;
constexpr std::uint32_t kDesktop = 0x2E5077;

using Glyph = std::array<std::array<std::uint8_t, kCellWidth>, kCellHeight>;  // coverage

/// 32 bits a pixel, blue first in memory.
struct Canvas {
  explicit Canvas(PixelSize s) : size(s), pixels(index(0, s.height)) {}

  std::uint32_t& at(int x, int y) { return pixels[index(x, y)]; }
  [[nodiscard]] std::size_t index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
           static_cast<std::size_t>(x);
  }
  void fill(PixelRect rect, std::uint32_t colour) {
    for (int y = std::max(0, rect.y); y < std::min(size.height, rect.y + rect.height); ++y) {
      for (int x = std::max(0, rect.x); x < std::min(size.width, rect.x + rect.width); ++x) {
        at(x, y) = colour;
      }
    }
  }
  [[nodiscard]] Picture picture() const {
    auto buffer = std::make_shared<platform::PixelBuffer>(size);
    libyuv::ARGBToNV12(reinterpret_cast<const std::uint8_t*>(pixels.data()), size.width * 4,
                       buffer->luma(), buffer->stride(), buffer->chroma(), buffer->stride(),
                       size.width, size.height);
    return buffer;
  }

  PixelSize size;
  std::vector<std::uint32_t> pixels;
};

/// Strokes with soft edges, which cost an encoder what letters cost it.
std::vector<Glyph> makeGlyphs() {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(0, 1);
  std::vector<Glyph> glyphs(kGlyphs);
  for (auto& glyph : glyphs) {
    glyph = {};
    for (int stroke = 0; stroke < 3; ++stroke) {
      const bool upright = unit(random) < 0.5;
      const double x0 = 1 + unit(random) * 5, y0 = 2 + unit(random) * 9;
      const double x1 = upright ? x0 : 1 + unit(random) * 5;
      const double y1 = upright ? 2 + unit(random) * 9 : y0 + unit(random) * 3;
      for (int y = 0; y < kCellHeight; ++y) {
        for (int x = 0; x < kCellWidth; ++x) {
          const double dx = x1 - x0, dy = y1 - y0, length = dx * dx + dy * dy + 1e-6;
          const double t = std::clamp(((x - x0) * dx + (y - y0) * dy) / length, 0.0, 1.0);
          const double distance = std::hypot(x - x0 - t * dx, y - y0 - t * dy);
          const double coverage = std::clamp(1.2 - distance, 0.0, 1.0) * 255;
          auto& cell = glyph[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
          cell = std::max(cell, static_cast<std::uint8_t>(coverage));
        }
      }
    }
  }
  return glyphs;
}

void drawGlyph(Canvas& canvas, const Glyph& glyph, int left, int top, PixelRect clip) {
  for (int y = 0; y < kCellHeight; ++y) {
    for (int x = 0; x < kCellWidth; ++x) {
      if (!clip.contains(left + x, top + y)) continue;
      const std::uint32_t coverage =
          glyph[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
      const std::uint32_t level = 255 - coverage * (255 - (kInk & 0xFF)) / 255;
      canvas.at(left + x, top + y) = level << 16 | level << 8 | level;
    }
  }
}

/// A window of text whose first line is `scroll` pixels above its top edge.
void drawText(Canvas& canvas, PixelRect window, int scroll, unsigned seed) {
  static const std::vector<Glyph> glyphs = makeGlyphs();
  canvas.fill(window, kPaper);
  const int firstLine = scroll / kLineHeight;
  const int lines = window.height / kLineHeight + 2;
  for (int line = firstLine; line < firstLine + lines; ++line) {
    std::mt19937 random(seed * 100003U + static_cast<unsigned>(line));
    const int top = window.y + line * kLineHeight - scroll;
    const int columns = (window.width - 24) / kCellWidth;
    const int used = columns - static_cast<int>(random() % static_cast<unsigned>(columns / 2));
    for (int column = 0; column < used; ++column) {
      if (random() % 6 == 0) continue;  // a space
      drawGlyph(canvas, glyphs[random() % kGlyphs], window.x + 12 + column * kCellWidth, top,
                window);
    }
  }
}

/// Something like film: soft shapes that move, with grain.
void drawFilm(Canvas& canvas, PixelRect window, int frame) {
  std::uint32_t grain = 12345U + static_cast<std::uint32_t>(frame) * 7919U;
  const double t = frame * 0.07;
  for (int y = 0; y < window.height; ++y) {
    const double wave = std::sin(y * 0.013 + t) * 60;
    for (int x = 0; x < window.width; ++x) {
      grain = grain * 1664525U + 1013904223U;
      const int noise = static_cast<int>(grain >> 28) - 8;
      const int px = x + frame * 5;
      const int texture = ((px >> 3) ^ ((y + frame * 2) >> 3)) & 31;
      const int shade = 110 + static_cast<int>(wave) + ((px * 3 + y) & 1023) / 16 + texture + noise;
      const auto r = static_cast<std::uint32_t>(std::clamp(shade, 0, 255));
      const auto g = static_cast<std::uint32_t>(std::clamp(shade - 20, 0, 255));
      const auto b = static_cast<std::uint32_t>(std::clamp(200 - shade / 2, 0, 255));
      canvas.at(window.x + x, window.y + y) = r << 16 | g << 8 | b;
    }
  }
}

PixelRect inset(PixelSize size, int percent) {
  const int dx = size.width * percent / 200, dy = size.height * percent / 200;
  return {dx & ~1, dy & ~1, (size.width - 2 * dx) & ~1, (size.height - 2 * dy) & ~1};
}

Canvas page(PixelSize size, unsigned seed) {
  Canvas canvas(size);
  canvas.fill({0, 0, size.width, size.height}, kDesktop);
  drawText(canvas, inset(size, 12), 0, seed);
  return canvas;
}

}  // namespace

std::vector<DesktopContent> makeDesktopContents(PixelSize size, int frames) {
  const PixelRect window = inset(size, 12);
  const auto sequence = [&](std::string name, const std::function<Picture(int)>& draw) {
    DesktopContent content{std::move(name), {}, {}};
    for (int i = 0; i < frames; ++i) {
      content.pictures.push_back(draw(i));
      content.seconds.push_back(i / kFrameRate);
    }
    return content;
  };
  Canvas canvas = page(size, 1);
  Picture still = canvas.picture();
  std::vector<DesktopContent> contents;
  contents.push_back(sequence("scroll", [&](int i) {
    drawText(canvas, window, i * kScrollStep, 1);
    return canvas.picture();
  }));
  contents.push_back(sequence("film window", [&](int i) {
    drawFilm(canvas, inset(size, 50), i);
    return canvas.picture();
  }));
  contents.push_back(sequence("film screen", [&](int i) {
    drawFilm(canvas, {0, 0, size.width, size.height}, i);
    return canvas.picture();
  }));
  canvas = page(size, 1);
  Picture current;
  contents.push_back(sequence("pages", [&](int i) {
    if (i % 10 == 0) current = page(size, 2 + static_cast<unsigned>(i)).picture();
    return current;
  }));
  contents.push_back(sequence("clicks", [&](int i) {
    if (i % 2 == 0) current = page(size, 3 + static_cast<unsigned>(i) / 2 % 5).picture();
    return current;
  }));
  for (int i = 0; i < frames; ++i) {
    contents.back().seconds[static_cast<std::size_t>(i)] = std::floor(i / 2.0) + i % 2 / kFrameRate;
  }
  canvas = page(size, 1);
  contents.push_back(sequence("caret", [&](int i) {
    const PixelRect caret{window.x + 400, window.y + 300, 2, 16};
    canvas.fill(caret, i / 2 % 2 == 0 ? kInk : kPaper);
    drawText(canvas, {size.width - 80, 0, 80, 24}, 0, static_cast<unsigned>(i));
    return canvas.picture();
  }));
  contents.push_back(sequence("still", [&](int) { return still; }));
  return contents;
}

}  // namespace tessaline::bench

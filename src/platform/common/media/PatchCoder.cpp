#include "platform/common/media/PatchCoder.h"

#include <algorithm>
#include <cstring>

#include "platform/common/media/ChangedArea.h"

namespace tessaline::platform {
namespace {

constexpr int kSide = kMacroblock;
constexpr int kLumaBlocks = 4;  // in a row of a macroblock
constexpr int kChromaBlocks = 2;
constexpr int kMargin = 32;  // pixels around x264's reference pictures that motion may point at
// Of the picture's macroblocks: beyond this the ordinary encoder, which knows motion and has
// vector instructions, costs no more. Never less than a few lines of text.
constexpr int kLargestShare = 16;
constexpr int kFewMacroblocks = 160;

constexpr int kChromaMeansCoded = 16;  // of the coded parts
constexpr int kAllChromaCoded = 32;

/// Where the blocks of a macroblock's luma are, in their order: quarter by quarter.
constexpr std::pair<int, int> lumaPlace(int index) {
  const int quarter = index / 4;
  const int inside = index % 4;
  return {quarter % 2 * 2 + inside % 2, quarter / 2 * 2 + inside / 2};
}

/// What is left of a macroblock at the picture's edge repeats its last pixels.
void loadPlane(const std::uint8_t* plane, int stride, PixelRect rect, int unit, int width,
               int height, std::uint8_t* to) {
  const int bytes = rect.width * unit;
  const int there = std::min(rect.width, width - rect.x) * unit;
  for (int y = 0; y < rect.height; ++y) {
    const int row = std::min(rect.y + y, height - 1);
    const std::uint8_t* from = plane + std::ptrdiff_t{row} * stride + std::ptrdiff_t{rect.x} * unit;
    std::uint8_t* line = to + std::ptrdiff_t{y} * bytes;
    std::memcpy(line, from, static_cast<std::size_t>(there));
    for (int x = there; x < bytes; ++x) line[x] = line[x - unit];
  }
}

void copyRows(std::uint8_t* to, std::ptrdiff_t toStride, const std::uint8_t* from,
              std::ptrdiff_t fromStride, std::size_t bytes, int rows) {
  for (int y = 0; y < rows; ++y) std::memcpy(to + y * toStride, from + y * fromStride, bytes);
}

/// Differences of one block; `step` is the distance between neighbours of a row. False when there
/// are none.
bool difference(const std::uint8_t* a, const std::uint8_t* b, int stride, int step,
                Levels& result) {
  int any = 0;
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      const int at = y * stride + x * step;
      const int value = a[at] - b[at];
      any |= value;
      result[static_cast<std::size_t>(y * 4 + x)] = static_cast<std::int16_t>(value);
    }
  }
  return any != 0;
}

void add(std::uint8_t* pixels, int stride, int step, const Levels& differences) {
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      std::uint8_t& pixel = pixels[y * stride + x * step];
      const int value = pixel + differences[static_cast<std::size_t>(y * 4 + x)];
      pixel = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
    }
  }
}

int context(bool leftThere, int left, bool aboveThere, int above) {
  if (leftThere && aboveThere) return (left + above + 1) / 2;
  if (leftThere) return left;
  return aboveThere ? above : 0;
}

/// Repeats the outermost pixels of `rect`, which touches edges of the plane, in the margin.
void extendPlane(std::uint8_t* plane, std::ptrdiff_t stride, PixelRect rect, int unit, int width,
                 int height, int marginRows) {
  const auto margin = static_cast<std::ptrdiff_t>(kMargin);
  std::ptrdiff_t first = std::ptrdiff_t{rect.x} * unit;
  std::ptrdiff_t end = first + std::ptrdiff_t{rect.width} * unit;
  const auto spread = [&](std::ptrdiff_t from, std::ptrdiff_t to) {
    for (int y = rect.y; y < rect.y + rect.height; ++y) {
      std::uint8_t* row = plane + y * stride;
      for (std::ptrdiff_t x = 0; x < margin; x += unit) {
        std::memcpy(row + to + x, row + from, static_cast<std::size_t>(unit));
      }
    }
  };
  if (rect.x == 0) {
    spread(0, -margin);
    first = -margin;
  }
  if (rect.x + rect.width == width) {
    spread(end - unit, end);
    end += margin;
  }
  const auto bytes = static_cast<std::size_t>(end - first);
  if (rect.y == 0) {
    copyRows(plane + first - marginRows * stride, stride, plane + first, 0, bytes, marginRows);
  }
  if (rect.y + rect.height == height) {
    const std::uint8_t* last = plane + first + (height - 1) * stride;
    copyRows(plane + first + height * stride, stride, last, 0, bytes, marginRows);
  }
}

void addSlice(ByteWriter& unit, const Bytes& bits) {
  const Bytes payload = escape(bits);
  unit.u32(static_cast<std::uint32_t>(payload.size() + 1)).u8(kReferenceSliceUnit).append(payload);
}

}  // namespace

/// What is written of a macroblock.
struct PatchCoder::Residual {
  int parts = 0;
  std::array<Levels, 16> luma;
  std::array<std::array<std::int16_t, 4>, 2> means;
  std::array<std::array<Levels, 4>, 2> chroma;  // without the means: 15 levels each
};

PatchCoder::PatchCoder(PixelSize picture, const SliceShape& shape, int qp)
    : size_(picture),
      columns_((picture.width + kSide - 1) / kSide),
      rows_((picture.height + kSide - 1) / kSide),
      shape_(shape),
      qp_(qp),
      luma_(qp),
      chroma_(chromaQp(qp, shape.chromaQpOffset)),
      counts_(static_cast<std::size_t>(columns_)) {}

bool PatchCoder::mark(std::span<const PixelRect> changed) {
  const auto most =
      static_cast<std::size_t>(std::max(kFewMacroblocks, columns_ * rows_ / kLargestShare));
  marked_.clear();
  for (const PixelRect& whole : changed) {
    const PixelRect rect = intersected(whole, {0, 0, size_.width, size_.height});
    if (rect.empty()) continue;
    const int right = (rect.x + rect.width - 1) / kSide;
    const int bottom = (rect.y + rect.height - 1) / kSide;
    for (int row = rect.y / kSide; row <= bottom; ++row) {
      for (int column = rect.x / kSide; column <= right; ++column) {
        marked_.push_back(static_cast<std::uint32_t>(row * columns_ + column));
      }
      if (marked_.size() > 2 * most) return false;  // what overlaps may count twice
    }
  }
  std::ranges::sort(marked_);
  marked_.erase(std::unique(marked_.begin(), marked_.end()), marked_.end());
  return marked_.size() <= most;
}

void PatchCoder::load(const PixelBuffer& picture, int column, int row, Pixels& pixels) const {
  loadPlane(picture.luma(), picture.stride(), {column * kSide, row * kSide, kSide, kSide}, 1,
            size_.width, size_.height, pixels.luma.data());
  loadPlane(picture.chroma(), picture.stride(),
            {column * kSide / 2, row * kSide / 2, kSide / 2, kSide / 2}, 2, size_.width / 2,
            size_.height / 2, pixels.chroma.data());
}

bool PatchCoder::reduce(const Pixels& wanted, const Pixels& predicted, Residual& residual) const {
  residual.parts = 0;
  for (int i = 0; i < 16; ++i) {
    const auto [x, y] = lumaPlace(i);
    const auto at = static_cast<std::size_t>(y * 4 * kSide + x * 4);
    Levels block;
    auto& levels = residual.luma[static_cast<std::size_t>(i)];
    levels = {};
    if (!difference(&wanted.luma[at], &predicted.luma[at], kSide, 1, block)) continue;
    ResidualTransform::forward(block);
    if (luma_.quantise(block, levels, 0)) residual.parts |= 1 << (i / 4);
  }
  bool anyMeans = false, anyChroma = false;
  for (std::size_t component = 0; component < 2; ++component) {
    std::array<int, 4> means{};
    for (std::size_t i = 0; i < 4; ++i) {
      const std::size_t at = i / 2 * 4 * kSide + i % 2 * 8 + component;
      Levels block;
      auto& levels = residual.chroma[component][i];
      levels = {};
      if (!difference(&wanted.chroma[at], &predicted.chroma[at], kSide, 2, block)) continue;
      ResidualTransform::forward(block);
      means[i] = block[0];
      anyChroma |= chroma_.quantise(block, levels, 1);
    }
    anyMeans |= chroma_.quantiseMeans(means, residual.means[component]);
  }
  if (anyChroma) {
    residual.parts |= kAllChromaCoded;
  } else if (anyMeans) {
    residual.parts |= kChromaMeansCoded;
  }
  return residual.parts != 0;
}

void PatchCoder::write(BitWriter& writer, const Residual& residual, int column, int row) {
  writer.expGolomb(0);  // predicted as a whole, from where it is
  writer.signedExpGolomb(0);
  writer.signedExpGolomb(0);
  writeCodedParts(writer, residual.parts);
  if (shape_.transform8x8 && residual.parts % kChromaMeansCoded != 0) writer.bits(0, 1);
  writer.signedExpGolomb(0);  // the slice's quantiser

  auto& own = counts_[static_cast<std::size_t>(column)];
  const Counts above = own.row == row - 1 ? own : Counts();
  Counts left;
  if (column > 0 && counts_[static_cast<std::size_t>(column - 1)].row == row) {
    left = counts_[static_cast<std::size_t>(column - 1)];
  }
  own = Counts();
  own.row = row;
  for (int i = 0; i < 16; ++i) {
    if ((residual.parts >> (i / 4) & 1) == 0) continue;
    const auto [x, y] = lumaPlace(i);
    const auto at = [](int column4, int row4) {
      return static_cast<std::size_t>(row4 * kLumaBlocks + column4);
    };
    const int before = x > 0 ? own.luma[at(x - 1, y)] : left.luma[at(kLumaBlocks - 1, y)];
    const int over = y > 0 ? own.luma[at(x, y - 1)] : above.luma[at(x, kLumaBlocks - 1)];
    own.luma[at(x, y)] = static_cast<std::uint8_t>(
        writeLevels(writer, residual.luma[static_cast<std::size_t>(i)],
                    context(x > 0 || column > 0, before, y > 0 || row > firstRow_, over)));
  }
  if (residual.parts < kChromaMeansCoded) return;
  for (const auto& means : residual.means) writeLevels(writer, means, -1);
  if (residual.parts < kAllChromaCoded) return;
  for (std::size_t component = 0; component < 2; ++component) {
    auto& counts = own.chroma[component];
    for (std::size_t i = 0; i < 4; ++i) {
      const bool right = i % kChromaBlocks == 1, lower = i / kChromaBlocks == 1;
      const int before = right ? counts[i - 1] : left.chroma[component][i + 1];
      const int over = lower ? counts[i - 2] : above.chroma[component][i + 2];
      counts[i] = static_cast<std::uint8_t>(
          writeLevels(writer, std::span(residual.chroma[component][i]).first(15),
                      context(right || column > 0, before, lower || row > firstRow_, over)));
    }
  }
}

PatchCoder::Pixels PatchCoder::rebuilt(const Pixels& predicted, const Residual& residual) const {
  Pixels result = predicted;
  for (int i = 0; i < 16; ++i) {
    if ((residual.parts >> (i / 4) & 1) == 0) continue;
    const auto [x, y] = lumaPlace(i);
    const auto coefficients = luma_.scale(residual.luma[static_cast<std::size_t>(i)]);
    add(&result.luma[static_cast<std::size_t>(y * 4 * kSide + x * 4)], kSide, 1,
        ResidualTransform::inverse(coefficients));
  }
  if (residual.parts < kChromaMeansCoded) return result;
  for (std::size_t component = 0; component < 2; ++component) {
    const auto means = chroma_.scaleMeans(residual.means[component]);
    for (std::size_t i = 0; i < 4; ++i) {
      Levels levels{};
      std::copy_n(residual.chroma[component][i].begin(), 15, levels.begin() + 1);
      auto coefficients = chroma_.scale(levels);
      coefficients[0] = means[i];
      add(&result.chroma[i / 2 * 4 * kSide + i % 2 * 8 + component], kSide, 2,
          ResidualTransform::inverse(coefficients));
    }
  }
  return result;
}

void PatchCoder::put(const ReferencePicture& reference, const Done& done) const {
  copyRows(reference.luma + std::ptrdiff_t{done.row} * kSide * reference.lumaStride +
               std::ptrdiff_t{done.column} * kSide,
           reference.lumaStride, done.pixels.luma.data(), kSide, kSide, kSide);
  copyRows(reference.chroma + std::ptrdiff_t{done.row} * (kSide / 2) * reference.chromaStride +
               std::ptrdiff_t{done.column} * kSide,
           reference.chromaStride, done.pixels.chroma.data(), kSide, kSide, kSide / 2);
}

void PatchCoder::extendEdges(const ReferencePicture& reference, const Done& done) const {
  if (done.column > 0 && done.column < columns_ - 1 && done.row > 0 && done.row < rows_ - 1) return;
  const PixelRect luma{done.column * kSide, done.row * kSide, kSide, kSide};
  extendPlane(reference.luma, reference.lumaStride, luma, 1, columns_ * kSide, rows_ * kSide,
              kMargin);
  const PixelRect chroma{luma.x / 2, luma.y / 2, kSide / 2, kSide / 2};
  extendPlane(reference.chroma, reference.chromaStride, chroma, 2, columns_ * kSide / 2,
              rows_ * kSide / 2, kMargin / 2);
}

BitWriter PatchCoder::beginSlice(int row, std::uint32_t frameNumber) const {
  BitWriter writer;
  writeSliceHeader(writer, shape_, static_cast<std::uint32_t>(row * columns_), frameNumber, qp_);
  return writer;
}

std::optional<Bytes> PatchCoder::code(const PixelBuffer& picture,
                                      std::span<const PixelRect> changed,
                                      const ReferencePicture& reference, std::uint32_t frameNumber,
                                      std::size_t mostBytes) {
  if (!mark(changed)) return std::nullopt;
  for (Counts& counts : counts_) counts.row = -1;
  done_.clear();
  const auto columns = static_cast<std::uint32_t>(columns_);
  firstRow_ = marked_.empty() ? 0 : static_cast<int>(marked_.front() / columns);
  const int endRow = marked_.empty() ? rows_ : static_cast<int>(marked_.back() / columns) + 1;
  BitWriter writer = beginSlice(firstRow_, frameNumber);
  // The first macroblock that nothing has been written about.
  auto next = static_cast<std::uint32_t>(firstRow_) * columns;
  for (const std::uint32_t index : marked_) {
    const int column = static_cast<int>(index) % columns_;
    const int row = static_cast<int>(index) / columns_;
    Pixels wanted, predicted;
    load(picture, column, row, wanted);
    copyRows(predicted.luma.data(), kSide,
             reference.luma + std::ptrdiff_t{row} * kSide * reference.lumaStride +
                 std::ptrdiff_t{column} * kSide,
             reference.lumaStride, kSide, kSide);
    copyRows(predicted.chroma.data(), kSide,
             reference.chroma + std::ptrdiff_t{row} * (kSide / 2) * reference.chromaStride +
                 std::ptrdiff_t{column} * kSide,
             reference.chromaStride, kSide, kSide / 2);
    Residual residual;
    if (!reduce(wanted, predicted, residual)) continue;
    writer.expGolomb(index - next);
    next = index + 1;
    write(writer, residual, column, row);
    if (writer.size() > mostBytes) return std::nullopt;
    done_.push_back({column, row, rebuilt(predicted, residual)});
  }
  const std::uint32_t end = static_cast<std::uint32_t>(endRow) * columns;
  if (next < end) writer.expGolomb(end - next);
  for (const Done& done : done_) put(reference, done);
  for (const Done& done : done_) extendEdges(reference, done);

  PixelRect area;  // macroblocks
  for (const Done& done : done_) area = united(area, {done.column, done.row, 1, 1});
  ByteWriter unit;
  unit.append(changedAreaUnit(area));
  const auto addUnchanged = [&](int first, int last) {
    if (first == last) return;
    BitWriter unchanged = beginSlice(first, frameNumber);
    unchanged.expGolomb(static_cast<std::uint32_t>(last - first) * columns);
    addSlice(unit, unchanged.finish());
  };
  addUnchanged(0, firstRow_);
  addSlice(unit, writer.finish());
  addUnchanged(endRow, rows_);
  return unit.take();
}

}  // namespace tessaline::platform

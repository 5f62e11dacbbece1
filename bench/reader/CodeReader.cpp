#include "reader/CodeReader.h"

#include <poll.h>
#include <xcb/damage.h>

#include <array>
#include <chrono>
#include <cstdlib>

#include "painter/PaintedCode.h"

namespace tessaline::bench {
namespace {

constexpr int kRowsRead = 4;    // from the middle of the cells, where neighbours do not bleed in
constexpr int kCellMargin = 4;  // pixels of a cell that are not counted, left and right
// What a pointer at the first of the painter's two places covers, and nothing else that is dark.
constexpr PixelRect kPointerPlace{0, 196, 24, 32};
constexpr int kDark = 96;            // of 255
constexpr int kLongestWaitMs = 200;  // a signal that comes just before the waiting is seen then

std::int64_t wallMicroseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

PixelRect partFor(int x, int y, CodeReader::Subject subject) {
  if (subject == CodeReader::pointer) {
    return {x + kPointerPlace.x, y + kPointerPlace.y, kPointerPlace.width, kPointerPlace.height};
  }
  return {x, y + (PaintedCode::kCellSize - kRowsRead) / 2,
          PaintedCode::kCells * PaintedCode::kCellSize, kRowsRead};
}

}  // namespace

CodeReader::CodeReader(xcb_connection_t* connection, int x, int y, Subject subject)
    : connection_(connection), subject_(subject), part_(partFor(x, y, subject)) {}

CodeReader::~CodeReader() {
  xcb_disconnect(connection_);
}

Result<std::unique_ptr<CodeReader>> CodeReader::connect(int x, int y, Subject subject) {
  std::unique_ptr<CodeReader> reader(new CodeReader(xcb_connect(nullptr, nullptr), x, y, subject));
  auto* connection = reader->connection_;
  if (xcb_connection_has_error(connection)) return Failure{"no X server at DISPLAY"};
  auto grabber = ShmGrabber::connect({reader->part_.width, reader->part_.height});
  if (!grabber) return Failure{grabber.error()};
  reader->grabber_ = std::move(*grabber);

  const auto version =
      xcb_damage_query_version(connection, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION);
  auto* answer = xcb_damage_query_version_reply(connection, version, nullptr);
  if (!answer) return Failure{"the X server does not report damage"};
  std::free(answer);
  reader->damage_ = xcb_generate_id(connection);
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  xcb_damage_create(connection, reader->damage_, root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
  xcb_flush(connection);
  return reader;
}

void CodeReader::run(const std::function<bool()>& ending,
                     const std::function<void(const Look&)>& onLook) {
  while (!ending()) {
    bool changed = false;
    while (auto* event = xcb_poll_for_event(connection_)) {
      std::free(event);
      changed = true;
    }
    if (xcb_connection_has_error(connection_)) return;
    if (changed) {
      // Before the look: what is painted after it is then reported again.
      xcb_damage_subtract(connection_, damage_, XCB_NONE, XCB_NONE);
      xcb_flush(connection_);
      onLook(look());
      continue;
    }
    pollfd ready{xcb_get_file_descriptor(connection_), POLLIN, 0};
    poll(&ready, 1, kLongestWaitMs);
  }
}

CodeReader::Look CodeReader::look() {
  const bool grabbed = grabber_->grab(part_);
  Look look{{}, wallMicroseconds()};
  if (grabbed) look.counter = subject_ == code ? readCode() : readPointer();
  return look;
}

std::optional<std::uint32_t> CodeReader::readCode() const {
  constexpr int kCounted = PaintedCode::kCellSize - 2 * kCellMargin;
  std::array<bool, PaintedCode::kCells> cells{};
  for (int cell = 0; cell < PaintedCode::kCells; ++cell) {
    int sum = 0;
    for (int row = 0; row < kRowsRead; ++row) {
      const int first = row * part_.width + cell * PaintedCode::kCellSize + kCellMargin;
      for (int pixel = first; pixel < first + kCounted; ++pixel) {
        sum += grabber_->pixels()[pixel * 4 + 1];  // green
      }
    }
    cells.at(static_cast<std::size_t>(cell)) = sum > 128 * kRowsRead * kCounted;
  }
  return PaintedCode::read(cells);
}

std::optional<std::uint32_t> CodeReader::readPointer() const {
  for (int pixel = 0; pixel < part_.width * part_.height; ++pixel) {
    if (grabber_->pixels()[pixel * 4 + 1] < kDark) return 0;
  }
  return 1;
}

}  // namespace tessaline::bench

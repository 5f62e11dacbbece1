// What the encoder costs and gives on desktop content, as a table: one line for each set-up and
// content. Arguments: a part of a set-up's name (all without it), the number of frames, the size.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "media/DesktopContent.h"
#include "media/StreamDecoder.h"
#include "platform/common/media/EncoderRecipes.h"

namespace tessaline::bench {
namespace {

using platform::CodedFrame;
using platform::CompressionOptions;
using platform::FrameNotes;
using platform::X264Encoder;
using platform::X264Recipe;

constexpr int kBitRateFullHd = 25'000'000;  // bit/s, the application's default for 1920 x 1080

struct SetUp {
  std::string name;
  X264Recipe recipe;
};

/// The set-up in use with another preset, quality, or more of x264's own parameters.
SetUp changed(const std::string& name,
              const std::vector<std::pair<std::string, std::string>>& parameters,
              const std::string& preset = "ultrafast", float quality = 20) {
  X264Recipe recipe = platform::x264Recipe(1);
  recipe.preset = preset;
  recipe.quality = quality;
  recipe.parameters.insert(recipe.parameters.end(), parameters.begin(), parameters.end());
  return {name, recipe};
}

SetUp windowed(const std::string& name, double frames) {
  SetUp result = changed(name, {});
  result.recipe.windowFrames = frames;
  return result;
}

/// A set-up that refines still pictures to `quality`, and codes small changes with `qp`.
SetUp sharp(const std::string& name, float quality, int qp) {
  SetUp result = changed(name, {});
  result.recipe.stillQuality = quality;
  result.recipe.patchQp = qp;
  return result;
}

std::vector<SetUp> setUps() {
  // A slower preset without what costs it most: fine intra blocks in key frames stay.
  const std::vector<std::pair<std::string, std::string>> lean = {
      {"cabac", "0"},   {"no-deblock", "1"}, {"subme", "0"},
      {"aq-mode", "0"}, {"weightp", "0"},    {"analyse", "none"}};
  auto fine = lean;
  fine.back().second = "none,i4x4";
  SetUp threads = changed("2 threads", {});
  threads.recipe.threads = 2;
  return {
      {"shipped", platform::x264Recipe(1)},
      changed("superfast", {}, "superfast"),
      changed("superfast lean", lean, "superfast"),
      changed("superfast i4x4", fine, "superfast"),
      changed("cabac", {{"cabac", "1"}}),
      changed("aq", {{"aq-mode", "1"}}),
      changed("subme 1", {{"subme", "1"}}),
      changed("deblock", {{"no-deblock", "0"}}),
      changed("no 8x8dct", {{"8x8dct", "0"}}),
      changed("crf 18", {}, "ultrafast", 18),
      changed("crf 22", {}, "ultrafast", 22),
      windowed("window 1", 1),
      windowed("window 3", 3),
      windowed("window 9", 9),
      sharp("sharp 16/18", 16, 18),
      sharp("sharp 8/10", 8, 10),
      threads,
  };
}

/// Where two pictures differ, in strips of macroblocks.
std::vector<PixelRect> differences(const platform::PixelBuffer& a, const platform::PixelBuffer& b) {
  constexpr int kSide = 16;
  std::vector<PixelRect> result;
  for (int y = 0; y < a.size().height; y += kSide) {
    int first = a.size().width, end = 0;
    for (int row = y; row < std::min(y + kSide, a.size().height); ++row) {
      const std::uint8_t* one = a.luma() + std::ptrdiff_t{row} * a.stride();
      const std::uint8_t* other = b.luma() + std::ptrdiff_t{row} * b.stride();
      for (int x = 0; x < a.size().width; ++x) {
        if (one[x] == other[x]) continue;
        first = std::min(first, x);
        end = std::max(end, x + 1);
      }
    }
    if (first < end) result.push_back({first & ~1, y, end - (first & ~1), kSide});
  }
  return result;
}

double cpuMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double quantile(std::vector<double> values, double q) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1))];
}

void run(const SetUp& setUp, const DesktopContent& content, const CompressionOptions& options) {
  const auto encoder = X264Encoder::open(setUp.recipe, options);
  if (!encoder) {
    std::printf("%-16s cannot be opened\n", setUp.name.c_str());
    return;
  }
  std::vector<double> milliseconds, kilobytes;
  std::vector<CodedFrame> stream;
  double cpu = 0, keyCpu = 0;
  for (std::size_t i = 0; i < content.pictures.size(); ++i) {
    const Clock::time_point time(
        std::chrono::duration_cast<Duration>(std::chrono::duration<double>(content.seconds[i])));
    FrameNotes notes;
    if (i > 0) {
      notes.changed = differences(*content.pictures[i - 1], *content.pictures[i]);
      notes.refine = content.name == "still";
    }
    const auto before = Clock::now();
    const double cpuBefore = cpuMilliseconds();
    auto frame = encoder->encode(content.pictures[i], time, notes);
    cpu += cpuMilliseconds() - cpuBefore;
    if (!frame) {
      std::printf("%-16s failed\n", setUp.name.c_str());
      return;
    }
    const std::chrono::duration<double, std::milli> took = Clock::now() - before;
    if (!stream.empty()) {  // the key frame is not what a running stream costs
      milliseconds.push_back(took.count());
      kilobytes.push_back(static_cast<double>(frame->data->size()) / 1e3);
    } else {
      keyCpu = cpu;
    }
    stream.push_back(std::move(*frame));
  }
  platform::StreamDecoder decoder;
  std::vector<double> psnr;
  double decodeMs = 0;
  for (std::size_t i = 0; i < stream.size(); ++i) {
    const auto before = Clock::now();
    const auto picture = decoder.decode(stream[i]);
    decodeMs += std::chrono::duration<double, std::milli>(Clock::now() - before).count();
    if (!picture) {
      std::printf("%-16s does not decode\n", setUp.name.c_str());
      return;
    }
    psnr.push_back(lumaPsnr(*content.pictures[i], *picture));
  }
  const auto count = static_cast<double>(stream.size());
  double sum = 0;
  for (const double k : kilobytes) sum += k;
  std::printf(
      "%-16s %-12s %6.2f %6.2f %6.2f %6.2f %6.2f %7.2f | %7.1f %7.1f %7.1f | %5.1f %5.1f %5.1f\n",
      setUp.name.c_str(), content.name.c_str(), quantile(milliseconds, 0.1),
      quantile(milliseconds, 0.5), quantile(milliseconds, 0.95), (cpu - keyCpu) / (count - 1),
      keyCpu, decodeMs / count, static_cast<double>(stream[0].data->size()) / 1e3,
      sum / (count - 1), quantile(kilobytes, 1), quantile(psnr, 0.5), quantile(psnr, 0),
      psnr.back());
}

}  // namespace
}  // namespace tessaline::bench

int main(int argc, char** argv) {
  using namespace tessaline;
  av_log_set_level(AV_LOG_QUIET);
  const std::string filter = argc > 1 ? argv[1] : "";
  const int frames = std::max(2, argc > 2 ? std::atoi(argv[2]) : 60);
  const PixelSize size{argc > 4 ? std::atoi(argv[3]) : 1920, argc > 4 ? std::atoi(argv[4]) : 1080};
  platform::CompressionOptions options;
  options.size = size;
  options.averageBitRate = bench::kBitRateFullHd;
  std::printf("%-16s %-12s %6s %6s %6s %6s %6s %7s | %7s %7s %7s | %5s %5s %5s\n", "set-up",
              "content", "ms 10%", "50%", "95%", "cpu ms", "key", "dec ms", "key kB", "mean kB",
              "max kB", "dB 50%", "min", "last");
  const auto contents = bench::makeDesktopContents(size, frames);
  for (const auto& setUp : bench::setUps()) {
    if (setUp.name.find(filter) == std::string::npos) continue;
    for (const auto& content : contents) bench::run(setUp, content, options);
  }
}

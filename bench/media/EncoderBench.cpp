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
#include "platform/common/media/EncoderRecipes.h"
#include "platform/media/StreamDecoder.h"

namespace tessaline::bench {
namespace {

using platform::CodedFrame;
using platform::CompressionOptions;
using platform::EncoderRecipe;
using platform::H264Encoder;

constexpr int kBitRateFullHd = 25'000'000;  // bit/s, the application's default for 1920 x 1080

struct SetUp {
  std::string name;
  EncoderRecipe recipe;
};

SetUp x264(const std::string& name, const std::string& preset, const std::string& parameters,
           int threads = 1, double bufferFrames = 4) {
  EncoderRecipe recipe = platform::x264Recipe();
  for (auto& [option, value] : recipe.options) {
    if (option == "preset") value = preset;
    if (option == "x264-params") value = "annexb=0:scenecut=0:" + parameters;
  }
  recipe.threads = threads;
  recipe.bufferFrames = bufferFrames;
  return {name, recipe};
}

std::vector<SetUp> setUps() {
  const std::string base = "8x8dct=1";
  return {
      {"shipped", platform::x264Recipe()},
      x264("uf qpmin16", "ultrafast", base + ":qpmin=16"),
      x264("uf qpmin20", "ultrafast", base + ":qpmin=20"),
      x264("uf i4", "ultrafast", "8x8dct=1:analyse=i4x4"),
      x264("uf i4i8 sub1", "ultrafast", "8x8dct=1:analyse=i4x4,i8x8:subme=1"),
      x264("uf i4i8 cabac", "ultrafast", "8x8dct=1:analyse=i4x4,i8x8:cabac=1"),
      x264("uf i4i8 aq1", "ultrafast", "8x8dct=1:analyse=i4x4,i8x8:aq-mode=1"),
      x264("ultrafast base", "ultrafast", "8x8dct=0"),
      x264("ultrafast+8x8", "ultrafast", base),
      x264("uf t2", "ultrafast", base, 2),
      x264("uf cabac", "ultrafast", base + ":cabac=1"),
      x264("uf deblock", "ultrafast", base + ":no-deblock=0:deblock=-1,-1"),
      x264("uf aq1", "ultrafast", base + ":aq-mode=1"),
      x264("uf subme1", "ultrafast", base + ":subme=1"),
      x264("uf subme2", "ultrafast", base + ":subme=2"),
      x264("uf hex", "ultrafast", base + ":me=hex"),
      x264("uf i8x8", "ultrafast", base + ":analyse=i4x4,i8x8"),
      x264("uf mer32", "ultrafast", base + ":merange=32"),
      x264("uf nodecimate", "ultrafast", base + ":dct-decimate=0"),
      x264("uf chromaqp-2", "ultrafast", base + ":chroma-qp-offset=-2"),
      x264("uf psy0", "ultrafast", base + ":psy=0"),
      x264("superfast", "superfast", "mbtree=0"),
      x264("veryfast", "veryfast", "mbtree=0"),
      x264("vbv 1", "ultrafast", base, 1, 1),
      x264("vbv 1.5", "ultrafast", base, 1, 1.5),
      x264("vbv 2", "ultrafast", base, 1, 2),
      x264("vbv 3", "ultrafast", base, 1, 3),
      x264("vbv 6", "ultrafast", base, 1, 6),
      x264("vbv 10", "ultrafast", base, 1, 10),
  };
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
  auto opened = H264Encoder::open(setUp.recipe, options);
  if (!opened.encoder) {
    std::printf("%-16s cannot be opened (%d)\n", setUp.name.c_str(), opened.status);
    return;
  }
  std::vector<double> milliseconds, kilobytes;
  std::vector<CodedFrame> stream;
  double cpu = 0;
  for (const auto& picture : content.pictures) {
    const auto before = Clock::now();
    const double cpuBefore = cpuMilliseconds();
    auto frame = opened.encoder->encode(picture, before, false);
    cpu += cpuMilliseconds() - cpuBefore;
    if (!frame) {
      std::printf("%-16s failed\n", setUp.name.c_str());
      return;
    }
    const std::chrono::duration<double, std::milli> took = Clock::now() - before;
    if (!stream.empty()) {  // the key frame is not what a running stream costs
      milliseconds.push_back(took.count());
      kilobytes.push_back(static_cast<double>(frame->data->size()) / 1e3);
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
  std::printf("%-16s %-12s %6.2f %6.2f %6.2f %7.2f | %7.1f %7.1f %7.1f | %5.1f %5.1f %5.1f\n",
              setUp.name.c_str(), content.name.c_str(), quantile(milliseconds, 0.5),
              quantile(milliseconds, 0.95), cpu / count, decodeMs / count,
              static_cast<double>(stream[0].data->size()) / 1e3, sum / (count - 1),
              quantile(kilobytes, 1), quantile(psnr, 0.5), quantile(psnr, 0), psnr.back());
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
  std::printf("%-16s %-12s %6s %6s %6s %7s | %7s %7s %7s | %5s %5s %5s\n", "set-up", "content",
              "ms 50%", "95%", "cpu ms", "dec ms", "key kB", "mean kB", "max kB", "dB 50%", "min",
              "last");
  const auto contents = bench::makeDesktopContents(size, frames);
  for (const auto& setUp : bench::setUps()) {
    if (setUp.name.find(filter) == std::string::npos) continue;
    for (const auto& content : contents) bench::run(setUp, content, options);
  }
}

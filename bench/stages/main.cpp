// Prints what each stage from the X server's pixels to a decoded picture costs on DISPLAY, which
// should be a private one: the painter covers it.
//
//   bench_stages [--size WxH] [--frames N] [--load NAME] [--json FILE]

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include "base/AsioQueue.h"
#include "stages/PainterProcess.h"
#include "stages/Stages.h"

namespace {

using namespace tessaline;
using namespace tessaline::bench;
using namespace std::chrono_literals;

constexpr auto kWarmUp = 1500ms;  // the painter has drawn its scenery by then
constexpr std::array kLoads = {"idle", "text", "motion"};
constexpr std::array kStages = {Stages::kGrabPart,     Stages::kConvertPart, Stages::kGrabWhole,
                                Stages::kConvertWhole, Stages::kEncode,      Stages::kSend,
                                Stages::kDecode};

struct CommandLine {
  PixelSize size{1920, 1080};
  int frames = 240;
  std::string load;  ///< one of kLoads; empty: all of them
  std::string json;
};

struct Figures {
  double median = 0;  // ms
  double p95 = 0;
};

Figures figures(Stages::Samples samples) {
  std::ranges::sort(samples);
  const auto at = [&](double share) {
    const auto index = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1));
    return std::chrono::duration<double, std::milli>(samples[index]).count();
  };
  return samples.empty() ? Figures{} : Figures{at(0.5), at(0.95)};
}

bool parse(int argc, char** argv, CommandLine& line) {
  for (int index = 1; index < argc; index += 2) {
    if (index + 1 == argc) return false;
    const std::string_view option = argv[index];
    const char* value = argv[index + 1];
    if (option == "--size") {
      if (std::sscanf(value, "%dx%d", &line.size.width, &line.size.height) != 2) return false;
    } else if (option == "--frames") {
      if (std::sscanf(value, "%d", &line.frames) != 1 || line.frames < 1) return false;
    } else if (option == "--load") {
      line.load = value;
      if (std::ranges::find(kLoads, line.load) == kLoads.end()) return false;
    } else if (option == "--json") {
      line.json = value;
    } else {
      return false;
    }
  }
  return line.size.width > 0 && line.size.height > 0;
}

// One load's figures, printed and returned as a JSON object.
std::string report(const char* load, const Stages::Costs& costs, double bytes) {
  std::string json = "\"" + std::string(load) + "\": {";
  std::printf("%s\n", load);
  double floor = 0;
  for (const char* stage : kStages) {
    const Figures cost = figures(costs.at(stage));
    std::printf("  %-28s %6.2f ms   95th percentile %6.2f ms\n", stage, cost.median, cost.p95);
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "\"%s\": {\"medianMs\": %.3f, \"p95Ms\": %.3f}, ",
                  stage, cost.median, cost.p95);
    json += text.data();
    for (const char* part :
         {Stages::kGrabWhole, Stages::kConvertWhole, Stages::kEncode, Stages::kDecode}) {
      if (stage == part) floor += cost.median;
    }
  }
  std::printf("  %-28s %6.2f ms   grab, convert, encode, decode of whole pictures\n", "floor",
              floor);
  std::printf("  %-28s %6.0f bytes\n\n", "a coded frame, on average", bytes);
  return json + "\"floorMs\": " + std::to_string(floor) + "}";
}

int measure(const CommandLine& line) {
  AsioQueues queues;
  std::string json;
  for (const char* load : kLoads) {
    if (!line.load.empty() && line.load != load) continue;
    const PainterProcess painter(load, {0, 0, line.size.width, line.size.height});
    auto stages = Stages::prepare(queues, line.size);
    if (!painter.running() || !stages) {
      std::fprintf(stderr, "stages: %s\n", stages ? "no painter" : stages.error().c_str());
      return 1;
    }
    std::this_thread::sleep_for(kWarmUp);
    auto costs = (*stages)->measure(line.frames);
    if (!costs) {
      std::fprintf(stderr, "stages: %s\n", costs.error().c_str());
      return 1;
    }
    double bytes = 0;
    for (const auto size : (*stages)->codedBytes()) bytes += static_cast<double>(size);
    json += (json.empty() ? "{" : ",\n ") + report(load, *costs, bytes / line.frames);
  }
  if (!line.json.empty()) std::ofstream(line.json) << json << "}\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine line;
  if (!parse(argc, argv, line)) {
    std::fputs("usage: bench_stages [--size WxH] [--frames N] [--load NAME] [--json FILE]\n",
               stderr);
    return 2;
  }
  return measure(line);
}

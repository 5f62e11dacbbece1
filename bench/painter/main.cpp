#include <sys/prctl.h>

#include <QGuiApplication>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "painter/Painter.h"

namespace {

using namespace tessaline;
using namespace tessaline::bench;

constexpr char kUsage[] =
    "Paints a counting code and a load on an X display, and prints each code with its time:\n"
    "  code <counter> <microseconds before> <microseconds after>   (wall clock)\n\n"
    "  --list                  print the monitors, name x y width height, and leave\n"
    "  --geometry WxH+X+Y      where to paint; the whole screen otherwise\n"
    "  --load still|idle|text|motion|film|pointer   what moves (motion)\n"
    "  --code-every MS         mean time between two codes (100)\n"
    "  --fps N                 frames per second of text and motion (60)\n"
    "  --seconds N             leave after N seconds (never)\n"
    "  --caption TEXT          shown in the bar\n";

volatile std::sig_atomic_t ended = 0;

struct CommandLine {
  bool list = false;
  std::optional<PixelRect> geometry;
  int seconds = 0;
  int codeEvery = 100;  // ms
  int framesPerSecond = 60;
  PainterOptions painter;
};

std::optional<int> number(std::string_view text, int least) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || value < least) {
    return std::nullopt;
  }
  return value;
}

std::optional<PixelRect> geometry(const char* text) {
  PixelRect rect;
  int used = 0;
  if (std::sscanf(text, "%dx%d+%d+%d%n", &rect.width, &rect.height, &rect.x, &rect.y, &used) != 4 ||
      text[used] != '\0' || rect.empty()) {
    return std::nullopt;
  }
  return rect;
}

bool setLoad(std::string_view name, Load& load) {
  if (name == "still")
    load = Load::still;
  else if (name == "idle")
    load = Load::idle;
  else if (name == "text")
    load = Load::text;
  else if (name == "motion")
    load = Load::motion;
  else if (name == "film")
    load = Load::film;
  else if (name == "pointer")
    load = Load::pointer;
  else
    return false;
  return true;
}

bool setNumber(const char* text, int& field) {
  const auto value = number(text, 1);
  if (value) field = *value;
  return value.has_value();
}

bool parse(int argc, char** argv, CommandLine& line) {
  line.painter.caption = "Tessaline";
  for (int index = 1; index < argc; ++index) {
    const std::string_view option = argv[index];
    if (option == "--list") {
      line.list = true;
      continue;
    }
    if (++index == argc) return false;
    const char* value = argv[index];
    bool understood = false;
    if (option == "--geometry") {
      line.geometry = geometry(value);
      understood = line.geometry.has_value();
    } else if (option == "--load") {
      understood = setLoad(value, line.painter.load);
    } else if (option == "--code-every") {
      understood = setNumber(value, line.codeEvery);
    } else if (option == "--fps") {
      understood = setNumber(value, line.framesPerSecond);
    } else if (option == "--seconds") {
      understood = setNumber(value, line.seconds);
    } else if (option == "--caption") {
      line.painter.caption = value;
      understood = true;
    }
    if (!understood) return false;
  }
  return true;
}

void list(Canvas& canvas) {
  for (const auto& monitor : canvas.monitors()) {
    std::printf("%s %d %d %d %d\n", monitor.name.c_str(), monitor.bounds.x, monitor.bounds.y,
                monitor.bounds.width, monitor.bounds.height);
  }
}

void paint(Canvas& canvas, const CommandLine& line) {
  PainterOptions options = line.painter;
  options.bounds = line.geometry.value_or(canvas.wholeScreen());
  options.codeInterval = std::chrono::milliseconds(line.codeEvery);
  options.frameInterval = std::chrono::duration_cast<Duration>(
      std::chrono::duration<double>(1.0 / line.framesPerSecond));
  const auto end = Clock::now() + std::chrono::seconds(line.seconds);
  Painter painter(canvas, options);
  painter.run([&] { return ended != 0 || (line.seconds > 0 && Clock::now() >= end); },
              [](const Painter::Mark& mark) {
                std::printf("code %u %lld %lld\n", mark.counter,
                            static_cast<long long>(mark.before),
                            static_cast<long long>(mark.after));
                std::fflush(stdout);
              });
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine line;
  if (!parse(argc, argv, line)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  struct sigaction action {};
  action.sa_handler = [](int) { ended = 1; };
  for (const int signal : {SIGTERM, SIGINT}) sigaction(signal, &action, nullptr);
  // Qt only draws pictures here; the window is the canvas's own.
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const QGuiApplication application(argc, argv);

  auto canvas = Canvas::connect();
  if (!canvas) {
    std::fprintf(stderr, "painter: %s\n", canvas.error().c_str());
    return 1;
  }
  if (line.list)
    list(**canvas);
  else
    paint(**canvas, line);
  return 0;
}

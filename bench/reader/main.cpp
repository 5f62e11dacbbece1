#include <sys/prctl.h>

#include <QImage>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "reader/CodeReader.h"

namespace {

using namespace tessaline;
using namespace tessaline::bench;

constexpr char kUsage[] =
    "Reads the painter's code from an X screen, each time something on it has changed:\n"
    "  look <counter, or -> <microseconds>   (wall clock)\n\n"
    "  code_reader X Y                          where the code is\n"
    "  code_reader X Y pointer                  where the painter's window is: which of its two\n"
    "                                           places the pointer is at, as the counter\n"
    "  code_reader photograph WxH+X+Y FILE.png  takes a picture of a part of the screen instead\n";

volatile std::sig_atomic_t ended = 0;

int fail(const std::string& problem) {
  std::fprintf(stderr, "code_reader: %s\n", problem.c_str());
  return EXIT_FAILURE;
}

int photograph(const char* geometry, const char* file) {
  PixelRect rect;
  if (std::sscanf(geometry, "%dx%d+%d+%d", &rect.width, &rect.height, &rect.x, &rect.y) != 4 ||
      rect.empty()) {
    return fail("not a geometry");
  }
  auto grabber = ShmGrabber::connect({rect.width, rect.height});
  if (!grabber) return fail(grabber.error());
  if (!(*grabber)->grab(rect)) return fail("the screen has no such part");
  const QImage image((*grabber)->pixels(), rect.width, rect.height, QImage::Format_RGB32);
  return image.save(file, "PNG") ? EXIT_SUCCESS : fail("the file cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string_view(argv[1]) == "photograph") return photograph(argv[2], argv[3]);
  const bool pointer = argc == 4 && std::string_view(argv[3]) == "pointer";
  if (argc != 3 && !pointer) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  struct sigaction action {};
  action.sa_handler = [](int) { ended = 1; };
  for (const int signal : {SIGTERM, SIGINT}) sigaction(signal, &action, nullptr);
  auto reader = CodeReader::connect(std::atoi(argv[1]), std::atoi(argv[2]),
                                    pointer ? CodeReader::pointer : CodeReader::code);
  if (!reader) return fail(reader.error());
  (*reader)->run([] { return ended != 0; },
                 [](const CodeReader::Look& look) {
                   if (look.counter)
                     std::printf("look %u %lld\n", *look.counter, static_cast<long long>(look.at));
                   else
                     std::printf("look - %lld\n", static_cast<long long>(look.at));
                   std::fflush(stdout);
                 });
}

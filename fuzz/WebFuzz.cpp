#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "Targets.h"
#include "base/SafeText.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/VirtualQueues.h"
#include "web/TouchInput.h"
#include "web/WebLink.h"
#include "web/WebPage.h"
#include "web/WebScreenServer.h"

namespace tessaline::fuzz {
namespace {

using namespace std::chrono_literals;
using Opcode = platform::WebSocketConnection::Opcode;

// Long enough that no input spells it by chance, and none by accident in another way.
constexpr std::string_view kKey = "fuzzedkeyfuzzedkey22";
constexpr std::string_view kSettings =
    R"({"webKey":"fuzzedkeyfuzzedkey22","approvedDevices":{"known":"iPad"}})";
constexpr PixelRect kDisplay{1000, 0, 800, 600};  // where the desktop puts the display

// What a record begins with when it is no text message of the browser.
enum Kind : std::uint8_t {
  kBinary = 1,   // a binary message
  kRequest = 2,  // a request at the page's port
  kBrowse = 3,   // the browser goes and another comes; the network has this name for it
  kWait = 4,     // tenths of a second, one byte
  kAnswer = 5,   // a person answers the oldest question: yes where an odd byte follows
};

/// The pointer stays on the device's own display, and no button or key stays pressed.
void checkEvents(const std::vector<std::string>& events) {
  int pressed = 0;
  for (const auto& event : events) {
    if (event.starts_with("text ")) {
      require(repairUtf8(viewBytes(event)) == event);
      continue;
    }
    if (event.find(" down") != std::string::npos) ++pressed;
    if (event.find(" up") != std::string::npos) --pressed;
    int x = 0;
    int y = 0;
    const auto at = event.rfind('@');
    if (at == std::string::npos || event == "move @0,0") continue;  // 0,0: where it was before
    require(std::sscanf(event.c_str() + at, "@%d,%d", &x, &y) == 2);
    require(kDisplay.contains(x, y));
  }
  require(pressed == 0);
}

bool isShowable(const std::string& name) {
  return !name.empty() && withoutControls(name, '?') == name;
}

}  // namespace

void web(ByteView input) {
  const auto file = scratchFolder() / "web.json";
  std::ofstream(file, std::ios::trunc) << kSettings;
  test::VirtualQueues queues;
  test::FakeDesktop desktop;
  test::FakeCoding coding;
  test::FakeNetwork network;
  UserDefaults defaults(file);
  ApprovedDevices approved(defaults);
  TouchInput touches(queues.main(), defaults, desktop);
  WebScreenServer server({queues, desktop, coding, network, &touches}, defaults, approved);
  server.start();
  queues.run();
  auto socket = network.browse(queues);

  for (const ByteView record : records(input)) {
    const ByteView content = record.empty() ? record : record.subspan(1);
    switch (record.empty() ? 0 : record[0]) {
      case kBinary:
        socket->say({Opcode::binary, {content.begin(), content.end()}});
        break;
      case kRequest:
        require(WebPage::response(viewText(content)).starts_with("HTTP/1.1 200 OK\r\n"));
        break;
      case kBrowse:
        socket->cancel();
        if (const auto name = WebLink::networkName(std::string(viewText(content)))) {
          require(isShowable(*name));
        }
        socket = network.browse(queues);
        break;
      case kWait:
        queues.advance(content.empty() ? 100ms : content[0] * 100ms);
        break;
      case kAnswer:
        if (!approved.pending().empty()) {
          approved.answer(approved.pending()[0].id, !content.empty() && content[0] % 2 == 1);
        }
        break;
      default:
        socket->say(viewText(record));
    }
    queues.run();
    for (const auto& prompt : approved.pending()) {
      require(isShowable(prompt.deviceName));
    }
  }
  checkEvents(desktop.input.events);
  if (viewText(input).find(kKey) == std::string_view::npos) {
    require(desktop.attempts == 0 && desktop.input.events.empty() && approved.pending().empty());
  }
  socket->cancel();
  queues.advance(2s);
  require(server.sessions().empty() && desktop.displays.empty());
}

}  // namespace tessaline::fuzz

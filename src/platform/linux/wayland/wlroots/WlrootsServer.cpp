#include "platform/linux/wayland/wlroots/WlrootsServer.h"

#include <algorithm>
#include <cmath>
#include <future>

#include "base/Utf8.h"

namespace tessaline::platform {
namespace {

// What a compositor gets to remove displays in while the application ends.
constexpr std::chrono::seconds kLastPatience(1);

}  // namespace

WlrootsServer::WlrootsServer(Queues& queues, SessionProbe probe,
                             std::function<void(std::string reason)> onLost)
    : queue_(queues.thread("tessaline.wayland")),
      session_(std::make_shared<WlrootsSession>(std::move(probe), queue_, displays_)) {
  queue_->async([session = session_, lost = lost_, onLost = std::move(onLost)] {
    session->begin([lost, onLost](const std::string& reason) {
      *lost = true;
      onLost(reason);
    });
  });
}

WlrootsServer::~WlrootsServer() {
  auto ended = std::make_shared<std::promise<void>>();
  auto waiting = ended->get_future();
  queue_->async([session = std::move(session_), queue = queue_, ended] {
    session->close([session, queue, ended] {
      ended->set_value();
      queue->async([session] {});  // not from within what this is called by
    });
  });
  waiting.wait_for(kLastPatience);
}

void WlrootsServer::addDisplay(const WlrootsSession::Display& display) {
  ++extraDisplays_;
  queue_->async([session = session_, display] { session->addDisplay(display); });
}

void WlrootsServer::removeDisplay(DisplayID display) {
  --extraDisplays_;
  queue_->async([session = session_, display] { session->removeDisplay(display); });
}

void WlrootsServer::move(PointerLocation to) {
  const auto holds = [&](const DisplayInfo& display) {
    return display.bounds.contains(static_cast<int>(std::floor(to.x)),
                                   static_cast<int>(std::floor(to.y)));
  };
  if (std::ranges::any_of(displays_->list(), holds)) session_->seat().post(VirtualSeat::Move{to});
}

void WlrootsServer::button(std::uint32_t code, bool down) {
  session_->seat().post(VirtualSeat::Button{code, down});
}

void WlrootsServer::scroll(double dx, double dy) {
  session_->seat().post(VirtualSeat::Scroll{dx, dy});
}

void WlrootsServer::key(std::uint32_t code, bool down) {
  session_->seat().post(VirtualSeat::Key{code, down});
}

void WlrootsServer::type(const std::string& text) {
  session_->seat().post(VirtualSeat::Text{decodeUtf8(text)});
}

}  // namespace tessaline::platform

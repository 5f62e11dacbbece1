#include "platform/linux/x11/X11Server.h"

#include <algorithm>

#include "base/Log.h"
#include "platform/linux/x11/DisplayRemoval.h"

namespace tessaline::platform {
namespace {

// RandR 1.5 brought monitors.
constexpr std::uint32_t kRandrMajor = 1;
constexpr std::uint32_t kRandrMinor = 5;

constexpr std::uint16_t kLayoutEvents =
    XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
    XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE;

}  // namespace

X11Server::X11Server(std::shared_ptr<Queue> queue, std::shared_ptr<Queue> main,
                     std::string displayName)
    : queue_(std::move(queue)),
      displayName_(std::move(displayName)),
      directory_(std::make_shared<DisplayDirectory>()),
      pointer_(std::make_shared<X11Pointer>(queue_, directory_)),
      input_(std::make_shared<X11Input>(queue_, pointer_)),
      hotKeys_(std::make_shared<X11HotKeys>(queue_, std::move(main))) {}

Result<std::shared_ptr<X11Server>> X11Server::open(Queues& queues, const std::string& displayName,
                                                   std::function<void()> onLost) {
  std::shared_ptr<X11Server> server(
      new X11Server(queues.thread("tessaline.x11"), queues.main(), displayName));
  std::optional<std::string> error;
  server->queue_->sync([&] { error = server->connect(std::move(onLost)); });
  if (error) return Failure{*error};
  return server;
}

X11Server::~X11Server() {
  queue_->sync([this] {
    hotKeys_->detach();
    input_->detach();
    pointer_->detach();
    displays_.clear();
    connection_.reset();
  });
}

std::optional<std::string> X11Server::connect(std::function<void()> onLost) {
  auto opened = X11Connection::open(displayName_);
  if (!opened) return opened.error();
  connection_ = std::move(*opened);
  xcb_connection_t* c = connection_->get();
  const auto randr = connection_->extension(xcb_randr_id);
  if (!randr) return "the X server lacks the RandR extension";
  const Reply<xcb_randr_query_version_reply_t> version(xcb_randr_query_version_reply(
      c, xcb_randr_query_version(c, kRandrMajor, kRandrMinor), nullptr));
  if (!version || (version->major_version == kRandrMajor && version->minor_version < kRandrMinor)) {
    return "the X server's RandR extension is older than 1.5";
  }
  if (!pointer_->attach(*connection_, displayName_)) {
    return "the X server lacks the XFixes or the XInput 2 extension";
  }
  input_->attach(*connection_);
  hotKeys_->attach(*connection_);
  randrEvent_ = *randr;
  xcb_randr_select_input(c, connection_->root(), kLayoutEvents);
  const int removed = removeLeftOvers(*connection_);
  if (removed > 0) {
    log("X11: removed " + std::to_string(removed) + " display(s) that an earlier run left behind");
  }
  owner_.emplace(*connection_);
  connection_->watch(
      *queue_, [this](const auto& event) { handleEvent(event); }, [this] { handleIdle(); },
      std::move(onLost));
  return std::nullopt;
}

void X11Server::handleEvent(const xcb_generic_event_t& event) {
  const auto type = event.response_type & 0x7F;
  if (type == randrEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
      type == randrEvent_ + XCB_RANDR_NOTIFY) {
    layoutChanged_ = true;
  } else {
    pointer_->handleEvent(event);
    input_->handleEvent(event);
    hotKeys_->handleEvent(event);
  }
}

void X11Server::handleIdle() {
  if (std::exchange(layoutChanged_, false)) refreshDirectory();
  hotKeys_->update();
  pointer_->update();
}

void X11Server::refreshDirectory() {
  const RandrLayout layout = readRandrLayout(*connection_);
  DisplayDirectory::Entries entries;
  std::vector<xcb_randr_output_t> own;
  for (const auto& [id, display] : displays_) {
    display->follow(layout);
    const auto* monitor = layout.monitor(display->monitor());
    const PixelRect bounds = display->output() != XCB_NONE ? layout.boundsOf(display->output())
                             : monitor                     ? monitor->bounds
                                                           : PixelRect{};
    if (!bounds.empty()) entries[id] = {bounds, {display->output(), display->monitor()}, false};
    own.push_back(display->output());
  }
  for (const auto& output : layout.outputs) {
    const PixelRect bounds = layout.boundsOf(output.id);
    if (bounds.empty() || std::ranges::count(own, output.id) > 0) continue;
    entries[output.id] = {bounds, {output.id, XCB_NONE}, output.id == layout.primary};
  }
  directory_->replace(std::move(entries));
}

std::optional<std::string> X11Server::obstacle(PixelSize size) {
  std::optional<std::string> problem;
  queue_->sync([&] {
    problem = connection_->lost() ? std::optional<std::string>("the X server has gone")
                                  : RandrDisplay::obstacle(readRandrLayout(*connection_), size);
    connection_->dispatch();
  });
  return problem;
}

std::optional<std::string> X11Server::addDisplay(DisplayID id,
                                                 const RandrDisplay::Request& request) {
  std::optional<std::string> problem;
  queue_->sync([&] {
    auto created = RandrDisplay::create(*connection_, *owner_, request);
    if (created) {
      displays_[id] = std::move(*created);
    } else {
      problem = created.error();
    }
    layoutChanged_ = true;
    connection_->dispatch();
  });
  return problem;
}

void X11Server::removeDisplay(DisplayID id) {
  queue_->sync([&] {
    displays_.erase(id);
    layoutChanged_ = true;
    connection_->dispatch();
  });
}

}  // namespace tessaline::platform

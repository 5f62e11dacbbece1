#include "platform/linux/x11/MotionRecorder.h"

#include <xcb/record.h>
#include <xcb/xcbext.h>

namespace tessaline::platform {

std::unique_ptr<MotionRecorder> MotionRecorder::start(const std::string& displayName,
                                                      const Queue& queue,
                                                      std::function<void()> onMotion) {
  auto opened = X11Connection::open(displayName);
  if (!opened || !(*opened)->extension(xcb_record_id)) return nullptr;
  std::unique_ptr<MotionRecorder> recorder(
      new MotionRecorder(std::move(*opened), std::move(onMotion)));
  xcb_connection_t* c = recorder->connection_->get();
  const xcb_record_context_t context = xcb_generate_id(c);
  const xcb_record_client_spec_t clients = XCB_RECORD_CS_ALL_CLIENTS;
  xcb_record_range_t range{};
  range.device_events = {XCB_MOTION_NOTIFY, XCB_MOTION_NOTIFY};
  if (!recorder->connection_->succeeded(
          xcb_record_create_context_checked(c, context, 0, 1, 1, &clients, &range))) {
    return nullptr;
  }
  // Its first answer says that recording has begun: what moves from here on is seen.
  const auto enabled = xcb_record_enable_context(c, context);
  recorder->sequence_ = enabled.sequence;
  const Reply<xcb_record_enable_context_reply_t> begun(
      xcb_record_enable_context_reply(c, enabled, nullptr));
  if (!begun) return nullptr;
  recorder->connection_->watch(
      queue, [](const auto&) {}, [self = recorder.get()] { self->readReplies(); }, [] {});
  return recorder;
}

void MotionRecorder::readReplies() {
  bool moved = false;
  void* memory = nullptr;
  while (xcb_poll_for_reply(connection_->get(), sequence_, &memory, nullptr) != 0 && memory) {
    const Reply<xcb_record_enable_context_reply_t> reply(
        static_cast<xcb_record_enable_context_reply_t*>(std::exchange(memory, nullptr)));
    moved = moved || reply->category == 0;  // 0: data of the server
  }
  if (moved) onMotion_();
}

}  // namespace tessaline::platform

#include "platform/wayland/screencast/PrivatePipeWire.h"

#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace tessaline::test {
namespace {

// With room for an image, which consumers insist on.
constexpr std::size_t kCursorBytes =
    sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + 64UL * 64 * 4;
constexpr int kRegions = 8;

template <typename T>
T* metaOf(const spa_buffer& buffer, std::uint32_t type) {
  return static_cast<T*>(spa_buffer_find_meta_data(&buffer, type, sizeof(T)));
}

spa_region regionOf(const PixelRect& rect) {
  return {{rect.x, rect.y},
          {static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height)}};
}

}  // namespace

std::unique_ptr<PrivatePipeWire> PrivatePipeWire::start(std::string& problem) {
  for (const char* const program : {"pipewire", "wireplumber"}) {
    if (Program({program, "--version"}).wait() == 0) continue;
    problem = std::string(program) + " is not installed";
    return nullptr;
  }
  if (!SessionBus::available()) {
    problem = "dbus-daemon is not installed";
    return nullptr;
  }
  std::unique_ptr<PrivatePipeWire> there(new PrivatePipeWire);
  ::setenv("XDG_RUNTIME_DIR", there->folder_.path().c_str(), 1);
  ::setenv("XDG_STATE_HOME", there->folder_.path().c_str(), 1);
  there->bus_ = std::make_unique<SessionBus>();
  there->daemon_ = std::make_unique<Program>(std::vector<std::string>{"pipewire"});
  if (!eventually([&] { return std::filesystem::exists(there->folder_.path() / "pipewire-0"); })) {
    problem = "the daemon of PipeWire does not start here";
    return nullptr;
  }
  there->manager_ = std::make_unique<Program>(std::vector<std::string>{"wireplumber"});
  return there;
}

PrivatePipeWire::~PrivatePipeWire() {
  ::unsetenv("XDG_RUNTIME_DIR");
  ::unsetenv("XDG_STATE_HOME");
}

CastSource::CastSource(PixelSize size) : size_(size) {
  pw_init(nullptr, nullptr);
  loop_ = pw_thread_loop_new("source", nullptr);
  context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
  core_ = pw_context_connect(context_, nullptr, 0);
  if (!core_) return;
  stream_ = pw_stream_new(core_, "test desktop",
                          pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", nullptr));
  events_.version = PW_VERSION_STREAM_EVENTS;
  events_.param_changed = [](void* data, std::uint32_t id, const spa_pod* param) {
    if (!param || id != SPA_PARAM_Format) return;
    auto* const self = static_cast<CastSource*>(data);
    std::array<std::uint8_t, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memory.size());
    std::vector<const spa_pod*> params;
    params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(8, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
        SPA_PARAM_BUFFERS_size, SPA_POD_Int(self->size_.width * self->size_.height * 4),
        SPA_PARAM_BUFFERS_stride, SPA_POD_Int(self->size_.width * 4), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd))));
    const auto meta = [&](std::uint32_t type, std::size_t bytes) {
      params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
          &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
          SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(bytes)))));
    };
    meta(SPA_META_Header, sizeof(spa_meta_header));
    meta(SPA_META_VideoCrop, sizeof(spa_meta_region));
    meta(SPA_META_VideoDamage, sizeof(spa_meta_region) * kRegions);
    meta(SPA_META_Cursor, kCursorBytes);
    pw_stream_update_params(self->stream_, params.data(),
                            static_cast<std::uint32_t>(params.size()));
  };
  events_.state_changed = [](void* data, pw_stream_state, pw_stream_state state, const char*) {
    if (state == PW_STREAM_STATE_STREAMING) ++static_cast<CastSource*>(data)->starts_;
  };
  events_.add_buffer = [](void* data, pw_buffer* buffer) {
    const auto bytes = static_cast<CastSource*>(data)->pictureBytes();
    spa_data& memory = buffer->buffer->datas[0];
    const int file = ::memfd_create("picture", MFD_CLOEXEC);
    if (file < 0 || ::ftruncate(file, static_cast<off_t>(bytes)) != 0) std::abort();
    memory.type = SPA_DATA_MemFd;
    memory.flags = SPA_DATA_FLAG_READWRITE;
    memory.fd = file;
    memory.mapoffset = 0;
    memory.maxsize = static_cast<std::uint32_t>(bytes);
    memory.data = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  };
  events_.remove_buffer = [](void* data, pw_buffer* buffer) {
    const spa_data& memory = buffer->buffer->datas[0];
    ::munmap(memory.data, static_cast<CastSource*>(data)->pictureBytes());
    ::close(static_cast<int>(memory.fd));
  };
  pw_stream_add_listener(stream_, &hook_, &events_, this);

  std::array<std::uint8_t, 1024> memory{};
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory.data(), memory.size());
  const spa_rectangle rectangle{static_cast<std::uint32_t>(size.width),
                                static_cast<std::uint32_t>(size.height)};
  const spa_fraction changing{0, 1};
  const spa_fraction slowest{1, 1};
  const spa_fraction fastest{1000, 1};
  const auto* offer = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
      SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
      SPA_FORMAT_VIDEO_format, SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_size,
      SPA_POD_Rectangle(&rectangle), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&changing),
      SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_CHOICE_RANGE_Fraction(&fastest, &slowest, &fastest)));
  const auto flags =
      static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_ALLOC_BUFFERS);
  pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &offer, 1);
  pw_thread_loop_start(loop_);
}

CastSource::~CastSource() {
  pw_thread_loop_stop(loop_);
  if (stream_) pw_stream_destroy(stream_);
  if (core_) pw_core_disconnect(core_);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(loop_);
}

std::uint32_t CastSource::node() {
  std::uint32_t id = SPA_ID_INVALID;
  eventually([&] {
    pw_thread_loop_lock(loop_);
    if (stream_) id = pw_stream_get_node_id(stream_);
    pw_thread_loop_unlock(loop_);
    return id != SPA_ID_INVALID;
  });
  return id == SPA_ID_INVALID ? 0 : id;
}

bool CastSource::send(const Buffer& content) {
  return eventually([&] { return trySend(content, true); });
}

bool CastSource::lose(const Buffer& content) {
  return eventually([&] { return trySend(content, false); });
}

bool CastSource::trySend(const Buffer& content, bool arrives) {
  pw_thread_loop_lock(loop_);
  pw_buffer* const buffer = pw_stream_get_state(stream_, nullptr) == PW_STREAM_STATE_STREAMING
                                ? pw_stream_dequeue_buffer(stream_)
                                : nullptr;
  if (buffer) {
    fill(*buffer, content);
    if (arrives) pw_stream_queue_buffer(stream_, buffer);
  }
  pw_thread_loop_unlock(loop_);
  return buffer != nullptr;
}

void CastSource::fill(pw_buffer& buffer, const Buffer& content) {
  const spa_buffer& target = *buffer.buffer;
  spa_data& data = target.datas[0];
  const std::size_t pixels = pictureBytes() / 4;
  auto* const to = static_cast<std::uint32_t*>(data.data);
  std::fill(to, to + pixels, content.colour);
  const auto bytes = static_cast<std::uint32_t>(content.picture ? pixels * 4 : 0);
  *data.chunk = {0, bytes, size_.width * 4, 0};
  if (auto* const header = metaOf<spa_meta_header>(target, SPA_META_Header)) {
    header->pts = content.timed ? ++time_ : 0;
  }
  if (auto* const crop = metaOf<spa_meta_region>(target, SPA_META_VideoCrop)) {
    crop->region = regionOf(content.crop.value_or(PixelRect()));
  }
  if (spa_meta* const damage = spa_buffer_find_meta(&target, SPA_META_VideoDamage)) {
    std::memset(damage->data, 0, damage->size);
    auto* entry = static_cast<spa_meta_region*>(damage->data);
    for (const auto& rect : content.damage) (entry++)->region = regionOf(rect);
  }
  if (auto* const cursor = metaOf<spa_meta_cursor>(target, SPA_META_Cursor)) {
    *cursor = {1, 0, {content.pointer.x, content.pointer.y}, {0, 0}, 0};
    if (content.imageSide > 0) {
      cursor->bitmap_offset = sizeof(spa_meta_cursor);
      const auto side = static_cast<std::uint32_t>(content.imageSide);
      const spa_meta_bitmap bitmap{
          SPA_VIDEO_FORMAT_RGBA, {side, side}, content.imageSide * 4, sizeof(spa_meta_bitmap)};
      std::memcpy(cursor + 1, &bitmap, sizeof(bitmap));
    }
  }
}

}  // namespace tessaline::test

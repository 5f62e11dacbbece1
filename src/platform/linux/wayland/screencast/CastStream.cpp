#include "platform/linux/wayland/screencast/CastStream.h"

#include <spa/param/param.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/Log.h"
#include "platform/linux/wayland/screencast/CastFormat.h"
#include "platform/linux/wayland/screencast/CastMeta.h"
#include "platform/linux/wayland/screencast/CastPointer.h"

namespace tessaline::platform {
namespace {

// How long a stream may take to run, at the beginning or after a pause (a change of its size makes
// one of some 100 ms), before it counts as gone: longer than a busy desktop needs.
constexpr std::time_t kPatience = 10;  // seconds

// After something has come, how soon it is looked whether something else has not: longer than a
// buffer is on its way, shorter than a person waits.
constexpr std::chrono::milliseconds kLossCheck(100);

PixelRect rectOf(const spa_region& region) {
  // A size that is no positive int is left to the reader of the rectangle, who finds it empty.
  return {region.position.x, region.position.y, static_cast<int>(region.size.width),
          static_cast<int>(region.size.height)};
}

bool inside(const PixelRect& rect, PixelSize size) {
  return !rect.empty() && rect.x >= 0 && rect.y >= 0 && rect.width <= size.width &&
         rect.height <= size.height && rect.x <= size.width - rect.width &&
         rect.y <= size.height - rect.height;
}

pw_context* newContext(pw_loop* loop) {
  // PipeWire drops a buffer that comes before this process has taken the one before, so what takes
  // them is to run before others. Newer versions of PipeWire have it so without being asked.
  auto* const urgent = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr);
  pw_context* const context = pw_context_new(loop, urgent, 0);
  return context ? context : pw_context_new(loop, nullptr, 0);
}

}  // namespace

struct CastStream::Hooks {
  Hooks() {
    core.version = PW_VERSION_CORE_EVENTS;
    core.error = [](void* data, std::uint32_t id, int, int result, const char*) {
      if (id != PW_ID_CORE || result != -EPIPE) return;
      static_cast<CastStream*>(data)->end("PipeWire has gone");
    };
    registry.version = PW_VERSION_REGISTRY_EVENTS;
    registry.global = [](void* data, std::uint32_t id, std::uint32_t, const char*, std::uint32_t,
                         const spa_dict*) {
      auto* const self = static_cast<CastStream*>(data);
      if (id == self->node_) self->nodeSeen_ = true;
    };
    registry.global_remove = [](void* data, std::uint32_t id) {
      auto* const self = static_cast<CastStream*>(data);
      if (id == self->node_) self->end("the desktop has ended the screen cast");
    };
    stream.version = PW_VERSION_STREAM_EVENTS;
    stream.state_changed = [](void* data, pw_stream_state, pw_stream_state state,
                              const char* error) {
      static_cast<CastStream*>(data)->changeState(state, error);
    };
    stream.param_changed = [](void* data, std::uint32_t id, const spa_pod* param) {
      if (id == SPA_PARAM_Format) static_cast<CastStream*>(data)->changeFormat(param);
    };
    stream.add_buffer = [](void* data, pw_buffer* buffer) {
      static_cast<CastStream*>(data)->addBuffer(buffer);
    };
    stream.remove_buffer = [](void* data, pw_buffer* buffer) {
      static_cast<CastStream*>(data)->removeBuffer(buffer);
    };
    stream.process = [](void* data) { static_cast<CastStream*>(data)->process(); };
  }

  pw_core_events core{};
  pw_registry_events registry{};
  pw_stream_events stream{};
  spa_hook coreHook{};
  spa_hook registryHook{};
  spa_hook streamHook{};
};

CastStream::CastStream(std::shared_ptr<CastFrames> frames, Pointer pointer, Events events)
    : frames_(std::move(frames)),
      pointer_(std::move(pointer)),
      events_(std::move(events)),
      hooks_(std::make_unique<Hooks>()) {
  static const bool initialised = (pw_init(nullptr, nullptr), true);
  static_cast<void>(initialised);
}

CastStream::~CastStream() {
  if (loop_) pw_thread_loop_stop(loop_);
  // From here on nothing else runs; what still holds a picture keeps its memory.
  returns_->close();
  if (stream_) pw_stream_destroy(stream_);
  if (registry_) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  if (core_) pw_core_disconnect(core_);
  if (patience_) pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), patience_);
  if (returned_) pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), returned_);
  if (lossCheck_) pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), lossCheck_);
  if (context_) pw_context_destroy(context_);
  if (loop_) pw_thread_loop_destroy(loop_);
  pointer_.shared->leave(pointer_.display);
}

std::optional<std::string> CastStream::open(ScreenCast::Source source,
                                            const ScreenCast::Wish& wish) {
  node_ = source.node;
  if (!connect(source.remote)) {
    return std::string("cannot connect to PipeWire: ") + std::strerror(errno);
  }
  if (!openStream(wish)) return std::string("cannot open a stream: ") + std::strerror(errno);
  watch(true);
  if (pw_thread_loop_start(loop_) < 0) return "cannot start the thread of PipeWire";
  return std::nullopt;
}

// Before the thread starts nobody else uses any of this: no lock is needed.
bool CastStream::connect(int remote) {
  loop_ = pw_thread_loop_new("pipewire", nullptr);
  pw_loop* const loop = loop_ ? pw_thread_loop_get_loop(loop_) : nullptr;
  context_ = loop ? newContext(loop) : nullptr;
  if (!context_) {
    if (remote >= 0) ::close(remote);
    return false;
  }
  patience_ = pw_loop_add_timer(
      loop, [](void* data, std::uint64_t) { static_cast<CastStream*>(data)->runOut(); }, this);
  returned_ = pw_loop_add_event(
      loop, [](void* data, std::uint64_t) { static_cast<CastStream*>(data)->comeBack(); }, this);
  lossCheck_ = pw_loop_add_timer(
      loop, [](void* data, std::uint64_t) { static_cast<CastStream*>(data)->checkLosses(); }, this);
  returns_->open(loop, returned_);
  core_ = remote >= 0 ? pw_context_connect_fd(context_, remote, nullptr, 0)
                      : pw_context_connect(context_, nullptr, 0);
  if (!core_ || !patience_ || !returned_ || !lossCheck_) return false;
  pw_core_add_listener(core_, &hooks_->coreHook, &hooks_->core, this);
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  if (!registry_) return false;
  pw_registry_add_listener(registry_, &hooks_->registryHook, &hooks_->registry, this);
  return true;
}

bool CastStream::openStream(const ScreenCast::Wish& wish) {
  // Without the last two a session manager would show a camera once the display has gone.
  auto* const properties = pw_properties_new(
      PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Screen",
      PW_KEY_NODE_DONT_RECONNECT, "true", "node.dont-fallback", "true", nullptr);
  stream_ = pw_stream_new(core_, "tessaline", properties);
  if (!stream_) return false;
  pw_stream_add_listener(stream_, &hooks_->streamHook, &hooks_->stream, this);
  CastParameters formats;
  formats.offerFormats(wish);
  const auto flags =
      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);
  const int result =
      pw_stream_connect(stream_, PW_DIRECTION_INPUT, node_, flags, formats.list(), formats.count());
  if (result < 0) errno = -result;
  return result >= 0;
}

void CastStream::watch(bool waiting) {
  timespec after{waiting ? kPatience : 0, 0};
  pw_loop_update_timer(pw_thread_loop_get_loop(loop_), patience_, &after, nullptr, false);
}

void CastStream::runOut() {
  if (!nodeSeen_) return end("the desktop's screen cast is not there");
  if (!format_) return end("no kind of picture was agreed on with the desktop");
  end(ran_ ? "the desktop has paused the screen cast" : "the desktop does not send pictures");
}

void CastStream::awaitLossCheck() {
  if (std::exchange(lossCheckWaits_, true)) return;
  timespec after{0, std::chrono::nanoseconds(kLossCheck).count()};
  pw_loop_update_timer(pw_thread_loop_get_loop(loop_), lossCheck_, &after, nullptr, false);
}

void CastStream::checkLosses() {
  lossCheckWaits_ = false;
  if (ended_ || pw_stream_get_state(stream_, nullptr) != PW_STREAM_STATE_STREAMING) return;
  std::vector<const spa_buffer*> buffers;
  for (const auto& [buffer, slot] : slots_) buffers.push_back(buffer->buffer);
  const CastLosses::Found found = losses_.check(buffers);
  // Written halfway at worst, and then it arrives whole.
  if (found.image) readPointer(*found.image, PointerPart::image);
  if (found.place) readPointer(*found.place, PointerPart::place);
  const bool rested = awaitsRest_ && !std::exchange(news_, false);
  if (rested) awaitsRest_ = false;
  if (found.picture) {
    // A compositor that begins to send begins with a whole picture.
    renewing_ = true;
    pw_stream_set_active(stream_, false);
  } else if (found.something || rested) {
    events_.onStill();
  }
  if (found.picture || found.something || awaitsRest_) awaitLossCheck();
}

void CastStream::awaitRest() {
  news_ = true;
  awaitsRest_ = !damageTold_;
}

void CastStream::changeState(pw_stream_state state, const char* error) {
  if (ended_) return;
  switch (state) {
    case PW_STREAM_STATE_ERROR:
      return end(std::string("the screen cast has failed: ") + (error ? error : "no reason given"));
    case PW_STREAM_STATE_UNCONNECTED:
      return end("the desktop has ended the screen cast");
    case PW_STREAM_STATE_CONNECTING:
      return;
    case PW_STREAM_STATE_PAUSED:
      if (std::exchange(renewing_, false)) pw_stream_set_active(stream_, true);
      return watch(true);
    case PW_STREAM_STATE_STREAMING:
      ran_ = true;
      awaitLossCheck();
      return watch(false);
  }
}

void CastStream::changeFormat(const spa_pod* format) {
  if (ended_ || !format) return;
  auto agreed = CastFormat::parse(format);
  if (!agreed) return end(agreed.error());
  format_ = agreed->size;
  CastParameters parameters;
  parameters.askForBuffers(agreed->graphicsMemory);
  pw_stream_update_params(stream_, parameters.list(), parameters.count());
  origin_ = {};
  announce(*format_);
}

void CastStream::announce(PixelSize size) {
  if (announced_ == size) return;
  announced_ = size;
  frames_->resize(size);
  events_.onFormat(size);
}

void CastStream::addBuffer(pw_buffer* buffer) {
  auto slot = std::make_shared<CastSlot>();
  slot->buffer = buffer;
  if (buffer->buffer->n_datas > 0) {
    auto mapped = CastMemory::map(buffer->buffer->datas[0]);
    if (!mapped) return end(mapped.error());
    slot->memory = *mapped;
  }
  slots_[buffer] = std::move(slot);
}

void CastStream::removeBuffer(pw_buffer* buffer) {
  const auto found = slots_.find(buffer);
  if (found == slots_.end()) return;
  found->second->buffer = nullptr;
  slots_.erase(found);
}

void CastStream::process() {
  std::shared_ptr<const CastPicture> newest;
  std::optional<std::vector<PixelRect>> damage = std::vector<PixelRect>();
  bool news = false;
  while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_)) {
    const PixelPoint origin = origin_;
    auto picture = ended_ ? nullptr : pictureIn(buffer);
    if (!ended_) news |= readPointer(*buffer->buffer, PointerPart::all);
    losses_.arrived(*buffer->buffer);
    if (!picture) {
      pw_stream_queue_buffer(stream_, buffer);
      continue;
    }
    const auto more = damageIn(*buffer->buffer, picture->size);
    if (!more || origin != origin_) {
      damage.reset();
    } else if (damage) {
      damage->insert(damage->end(), more->begin(), more->end());
    }
    newest = std::move(picture);  // an older one goes back
  }
  if (newest && !damage) damage = frames_->changesIn(*newest);
  if (newest && (!damage || !damage->empty())) {
    frames_->replace(std::move(newest), damage);
    // One that cannot be compared may be the answer to the end of the last rest.
    if (damage) news = true;
  }
  newest.reset();
  if (news) awaitRest();
  awaitLossCheck();
  comeBack();
}

void CastStream::comeBack() {
  for (const auto& slot : returns_->collect()) {
    if (stream_ && slot->buffer) pw_stream_queue_buffer(stream_, slot->buffer);
  }
}

std::shared_ptr<const CastPicture> CastStream::pictureIn(pw_buffer* buffer) {
  const auto slot = slots_.find(buffer);
  const spa_buffer& content = *buffer->buffer;
  if (slot == slots_.end() || !slot->second->memory || !format_) return nullptr;
  if (!castHasPicture(content)) return nullptr;
  spa_chunk chunk{};
  std::memcpy(&chunk, content.datas[0].chunk, sizeof(chunk));
  const CastMemory& memory = *slot->second->memory;
  const auto rowBytes = static_cast<std::size_t>(format_->width) * 4;
  const std::size_t stride = chunk.stride == 0 ? rowBytes : static_cast<std::size_t>(chunk.stride);
  const std::size_t rows = static_cast<std::size_t>(format_->height);
  if (chunk.stride < 0 || stride < rowBytes || chunk.offset > memory.size() ||
      stride > memory.size() || stride * (rows - 1) + rowBytes > memory.size() - chunk.offset) {
    if (!std::exchange(nonsenseLogged_, true)) {
      log("screen cast: a picture does not fit into its buffer and is left out");
    }
    return nullptr;
  }

  PixelRect part{0, 0, format_->width, format_->height};
  if (const auto crop = castMeta<spa_meta_region>(content, SPA_META_VideoCrop)) {
    const PixelRect wanted = rectOf(crop->region);
    if (inside(wanted, *format_)) part = wanted;
  }
  origin_ = {part.x, part.y};
  announce({part.width, part.height});
  const auto* const bgra = memory.bytes() + chunk.offset +
                           static_cast<std::size_t>(part.y) * stride +
                           static_cast<std::size_t>(part.x) * 4;
  const CastPicture picture{
      slot->second->memory, bgra, static_cast<int>(stride), {part.width, part.height}};
  return {new CastPicture(picture),
          [returns = returns_, slot = slot->second](const CastPicture* done) {
            delete done;
            returns->giveBack(slot);
          }};
}

std::optional<std::vector<PixelRect>> CastStream::damageIn(const spa_buffer& buffer,
                                                           PixelSize picture) {
  const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
  if (meta) damageTold_ = true;
  if (!meta || !damageBelieved_) return std::nullopt;
  std::vector<PixelRect> rects;
  const PixelRect whole{0, 0, picture.width, picture.height};
  for (std::size_t at = 0; at + sizeof(spa_meta_region) <= meta->size;
       at += sizeof(spa_meta_region)) {
    spa_meta_region entry{};
    std::memcpy(&entry, static_cast<const std::uint8_t*>(meta->data) + at, sizeof(entry));
    if (!spa_meta_region_is_valid(&entry)) break;
    PixelRect rect = rectOf(entry.region);
    // Mutter 48 gives places on the whole desktop, some of which look like ones on this display:
    // once one cannot be, none is believed.
    if (!inside(rect, *format_)) {
      damageBelieved_ = false;
      return std::nullopt;
    }
    rect.x -= origin_.x;
    rect.y -= origin_.y;
    rect = intersected(rect, whole);
    if (!rect.empty()) rects.push_back(rect);
  }
  if (rects.empty()) return std::nullopt;
  return rects;
}

bool CastStream::readPointer(const spa_buffer& buffer, PointerPart part) {
  const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_Cursor);
  if (!meta || !announced_) return false;
  auto pointer = CastPointer::read({static_cast<const std::uint8_t*>(meta->data), meta->size});
  if (!pointer) return false;
  const bool newImage = part != PointerPart::place && pointer->image;
  if (newImage) pointer_.shared->show(std::move(*pointer->image));
  if (part == PointerPart::image) return newImage;
  const std::int64_t x = std::int64_t{pointer->position.x} - origin_.x;
  const std::int64_t y = std::int64_t{pointer->position.y} - origin_.y;
  const bool on =
      pointer->here && x >= 0 && y >= 0 && x < announced_->width && y < announced_->height;
  if (on) {
    pointer_.shared->place(pointer_.display, static_cast<double>(x), static_cast<double>(y));
  } else {
    pointer_.shared->leave(pointer_.display);
  }
  const auto before = std::exchange(
      pointerAt_,
      on ? std::optional(PixelPoint{static_cast<int>(x), static_cast<int>(y)}) : std::nullopt);
  return newImage || before != pointerAt_;
}

void CastStream::end(const std::string& description) {
  if (std::exchange(ended_, true)) return;
  watch(false);
  pointer_.shared->leave(pointer_.display);
  frames_->end(description);
  events_.onEnded(description);
  // This may be a callback of the stream, so it is left alone until the owner destroys all of it.
  // Until then its buffers go back as they come, the newest picture's first of all.
  pw_loop_signal_event(pw_thread_loop_get_loop(loop_), returned_);
}

}  // namespace tessaline::platform

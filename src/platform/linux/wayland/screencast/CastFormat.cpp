#include "platform/linux/wayland/screencast/CastFormat.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include "platform/linux/wayland/screencast/CastPointer.h"

namespace tessaline::platform {
namespace {

// Mutter before 50 drops each frame that comes a trifle early for the interval asked for: asked
// for 60 a second it gives 30 to 40. Half as many again give it room without having every program
// on the display draw twice as often; the capture keeps to its own interval anyway.
constexpr unsigned kRateNumerator = 3;
constexpr unsigned kRateDenominator = 2;

constexpr int kSideLimit = 16384;  // pixels
// One waits as the newest picture, one is being converted; the compositor needs one to draw into.
// Some more are on the way back: each comes back with the next picture only, and Mutter before 44
// leaves out for good what it finds no buffer for.
constexpr int kFewestBuffers = 3;
constexpr int kWantedBuffers = 8;
constexpr int kMostBuffers = 16;
constexpr int kMostDamage = 32;  // rectangles
constexpr int kSomeDamage = 16;
constexpr int kSomePointer = 64;             // pixels
constexpr std::int64_t kLinearModifier = 0;  // DRM_FORMAT_MOD_LINEAR: plain rows

spa_rectangle rectangle(int width, int height) {
  return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

const spa_pod* format(spa_pod_builder& builder, const ScreenCast::Wish& wish, bool graphicsMemory,
                      bool fixedRate) {
  const spa_rectangle size = rectangle(wish.size.width, wish.size.height);
  const spa_rectangle smallest = rectangle(1, 1);
  const spa_rectangle largest = rectangle(kSideLimit, kSideLimit);
  const spa_fraction changing{0, 1};
  const spa_fraction slowest{1, 1};
  const spa_fraction fastest{1000, 1};
  const spa_fraction rate{
      static_cast<std::uint32_t>(wish.framesPerSecond) * kRateNumerator / kRateDenominator, 1};
  spa_pod_frame frame{};
  spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
  spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                      SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
                      SPA_FORMAT_VIDEO_format,
                      SPA_POD_CHOICE_ENUM_Id(3, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx,
                                             SPA_VIDEO_FORMAT_BGRA),
                      0);
  if (graphicsMemory) {
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_modifier, SPA_POD_PROP_FLAG_MANDATORY);
    spa_pod_builder_long(&builder, kLinearModifier);
  }
  if (wish.fixedSize) {
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), 0);
  } else {
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size,
                        SPA_POD_CHOICE_RANGE_Rectangle(&size, &smallest, &largest), 0);
  }
  spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&changing), 0);
  if (fixedRate) {
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_Fraction(&rate), 0);
  } else {
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_maxFramerate,
                        SPA_POD_CHOICE_RANGE_Fraction(&rate, &slowest, &fastest), 0);
  }
  return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

const spa_pod* meta(spa_pod_builder& builder, std::uint32_t type, int wanted, int least, int most) {
  return static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
      SPA_PARAM_META_size, SPA_POD_CHOICE_RANGE_Int(wanted, least, most)));
}

}  // namespace

void CastParameters::offerFormats(const ScreenCast::Wish& wish) {
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory_.data(), static_cast<std::uint32_t>(memory_.size()));
  list_.clear();
  // Reading graphics memory from here is slow, so shared memory comes first. A virtual monitor
  // takes its own rate from a fixed one; a real one has a rate of its own.
  for (const bool graphicsMemory : {false, true}) {
    for (const bool fixedRate : {true, false}) {
      list_.push_back(format(builder, wish, graphicsMemory, fixedRate));
    }
  }
}

void CastParameters::askForBuffers(bool graphicsMemory) {
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory_.data(), static_cast<std::uint32_t>(memory_.size()));
  list_.clear();
  const int memory = 1 << (graphicsMemory ? SPA_DATA_DmaBuf : SPA_DATA_MemFd);
  list_.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
      SPA_POD_CHOICE_RANGE_Int(kWantedBuffers, kFewestBuffers, kMostBuffers),
      SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(memory))));
  constexpr int header = sizeof(spa_meta_header);
  constexpr int region = sizeof(spa_meta_region);
  list_.push_back(meta(builder, SPA_META_Header, header, header, header));
  list_.push_back(meta(builder, SPA_META_VideoCrop, region, region, region));
  list_.push_back(
      meta(builder, SPA_META_VideoDamage, region * kSomeDamage, region, region * kMostDamage));
  list_.push_back(meta(builder, SPA_META_Cursor, castPointerBytes(kSomePointer),
                       castPointerBytes(1), castPointerBytes(kMaximumPointerSide)));
}

Result<CastFormat> CastFormat::parse(const spa_pod* format) {
  const Failure unknown{"the desktop offers no kind of picture that is understood here"};
  std::uint32_t type = 0;
  std::uint32_t subtype = 0;
  if (spa_format_parse(format, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video ||
      subtype != SPA_MEDIA_SUBTYPE_raw) {
    return unknown;
  }
  spa_video_info_raw info{};
  if (spa_format_video_raw_parse(format, &info) < 0) return unknown;
  if (info.format != SPA_VIDEO_FORMAT_BGRx && info.format != SPA_VIDEO_FORMAT_BGRA) return unknown;
  CastFormat agreed;
  agreed.graphicsMemory = (info.flags & SPA_VIDEO_FLAG_MODIFIER) != 0;
  if (agreed.graphicsMemory && info.modifier != kLinearModifier) return unknown;
  const auto usable = [](std::uint32_t side) { return side > 0 && side <= kSideLimit; };
  if (!usable(info.size.width) || !usable(info.size.height)) return unknown;
  agreed.size = {static_cast<int>(info.size.width), static_cast<int>(info.size.height)};
  return agreed;
}

}  // namespace tessaline::platform

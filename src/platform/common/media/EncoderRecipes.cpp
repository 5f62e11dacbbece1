#include "platform/common/media/EncoderRecipes.h"

namespace tessaline::platform {
namespace {

constexpr int kX264Threads = 1;
constexpr double kX264BufferFrames = 4;

}  // namespace

EncoderRecipe nvencRecipe() {
  return {.codec = "h264_nvenc",
          .options = {{"preset", "p2"},
                      {"tune", "ull"},
                      {"profile", "high"},
                      {"rc", "cbr"},
                      {"zerolatency", "1"},
                      {"delay", "0"},
                      {"no-scenecut", "1"},
                      {"forced-idr", "1"},
                      {"strict_gop", "1"}},
          .bufferFrames = 4};
}

EncoderRecipe vaapiRecipe() {
  return {.codec = "h264_vaapi",
          .options = {{"profile", "high"}, {"rc_mode", "CBR"}, {"async_depth", "1"}, {"sei", "0"}},
          .uploads = true,
          .bufferFrames = 4};
}

EncoderRecipe x264Recipe() {
  return {.codec = "libx264",
          .options = {{"preset", "ultrafast"},
                      {"tune", "zerolatency"},
                      {"forced-idr", "1"},
                      {"x264-params", "annexb=0:8x8dct=1:scenecut=0"}},
          .framing = NalFraming::lengths,
          .threads = kX264Threads,
          .bufferFrames = kX264BufferFrames};
}

}  // namespace tessaline::platform

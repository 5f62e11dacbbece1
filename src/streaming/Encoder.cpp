#include "streaming/Encoder.h"

#include <utility>

#include "base/Log.h"
#include "protocol/ParameterSets.h"
#include "protocol/Proto.h"

namespace tessaline {
namespace {

constexpr int kExpectedFrameRate = 60;
constexpr int kMaxKeyFrameInterval = 600;  // frames: 10 s at full rate

}  // namespace

std::unique_ptr<Encoder> Encoder::create(platform::VideoCoding& coding, PixelSize size, int bitrate,
                                         std::shared_ptr<ScreenLink> link, Callbacks callbacks) {
  std::unique_ptr<Encoder> encoder(new Encoder(std::move(link), std::move(callbacks)));
  auto coder = coding.createCompressionSession(
      {.size = size,
       .averageBitRate = bitrate,
       .expectedFrameRate = kExpectedFrameRate,
       .maxKeyFrameInterval = kMaxKeyFrameInterval},
      {.onOutput = [self = encoder.get()](const std::optional<platform::CodedFrame>& frame) {
        if (frame) self->output(*frame);
        if (self->callbacks_.onOutput) self->callbacks_.onOutput(frame && frame->keyFrame);
      }});
  if (!coder) {
    log("could not create encoder (" + coder.error() + ")");
    return nullptr;
  }
  encoder->coder_ = std::move(*coder);
  return encoder;
}

Encoder::Encoder(std::shared_ptr<ScreenLink> link, Callbacks callbacks)
    : link_(std::move(link)), callbacks_(std::move(callbacks)) {}

Encoder::~Encoder() = default;

void Encoder::encode(std::shared_ptr<const platform::PixelBuffer> picture,
                     Clock::time_point presentationTime, platform::FrameNotes notes) {
  {
    const std::lock_guard lock(mutex_);
    notes.keyFrame |= std::exchange(forceKey_, false);
  }
  coder_->encode(std::move(picture), presentationTime, std::move(notes));
}

bool Encoder::forceKey() const {
  const std::lock_guard lock(mutex_);
  return forceKey_;
}

void Encoder::setForceKey(bool force) {
  const std::lock_guard lock(mutex_);
  forceKey_ = force;
}

void Encoder::output(const platform::CodedFrame& frame) {
  if (frame.keyFrame) {
    // Without its parameter sets a key frame is of no use to the decoder.
    if (!frame.parameterSets) return;
    const auto& sets = *frame.parameterSets;
    const Bytes payload = ParameterSetPair::encoded(sets.sequence, sets.picture);
    if (!link_->send(Proto::params, payload)) {
      setForceKey(true);
      return;
    }
    if (std::exchange(coarse_, frame.coarse) != frame.coarse && callbacks_.onSizeChange) {
      callbacks_.onSizeChange(frame.coarse);
    }
  }
  if (!frame.data || frame.data->empty()) return;
  if (!link_->send(Proto::frame, frame.data)) setForceKey(true);
}

}  // namespace tessaline

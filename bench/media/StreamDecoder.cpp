#include "media/StreamDecoder.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

namespace tessaline::platform {
namespace {

void appendUnit(Bytes& stream, ByteView unit) {
  stream.insert(stream.end(), {0, 0, 0, 1});
  stream.insert(stream.end(), unit.begin(), unit.end());
}

Bytes annexB(const CodedFrame& frame) {
  Bytes stream;
  if (frame.parameterSets) {
    appendUnit(stream, frame.parameterSets->sequence);
    appendUnit(stream, frame.parameterSets->picture);
  }
  ByteReader reader(*frame.data);
  while (const auto length = reader.u32()) {
    const auto unit = reader.take(*length);
    if (!unit) return {};
    appendUnit(stream, *unit);
  }
  return stream;
}

}  // namespace

StreamDecoder::StreamDecoder()
    : context_(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))) {
  context_->thread_count = 1;
  if (avcodec_open2(context_, nullptr, nullptr) < 0) throw std::runtime_error("no H.264 decoder");
}

StreamDecoder::~StreamDecoder() {
  avcodec_free_context(&context_);
}

StreamDecoder::Picture StreamDecoder::decode(const CodedFrame& frame) {
  Bytes stream = annexB(frame);
  if (stream.empty()) return nullptr;
  const std::size_t size = stream.size();
  stream.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
  AVPacket* packet = av_packet_alloc();
  packet->data = stream.data();
  packet->size = static_cast<int>(size);
  const int sent = avcodec_send_packet(context_, packet);
  av_packet_free(&packet);
  Picture picture(av_frame_alloc());
  if (sent < 0 || avcodec_receive_frame(context_, picture.get()) < 0) return nullptr;
  return picture;
}

double lumaPsnr(const PixelBuffer& original, const AVFrame& decoded) {
  double sum = 0;
  for (int y = 0; y < decoded.height; ++y) {
    const std::uint8_t* a = original.luma() + std::ptrdiff_t{y} * original.stride();
    const std::uint8_t* b = decoded.data[0] + std::ptrdiff_t{y} * decoded.linesize[0];
    int row = 0;
    for (int x = 0; x < decoded.width; ++x) row += (a[x] - b[x]) * (a[x] - b[x]);
    sum += row;
  }
  const double mean = sum / (static_cast<double>(decoded.width) * decoded.height);
  return mean == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mean);
}

}  // namespace tessaline::platform

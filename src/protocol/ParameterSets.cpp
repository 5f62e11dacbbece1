#include "protocol/ParameterSets.h"

#include <cassert>

namespace tessaline {
namespace {

Bytes toBytes(ByteView view) {
  return {view.begin(), view.end()};
}

}  // namespace

Bytes ParameterSetPair::encoded(ByteView sequence, ByteView picture) {
  assert(sequence.size() <= 0xFFFF && picture.size() <= 0xFFFF);
  return ByteWriter(4 + sequence.size() + picture.size())
      .u16(static_cast<std::uint16_t>(sequence.size()))
      .append(sequence)
      .u16(static_cast<std::uint16_t>(picture.size()))
      .append(picture)
      .take();
}

std::optional<ParameterSetPair> ParameterSetPair::decoded(ByteView payload) {
  if (payload.size() <= 4) return std::nullopt;
  ByteReader reader(payload);
  const auto sequence = reader.take(*reader.u16());
  if (!sequence) return std::nullopt;
  const auto pictureLength = reader.u16();
  if (!pictureLength) return std::nullopt;
  const auto picture = reader.take(*pictureLength);
  if (!picture) return std::nullopt;
  return ParameterSetPair{toBytes(*sequence), toBytes(*picture)};
}

}  // namespace tessaline

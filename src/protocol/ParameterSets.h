#pragma once

#include <optional>

#include "base/Bytes.h"

namespace tessaline {

/// H.264 parameter sets as one message carries them: each as a u16 length and its bytes, without
/// start code, the sequence set first.
struct ParameterSetPair {
  Bytes sequence;
  Bytes picture;

  /// A set of more than 65,535 bytes is a programmer's mistake.
  [[nodiscard]] static Bytes encoded(ByteView sequence, ByteView picture);
  /// Nothing when the payload is too short for what its lengths promise.
  [[nodiscard]] static std::optional<ParameterSetPair> decoded(ByteView payload);
};

}  // namespace tessaline

#pragma once

#include <cstdint>
#include <string_view>

namespace tessaline::Proto {

/// The constants of the stream protocol. They are fixed: no version travels and nothing is
/// negotiated, so a number is never reused.
constexpr std::string_view serviceType = "_tessaline._tcp";
constexpr std::uint16_t videoPort = 7777;   ///< TCP, the stream
constexpr std::uint16_t cursorPort = 7778;  ///< UDP, pointer positions

// Message types, one byte each.
constexpr std::uint8_t params = 1;       ///< H.264 parameter sets
constexpr std::uint8_t frame = 2;        ///< one access unit, length-prefixed NAL units
constexpr std::uint8_t hello = 3;        ///< the display device describes itself
constexpr std::uint8_t bye = 4;          ///< orderly end of the stream
constexpr std::uint8_t ping = 5;         ///< keep-alive
constexpr std::uint8_t cursorPos = 6;    ///< pointer position and visibility
constexpr std::uint8_t cursorShape = 7;  ///< pointer image and hot spot
constexpr std::uint8_t denied = 8;       ///< the main computer refuses this screen
constexpr std::uint8_t textFocus = 9;    ///< the focused text field, to touch devices
constexpr std::uint8_t probeAck = 10;    ///< answer to a probe
constexpr std::uint8_t probe = 11;       ///< round-trip probe

}  // namespace tessaline::Proto

#pragma once

#include <array>
#include <string_view>

#include "platform/linux/x11/RandrLayout.h"

namespace tessaline::platform {

/// The properties of an output that a virtual display sets. The dummy driver takes its physical
/// size from the last two; other drivers have no such properties.
inline constexpr std::string_view kEdidProperty = "EDID";
inline constexpr std::array<std::string_view, 2> kSizeProperties = {"WIDTH_MM", "HEIGHT_MM"};

/// Sets the size of the whole screen, its resolution in dots per inch kept: toolkits scale by it.
/// False when the server has no memory for it.
bool resizeScreen(const X11Connection& connection, PixelSize size);

/// Moves every display of `layout`. The screen must be large enough.
void moveDisplays(const X11Connection& connection, const RandrLayout& layout, PixelPoint by);

/// Has what is left begin again where the displays began before one went: at `corner`.
void closeGap(const X11Connection& connection, PixelPoint corner);

/// Shrinks the screen to what its displays occupy.
void shrinkScreen(const X11Connection& connection);

/// Switches off what shows `mode` and removes the mode, the properties of its output and the
/// output's named monitor. Takes 0 for what there is not.
void removeDisplay(const X11Connection& connection, xcb_randr_output_t output,
                   xcb_randr_mode_t mode, xcb_atom_t monitor);

/// Removes every display whose run ended without doing so itself. Displays of living runs stay.
/// Returns how many there were.
int removeLeftOvers(const X11Connection& connection);

}  // namespace tessaline::platform

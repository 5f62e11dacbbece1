#pragma once

#include <filesystem>
#include <vector>

#include "base/Bytes.h"

namespace tessaline::fuzz {

// One function for each family of parsers: it gives `input` to the real classes, with stand-ins
// only at the platform's border and in virtual time. Whatever the input, it returns; a fault is
// what ends the process. Nothing is kept from one call to the next.

void protocol(ByteView input);     ///< what a screen sends to the main computer
void receiver(ByteView input);     ///< what a main computer sends to a screen
void media(ByteView input);        ///< parameter sets, access units, images
void web(ByteView input);          ///< what browsers send, and the network's names for them
void settings(ByteView input);     ///< the user's settings as they lie on the disk
void websocket(ByteView input);    ///< the upgrade and the frames that carry the browser's messages
void certificate(ByteView input);  ///< what the certificate service answers

/// Ends the process when a promise is broken, in every build.
void require(bool kept);

/// The pieces of `input` between bytes 0x1E, the record separator: texts have none.
[[nodiscard]] std::vector<ByteView> records(ByteView input);

/// A folder of this process, in memory where the system has that: many inputs are files.
[[nodiscard]] const std::filesystem::path& scratchFolder();

}  // namespace tessaline::fuzz

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/Result.h"

namespace tessaline {

/// Files that are nobody's business but the user's.

/// Makes `folder` and those above it where they are missing; only the user can look into it.
[[nodiscard]] std::optional<Failure> makePrivateFolder(const std::filesystem::path& folder);

/// Replaces `file` (mode 0600) by `text`, as a whole or not at all: a new file beside it, on the
/// disk before it takes the name. When that fails the old file is as it was.
[[nodiscard]] std::optional<Failure> replacePrivateFile(const std::filesystem::path& file,
                                                        std::string_view text);

/// What `file` holds without the white space around it; nothing when that is nothing, or when the
/// file cannot be read.
[[nodiscard]] std::optional<std::string> readTrimmed(const std::filesystem::path& file);

}  // namespace tessaline

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tessaline::ctl {

/// One command, as a completion knows it.
struct CompletionEntry {
  std::string name;
  std::string parameter;  ///< as the help shows it
  std::string purpose;
};

/// A script that completes tessalinectl's commands, their options, and the names of screens, for
/// "bash", "zsh" or "fish"; nothing for other shells.
[[nodiscard]] std::optional<std::string> completionScript(
    const std::string& shell, const std::vector<CompletionEntry>& commands);

}  // namespace tessaline::ctl

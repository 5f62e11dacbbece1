#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessaline::ctl {

/// The application's answer to "Status", with every text made safe to print: devices choose their
/// names, and a terminal obeys control characters.
struct Status {
  struct Screen {
    std::string name;
    bool streaming = false;
    std::int64_t width = 0;
    std::int64_t height = 0;
    // How the stream fares: milliseconds (0 while unknown), and sums since it began.
    double latencyMedian = 0;
    double latency95th = 0;
    double decodeTime = 0;
    std::int64_t frames = 0;
    std::int64_t bytes = 0;
    std::int64_t dropped = 0;
    /// One line about it.
    [[nodiscard]] std::string line() const;
  };
  struct Prompt {
    std::int64_t id = 0;
    std::string device;
    std::string name;
    std::string question;
    std::string explanation;
  };

  std::string role;
  std::string text;  ///< what the application says of itself in a few words
  std::string link;
  std::string localLink;  ///< the link for browsers on this computer, when it is another one
  bool encrypted = false;
  std::vector<Screen> screens;
  std::vector<std::string> computers;  ///< seen on the network, ready to be screens
  std::vector<Prompt> pending;

  /// Nothing when `json` is not such an answer.
  [[nodiscard]] static std::optional<Status> parse(std::string_view json);
};

}  // namespace tessaline::ctl

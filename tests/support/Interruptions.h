#pragma once

#include <gtest/gtest.h>

#include <boost/asio.hpp>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>

#include "support/Eventually.h"

namespace tessaline::test {

// Far beyond what anything here takes, also on a loaded machine under a sanitizer.
constexpr auto kPatience = std::chrono::seconds(30);

/// What this process has open and runs: after any number of interrupted peers the same as before.
struct Census {
  std::ptrdiff_t descriptors = 0;
  std::ptrdiff_t threads = 0;

  static Census now() { return {entries("/proc/self/fd"), entries("/proc/self/task")}; }
  /// Waits until nothing more than that is left: sockets close on their own queues.
  [[nodiscard]] bool comesBack() const {
    return eventually([this] {
      const Census seen = now();
      return seen.descriptors <= descriptors && seen.threads <= threads;
    });
  }
  friend std::ostream& operator<<(std::ostream& out, const Census& census) {
    return out << census.descriptors << " descriptors, " << census.threads << " threads";
  }

 private:
  static std::ptrdiff_t entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  }
};

/// Everything that was written to `socket` has been read by the process at its other end, which is
/// on this computer: what is written now comes to it by another read.
inline bool peerHasRead(boost::asio::ip::tcp::socket& socket) {
  std::ostringstream ports;  // as the kernel's tables have them
  ports << std::hex << std::uppercase << std::setfill('0') << ':' << std::setw(4)
        << socket.remote_endpoint().port() << ' ' << ':' << std::setw(4)
        << socket.local_endpoint().port();
  const std::string here = ports.str().substr(0, 5);
  const std::string there = ports.str().substr(6);
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream file(table);
    std::string line;
    while (std::getline(file, line)) {
      std::istringstream fields(line);
      std::string number, local, remote, state, queues;
      fields >> number >> local >> remote >> state >> queues;
      if (local.ends_with(here) && remote.ends_with(there)) return queues.ends_with(":00000000");
    }
  }
  return false;
}
/// Waits for that.
inline void awaitPeer(boost::asio::ip::tcp::socket& socket) {
  EXPECT_TRUE(eventually([&] { return peerHasRead(socket); })) << "the peer does not read";
}

}  // namespace tessaline::test

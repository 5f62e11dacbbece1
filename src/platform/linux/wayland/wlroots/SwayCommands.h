#pragma once

#include <boost/json/value.hpp>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::platform {

/// Commands to sway over its socket, one after the other, each over a connection of its own: an
/// answer that does not come spoils nothing but its own command. Lives on one AsioQueue, where the
/// answers arrive; they may not destroy this object, and none comes once it is destroyed.
class SwayCommands {
 public:
  SwayCommands(std::filesystem::path socket, std::shared_ptr<Queue> queue);
  ~SwayCommands();

  /// Runs one command or several, with semicolons between them. `done` gets why the first one that
  /// failed did so.
  void run(const std::string& commands, std::function<void(std::optional<std::string> error)> done);
  /// The names of all outputs, switched on or not.
  void listOutputs(std::function<void(Result<std::vector<std::string>>)> done);

 private:
  using Done = std::function<void(Result<boost::json::value>)>;
  struct Request {
    std::uint32_t type = 0;
    std::string payload;
    Done done;
  };
  class Exchange;

  void ask(Request request);
  void next();

  const std::filesystem::path socket_;
  const std::shared_ptr<Queue> queue_;
  std::deque<Request> waiting_;
  std::shared_ptr<Exchange> current_;
};

}  // namespace tessaline::platform

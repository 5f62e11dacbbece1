#pragma once

#include <functional>
#include <memory>

#include "base/Bytes.h"
#include "base/Queue.h"
#include "platform/Network.h"

namespace tessaline {

/// Reads the framed messages of one stream. Each is received into memory of its own and handed on
/// as it is; while a few of them are still held by somebody, nothing more is read, so that what is
/// behind waits at the sender, whose flow control then takes fewer pictures. Lives on the
/// connection's queue; owned by the receiver.
class StreamReader : public std::enable_shared_from_this<StreamReader> {
 public:
  /// A whole message, the type byte first. On the connection's queue.
  using Handler = std::function<void(const SharedBytes& message)>;

  StreamReader(std::shared_ptr<platform::Connection> connection, Handler handler);

  /// What cannot be a message cancels the connection.
  void start();
  /// No message is handled any more.
  void stop() { stopped_ = true; }
  [[nodiscard]] platform::Connection& connection() { return *connection_; }
  [[nodiscard]] Clock::time_point lastReceived() const;

 private:
  struct Line;
  struct Held;
  void readHeader();
  void readBody(std::uint32_t length);
  void handle(Bytes bytes);
  void resume();

  const std::shared_ptr<platform::Connection> connection_;
  const Handler handler_;
  const std::shared_ptr<Line> line_;
  Clock::time_point lastReceived_;
  bool stopped_ = false;
  bool waiting_ = false;  // for messages to be let go of
};

}  // namespace tessaline

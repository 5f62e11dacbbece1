#pragma once

#include <boost/asio.hpp>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "base/Bytes.h"
#include "platform/VideoCoding.h"

namespace tessaline::test {

/// The other end of a stream: a main computer that sends what the test says, over a real socket
/// that blocks. It pings as all of them do.
class FakeMain {
 public:
  explicit FakeMain(std::uint16_t port);
  ~FakeMain();

  void send(std::uint8_t type, ByteView payload = {});
  void sendRaw(ByteView bytes);
  /// In two pieces, of which the screen has read the first `count` bytes before the others come.
  void sendTorn(ByteView bytes, std::size_t count);
  /// Parameter sets, where the frame has them, and the frame.
  void send(const platform::CodedFrame& frame);
  /// The next whole message, type byte first; empty when the screen closed the stream.
  [[nodiscard]] Bytes read();
  /// The screen still answers.
  [[nodiscard]] bool answersProbe(std::uint32_t id);
  [[nodiscard]] boost::asio::ip::tcp::socket& socket() { return socket_; }

  /// A datagram from somebody on this computer.
  static void sendDatagram(std::uint16_t port, ByteView bytes);

 private:
  void ping();

  boost::asio::io_context context_;
  boost::asio::ip::tcp::socket socket_;
  std::mutex mutex_;  // held while something is sent
  std::condition_variable ending_;
  bool ended_ = false;
  std::thread pings_;
};

}  // namespace tessaline::test

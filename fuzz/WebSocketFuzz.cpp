#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <string>

#include "Targets.h"
#include "base/AsioQueue.h"
#include "base/Bytes.h"
#include "platform/common/net/WebSocketServerConnection.h"

namespace tessaline::fuzz {
namespace {

using boost::asio::ip::tcp;
using platform::ConnectionState;
using platform::WebSocketConnection;

constexpr std::size_t kLargestMessage = std::size_t{64} * 1024;  // of a peer that nobody knows yet

/// Both ends: the server's connection with a queue that runs on this thread, and the browser's.
class Ends {
 public:
  Ends(const Ends&) = delete;
  Ends& operator=(const Ends&) = delete;
  Ends() {
    std::array<int, 2> pair{};
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) == 0);
    browser_ = pair[0];
    tcp::socket socket(context_);
    socket.assign(tcp::v4(), pair[1]);
    server_ = platform::WebSocketServerConnection::accepted(std::move(socket), queue_, nullptr);
    server_->start([this](ConnectionState state) {
      if (state == ConnectionState::ready) receive();
      if (state == ConnectionState::failed) ++ends_;
    });
    settle();
  }
  ~Ends() { ::close(browser_); }

  void write(ByteView bytes) {
    while (!bytes.empty()) {
      const auto count = ::send(browser_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
      if (count <= 0) return;  // the server has gone
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      settle();
    }
  }
  /// The browser sends nothing more.
  void finish() {
    ::shutdown(browser_, SHUT_WR);
    settle();
    require(ends_ == 1);
    require(answer_.empty() || answer_.starts_with("HTTP/1.1 "));
  }

 private:
  void receive() {
    server_->receive([this](std::optional<WebSocketConnection::Message> message) {
      if (!message) return;
      require(message->bytes.size() <= kLargestMessage);
      if (message->opcode == WebSocketConnection::Opcode::text) {
        require(repairUtf8(message->bytes) == viewText(message->bytes));
      }
      receive();
    });
  }
  /// Until the server waits for more; no input takes its time.
  void settle() {
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    do {
      context_.restart();
      context_.poll();
      count = ::recv(browser_, buffer.data(), buffer.size(), MSG_DONTWAIT);
      if (count > 0) answer_.append(buffer.data(), static_cast<std::size_t>(count));
    } while (count > 0);
  }

  boost::asio::io_context context_{1};
  const std::shared_ptr<Queue> queue_ = std::make_shared<AsioQueue>(
      "fuzz", context_.get_executor(), [] { return true; }, nullptr);
  int browser_ = -1;
  std::shared_ptr<WebSocketConnection> server_;
  int ends_ = 0;
  std::string answer_;
};

}  // namespace

/// The records are what the browser writes at a time.
void websocket(ByteView input) {
  Ends ends;
  for (const ByteView bytes : records(input)) ends.write(bytes);
  ends.finish();
}

}  // namespace tessaline::fuzz

#include <gtest/gtest.h>

#include <boost/asio.hpp>

#include "base/AsioQueue.h"
#include "receiver/FreePorts.h"
#include "support/FakePlatform.h"
#include "support/Interruptions.h"
#include "support/TemporaryFolder.h"
#include "web/WebScreenServer.h"

namespace tessaline {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr std::string_view kUpgrade =
    "GET / HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
    "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";

/// A text frame as a browser sends it. The mask of zeroes leaves the text as it is.
std::string frame(const std::string& text) {
  const auto length = static_cast<char>(0x80 + text.size());
  return std::string{'\x81', length, 0, 0, 0, 0} + text;
}

/// The server on real queues and sockets, with a device that is allowed.
class CutBrowserTest : public testing::Test {
 protected:
  void SetUp() override {
    onMain([&] {
      approved_.add("i", "iPad");
      server_ = std::make_unique<WebScreenServer>(
          SessionServices{queues_, desktop_, coding_, network_}, defaults_, approved_);
      server_->start();
      said_ = std::string(kUpgrade) +
              frame(R"({"w":800,"h":600,"id":"i","key":")" + server_->key() + "\"}");
    });
    helloEnd_ = said_.size();
    said_ += frame(R"({"t":"tap","x":0.5,"y":0.5})");
    while (network_.webSocketPort == 0) std::this_thread::yield();
  }
  void TearDown() override {
    onMain([&] { server_.reset(); });
  }

  void onMain(const std::function<void()>& work) { queues_.main()->sync(work); }
  /// Waits for what is true on the main queue.
  bool wait(const std::function<bool()>& condition) {
    return test::eventually([&] {
      bool met = false;
      onMain([&] { met = condition(); });
      return met;
    });
  }
  bool nobodyIsLeft() {
    return wait([&] { return server_->sessions().empty() && desktop_.displays.empty(); });
  }
  tcp::socket connect() {
    tcp::socket socket(context_);
    socket.connect({asio::ip::address_v4::loopback(), network_.webSocketPort});
    return socket;
  }
  /// Writes these bytes of what a browser says, which waits for the answer to its request.
  void say(tcp::socket& socket, std::size_t first, std::size_t last) {
    const std::size_t request = kUpgrade.size();
    const auto write = [&](std::size_t from, std::size_t to) {
      asio::write(socket, asio::buffer(said_.data() + from, to - from));
    };
    if (first < request) {
      write(first, std::min(last, request));
      if (last < request) return;
      std::string answer;
      asio::read_until(socket, asio::dynamic_buffer(answer), "\r\n\r\n");
      EXPECT_TRUE(answer.starts_with("HTTP/1.1 101 ")) << answer;
      first = request;
    }
    if (first < last) write(first, last);
  }
  bool isServed(const std::function<void(tcp::socket&)>& speak) {
    auto socket = connect();
    speak(socket);
    const bool served = wait([&] { return desktop_.displays.size() == 1; });
    socket.close();
    return nobodyIsLeft() && served;
  }

  AsioQueues queues_;
  test::FakeDesktop desktop_;
  test::FakeCoding coding_;
  test::FreePorts network_;
  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  ApprovedDevices approved_{defaults_};
  std::unique_ptr<WebScreenServer> server_;
  asio::io_context context_;
  std::string said_;  // by a browser, up to its first tap
  std::size_t helloEnd_ = 0;
};

TEST_F(CutBrowserTest, WhatABrowserSaysMayBeCutOrTornAtEveryByte) {
  const auto whole = [&](tcp::socket& socket) { say(socket, 0, said_.size()); };
  ASSERT_TRUE(isServed(whole));
  const auto before = test::Census::now();
  for (const bool reset : {false, true}) {
    for (std::size_t cut = 0; cut <= said_.size(); ++cut) {
      int attempts = 0;
      onMain([&] { attempts = desktop_.attempts; });
      auto socket = connect();
      say(socket, 0, cut);
      if (reset) {
        socket.set_option(asio::socket_base::linger(true, 0));
      } else {
        socket.shutdown(asio::socket_base::shutdown_send);
        boost::system::error_code error;
        Bytes rest;
        asio::read(socket, asio::dynamic_buffer(rest), error);
        EXPECT_TRUE(error) << cut;
      }
      socket.close();
      if (cut < helloEnd_) {
        onMain([&] { EXPECT_EQ(desktop_.attempts, attempts) << cut; });
      }
    }
    ASSERT_TRUE(nobodyIsLeft());
    ASSERT_TRUE(isServed(whole));
  }
  for (std::size_t cut = 1; cut < said_.size(); ++cut) {
    ASSERT_TRUE(isServed([&](tcp::socket& socket) {
      say(socket, 0, cut);
      test::awaitPeer(socket);
      say(socket, cut, said_.size());
    })) << cut;
  }
  EXPECT_TRUE(before.comesBack()) << before << " became " << test::Census::now();
}

}  // namespace
}  // namespace tessaline

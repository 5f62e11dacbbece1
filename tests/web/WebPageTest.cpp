#include <gtest/gtest.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include "base/AsioQueue.h"
#include "platform/common/net/AsioNetwork.h"
#include "web/PageServer.h"
#include "web/WebPage.h"

namespace tessaline {
namespace {

namespace asio = boost::asio;

std::string body(const std::string& response) {
  return response.substr(std::min(response.find("\r\n\r\n") + 4, response.size()));
}

TEST(WebPage, AnswersEveryRequestWithThePageOrItsVersion) {
  const std::string page = WebPage::response("GET / HTTP/1.1\r\n\r\n");
  EXPECT_NE(page.find("Content-Length: " + std::to_string(body(page).size()) +
                      "\r\nConnection: close\r\n\r\n"),
            std::string::npos);
  EXPECT_NE(page.find("Cache-Control: no-store\r\n"), std::string::npos);
  for (const char* elsewhere : {" src=", "<link rel=\"stylesheet", "@import"}) {
    EXPECT_EQ(page.find(elsewhere), std::string::npos) << elsewhere;
  }
  for (const std::string_view request :
       {"", "word", "POST /anything HTTP/1.1", "GET  /", "\xFF\xFE /version", "GET /Version "}) {
    EXPECT_EQ(WebPage::response(request), page) << request;
  }
  const std::string version = WebPage::response("GET /version HTTP/1.1\r\n\r\n");
  EXPECT_EQ(body(version), WebPage::version());
  EXPECT_NE(page.find(WebPage::version()), std::string::npos) << "the page knows its own";
  EXPECT_EQ(WebPage::response("x   /versionXYZ"), version);
}

// Real browsers, scanners and scripts on a real port.
class PageServerTest : public testing::Test {
 protected:
  void SetUp() override {
    queue_->sync([this] {
      ASSERT_TRUE(server_->listen({.port = 0, .identity = nullptr}));
      port_ = server_->port();
    });
  }
  void TearDown() override {
    queue_->sync([this] { server_.reset(); });
  }
  asio::ip::tcp::socket connect() {
    asio::ip::tcp::socket socket(context_);
    socket.connect({asio::ip::address_v4::loopback(), port_});
    return socket;
  }
  static std::string readAll(asio::ip::tcp::socket& socket) {
    std::string text;
    boost::system::error_code error;
    asio::read(socket, asio::dynamic_buffer(text), error);
    EXPECT_EQ(error, asio::error::eof);
    return text;
  }

  asio::io_context context_;
  AsioQueues queues_;
  std::unique_ptr<platform::Network> network_ = platform::createNetwork();
  std::shared_ptr<Queue> queue_ = queues_.serial("tessaline.webserver");
  std::shared_ptr<PageServer> server_ = std::make_shared<PageServer>(*network_, queue_);
  std::uint16_t port_ = 0;
};

TEST_F(PageServerTest, AnswersClientsThatSendMoreThanItReads) {
  auto socket = connect();
  asio::write(socket, asio::buffer("GET / HTTP/1.1\r\nX: " + std::string(400'000, 'x')));
  EXPECT_EQ(readAll(socket), WebPage::response("GET / "));
}

}  // namespace
}  // namespace tessaline

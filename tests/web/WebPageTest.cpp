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

TEST(PageServer, AnswersClientsThatSendMoreThanItReads) {
  AsioQueues queues;
  const auto network = platform::createNetwork();
  const auto queue = queues.serial("tessaline.webserver");
  auto server = std::make_shared<PageServer>(*network, queue);
  asio::io_context context;
  asio::ip::tcp::socket socket(context);
  queue->sync([&] {
    ASSERT_TRUE(server->listen({.port = 0, .identity = nullptr}));
    socket.connect({asio::ip::address_v4::loopback(), server->port()});
  });
  asio::write(socket, asio::buffer("GET / HTTP/1.1\r\nX: " + std::string(400'000, 'x')));
  std::string answer;
  boost::system::error_code error;
  asio::read(socket, asio::dynamic_buffer(answer), error);
  EXPECT_EQ(error, asio::error::eof);
  EXPECT_EQ(answer, WebPage::response("GET / "));
  queue->sync([&] { server.reset(); });
}

}  // namespace
}  // namespace tessaline

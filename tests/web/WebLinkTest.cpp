#include "web/WebLink.h"

#include <gtest/gtest.h>

#include <boost/json/object.hpp>

#include "protocol/Proto.h"
#include "support/FakeNetwork.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class WebLinkTest : public testing::Test {
 protected:
  void SetUp() override { open(); }
  void open() {
    socket_ = std::make_shared<test::FakeWebSocket>(queues_.serial("tessaline.web"));
    link_ = std::make_shared<WebLink>(socket_, network_, queues_.main());
    hellos_.clear();
    link_->onHello = [this](const Hello& hello) { hellos_.push_back(hello); };
    link_->onClose = [this] { ++closes_; };
    link_->start();
    queues_.run();
    socket_->report(platform::ConnectionState::ready);
  }
  Hello helloFrom(std::string_view json) {
    open();
    socket_->say(json);
    queues_.run();
    return hellos_.empty() ? Hello{-1, -1, {}, 0, "", "", {}} : hellos_[0];
  }

  test::VirtualQueues queues_;
  test::FakeNetwork network_;
  std::shared_ptr<test::FakeWebSocket> socket_;
  std::shared_ptr<WebLink> link_;
  std::vector<Hello> hellos_;
  int closes_ = 0;
};

TEST_F(WebLinkTest, WhatABrowserSaysOfItselfMayBeAnything) {
  EXPECT_EQ(helloFrom(R"({"w":1,"h":2,"scale":2,"key":7,"id":8,"name":9})").scale, 2);
  EXPECT_FALSE(hellos_[0].key);
  EXPECT_EQ(hellos_[0].deviceID, "");
  EXPECT_EQ(hellos_[0].deviceName, "Browser");
  const std::string id(100, 'x');
  EXPECT_EQ(helloFrom(R"({"w":1,"h":2,"id":")" + id + "\"}").deviceID, id.substr(0, 64));
  for (const std::string_view text :
       {"", "[1,2]", "null", "{}", R"({"w":1})", R"({"w":"1","h":2})", R"({"w":1.5,"h":2})",
        R"({"w":1e99,"h":2})", R"({"w":99999999999,"h":2})", R"({"w":1,"h":null})",
        "{\"w\":1,\"h\":2,\"name\":\"\xFF\"}", "[[[[[[[[[["}) {
    helloFrom(text);
    EXPECT_TRUE(hellos_.empty()) << text;
    for (const char* size : {"1", "3"}) {
      socket_->say(R"({"h":2,"w":)" + std::string(size) + "}");
      queues_.run();
    }
    EXPECT_EQ(hellos_.size(), 1U) << "still listening after " << text << ", and to the first only";
  }
}

TEST_F(WebLinkTest, CleansNamesBeforeAPersonReadsThem) {
  const struct {
    std::string name;
    std::string clean;
  } cases[] = {
      {"iPad", "iPad"},
      {"", "Browser"},
      {" \t\r\n\x01  \u2028", "Browser"},
      {"  Anna's\u00A0iPad \u3000", "Anna's\u00A0iPad"},
      {"a\nb\u202Ec\u200Bd", "abcd"},
      {std::string(60, 'x'), std::string(40, 'x')},
      {"日本🙂", "日本🙂"},
  };
  for (const auto& [name, clean] : cases) EXPECT_EQ(WebLink::cleanName(name), clean);
  EXPECT_EQ(WebLink::networkName("Annas-iPhone.local"), "Annas-iPhone");
  EXPECT_FALSE(WebLink::networkName("4f1c2d3e-1111-2222-3333-444455556666.local"));
  EXPECT_FALSE(WebLink::networkName(".local"));
  EXPECT_EQ(WebLink::networkName("abcdef.fritz.box"), "abcdef");
  EXPECT_EQ(WebLink::networkName("a\xF4z\nb"), "a\uFFFDzb") << "bytes that are no text";
}

TEST_F(WebLinkTest, TakesLittleFromStrangers) {
  EXPECT_LE(socket_->maximum, 65'536U);
  const std::string junk(10'000, 'x');
  for (int i = 0; i < 6; ++i) socket_->say(junk);
  queues_.run();
  EXPECT_EQ(closes_, 0);
  socket_->say(junk);
  queues_.run();
  EXPECT_EQ(closes_, 1);

  closes_ = 0;
  open();
  link_->prove();
  queues_.run();
  EXPECT_EQ(socket_->maximum, 16'777'216U);
  for (int i = 0; i < 20; ++i) socket_->say(junk);
  queues_.run();
  EXPECT_EQ(closes_, 0);
}

}  // namespace
}  // namespace tessaline

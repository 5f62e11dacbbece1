#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "Loopback.h"

namespace tessaline::platform::test {
namespace {

using ::testing::HasSubstr;

class ListenerTest : public Loopback {};

TEST_F(ListenerTest, RunningOutOfDescriptorsIsSurvivedAndLoggedOnce) {
#ifdef TESSALINE_SANITIZED
  GTEST_SKIP() << "the sanitizers open descriptors of their own, and end where there are none";
#endif
  const auto listener = listen();
  tcp::socket peer(context_, tcp::v4());
  ::testing::internal::CaptureStderr();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowestFree = ::fcntl(peer.native_handle(), F_DUPFD, 0);
  ::close(lowestFree);
  rlimit tight = before;
  tight.rlim_cur = static_cast<rlim_t>(lowestFree);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
  // The kernel completes the connection; accepting it needs a descriptor that there is not.
  peer.connect({asio::ip::address_v4::loopback(), listener->port()});
  EXPECT_FALSE(streams_.waitFor(1, 2 * kMoment));
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(streams_.waitFor(1));
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(said, HasSubstr("Port " + std::to_string(listener->port()) + " cannot accept now"));
  EXPECT_EQ(said.find("cannot accept"), said.rfind("cannot accept"));
}

}  // namespace
}  // namespace tessaline::platform::test

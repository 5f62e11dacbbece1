#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <cstdlib>
#include <optional>

#include "base/AsioQueue.h"
#include "platform/CapturedFrames.h"
#include "platform/linux/wayland/portal/PortalDesktop.h"
#include "platform/wayland/portal/FakePortal.h"
#include "platform/wayland/screencast/PrivatePipeWire.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

using test::CastSource;
using test::eventually;
using test::FakePortal;
using User = FakePortal::User;
using State = VirtualDisplay::State;

constexpr PixelSize kSize{640, 480};

/// A connection to PipeWire, as a portal hands it over.
int connectToPipeWire() {
  boost::asio::io_context context;
  boost::asio::local::stream_protocol::socket socket(context);
  socket.connect(std::string(std::getenv("XDG_RUNTIME_DIR")) + "/pipewire-0");
  return socket.release();
}

/// A desktop on a bus of the test's own, where a played portal has a stream of a real PipeWire for
/// it, used from its main queue as the application does.
class PortalDesktop : public testing::Test {
 protected:
  /// However a test ends, displays end where they live.
  struct EndsOnMain {
    std::shared_ptr<Queue> main;
    void operator()(VirtualDisplay* display) const {
      main->sync([display] { delete display; });
    }
  };
  using Display = std::unique_ptr<VirtualDisplay, EndsOnMain>;

  template <typename Work>
  auto onMain(Work work) {
    using Value = decltype(work());
    if constexpr (std::is_void_v<Value>) {
      queues_.main()->sync(work);
    } else {
      std::optional<Value> value;
      queues_.main()->sync([&] { value.emplace(work()); });
      return std::move(*value);
    }
  }

  void SetUp() override {
    keepRealPortalAway();
    std::string problem;
    pipeWire_ = test::PrivatePipeWire::start(problem);
    if (!pipeWire_) GTEST_SKIP() << problem;
    source_ = std::make_unique<CastSource>(kSize);
    ASSERT_NE(source_->node(), 0U);
    portal_ = std::make_unique<FakePortal>(source_->node(), connectToPipeWire);
  }
  void TearDown() override { closeDesktop(); }

  /// A bus starts the machine's own portal as soon as it is asked for one.
  void keepRealPortalAway() const {
    const auto services = folder_.path() / "data/dbus-1/services";
    std::filesystem::create_directories(services);
    std::ofstream(services / "org.freedesktop.portal.Desktop.service")
        << "[D-BUS Service]\nName=org.freedesktop.portal.Desktop\nExec=/bin/false\n";
    ::setenv("XDG_DATA_HOME", (folder_.path() / "data").c_str(), 1);
  }
  void openDesktop() {
    onMain([this] {
      auto desktop = openPortalDesktop(queues_, folder_.path() / "support");
      ASSERT_TRUE(desktop) << desktop.error();
      desktop_ = std::move(*desktop);
    });
  }
  void closeDesktop() {
    onMain([this] { desktop_.reset(); });
  }
  Display show() {
    return onMain([this] {
      VirtualDisplayDescriptor descriptor;
      descriptor.name = "tablet";
      auto display = desktop_->createVirtualDisplay(descriptor);
      EXPECT_TRUE(display->apply({.modes = {{640, 480, 60}}}));
      return Display(display.release(), {queues_.main()});
    });
  }
  bool becomes(const Display& display, State state) {
    return eventually([&] { return onMain([&] { return display->state(); }) == state; });
  }
  std::vector<DisplayInfo> listed() {
    return onMain([this] { return *desktop_->shareableDisplays(); });
  }
  bool lists(std::size_t count) {
    return eventually([&] { return listed().size() == count; });
  }
  bool granted() {
    return onMain([this] { return desktop_->captureAccess().granted(); });
  }
  std::string tokens() const { return test::readFile(tokenFile()); }
  std::filesystem::path tokenFile() const { return folder_.path() / "support" / "portal-tokens"; }

  test::TemporaryFolder folder_;
  std::unique_ptr<test::PrivatePipeWire> pipeWire_;
  std::unique_ptr<CastSource> source_;
  std::unique_ptr<FakePortal> portal_;
  AsioQueues queues_;
  std::unique_ptr<DesktopEnvironment> desktop_;
};

TEST_F(PortalDesktop, ARefusalStandsUntilTheUserWantsToBeAsked) {
  portal_->setUser(User::refuses);
  openDesktop();
  for (int i = 0; i < 2; ++i) {
    const auto display = show();
    EXPECT_TRUE(becomes(display, State::refused));
    EXPECT_FALSE(granted());
  }
  EXPECT_EQ(portal_->questions(), 1);
  portal_->setUser(User::grants);
  onMain([this] { desktop_->captureAccess().request(); });
  EXPECT_TRUE(eventually([&] { return granted() && portal_->sessions() == 0; }));  // it only asked
  EXPECT_EQ(std::filesystem::status(tokenFile()).permissions(), std::filesystem::perms(0600));
}

TEST_F(PortalDesktop, ADialogLeftOpenEndsWithItsDisplay) {
  portal_->setUser(User::waits);
  openDesktop();
  auto display = show();
  ASSERT_TRUE(eventually([&] { return portal_->questions() == 1; }));
  EXPECT_EQ(onMain([&] { return display->state(); }), State::asking);
  display.reset();
  EXPECT_TRUE(
      eventually([&] { return portal_->closedRequests() > 0 && portal_->sessions() == 0; }));

  // The user's yes was on its way: it brings no display, but is not wasted.
  portal_->answer();
  EXPECT_TRUE(eventually([&] { return tokens().starts_with("token-1"); }));
  EXPECT_TRUE(listed().empty());
  EXPECT_EQ(portal_->sessions(), 0U);

  // One that is created and given up before the portal has spoken leaves nothing either.
  for (int i = 0; i < 5; ++i) {
    auto hasty = show();
    hasty.reset();
  }
  EXPECT_TRUE(eventually([&] { return portal_->sessions() == 0; }));
}

TEST_F(PortalDesktop, WhatIsNoExtraDisplayIsNone) {
  openDesktop();
  int questions = 0;
  for (const auto user : {User::crashes, User::givesAMonitor, User::babbles}) {
    portal_->setUser(user);
    auto display = show();
    EXPECT_TRUE(becomes(display, State::failed)) << static_cast<int>(user);
    EXPECT_TRUE(listed().empty());
    EXPECT_TRUE(eventually([&] { return user == User::babbles || portal_->sessions() == 0; }));
    EXPECT_EQ(tokens(), "");
    EXPECT_FALSE(granted());
    // A failure is no refusal: the next display asks again.
    questions += user == User::babbles ? 0 : 1;
    EXPECT_EQ(portal_->questions(), questions);
  }
}

TEST_F(PortalDesktop, TheUserIsAskedOnce) {
  openDesktop();
  auto first = show();
  ASSERT_TRUE(lists(1));
  EXPECT_EQ(listed().front().pixels, kSize);
  EXPECT_EQ(portal_->questions(), 1);
  const std::string before = tokens();
  first.reset();
  EXPECT_TRUE(listed().empty());
  EXPECT_TRUE(eventually([&] { return portal_->sessions() == 0; }));

  // The next run knows; its token is renewed by use.
  closeDesktop();
  openDesktop();
  EXPECT_TRUE(granted());
  first = show();
  ASSERT_TRUE(lists(1));
  EXPECT_EQ(portal_->questions(), 1);
  EXPECT_TRUE(tokens().starts_with("token-2")) << "not renewed";
  EXPECT_NE(tokens(), before);
  first.reset();

  // A token that has lost its worth is no failure: the question comes again.
  closeDesktop();
  std::ofstream(tokenFile()) << "worthless\n";
  openDesktop();
  first = show();
  ASSERT_TRUE(lists(1));
  EXPECT_EQ(portal_->questions(), 2);
  EXPECT_EQ(tokens().find("worthless"), std::string::npos);
}

TEST_F(PortalDesktop, EachLossEndsTheDisplayAndTheNextOneComes) {
  openDesktop();
  const auto lose = [&](const char* what, const std::function<void()>& loss) {
    auto display = show();
    ASSERT_TRUE(lists(1)) << what;
    test::CapturedFrames frames;
    auto stream = onMain([&] {
      return desktop_->createCaptureStream(display->displayID(), {.size = kSize},
                                           queues_.thread("tessaline.capture"), frames.callbacks());
    });
    std::atomic<bool> started = false;
    onMain([&] {
      stream->start([&](const std::optional<std::string>& error) {
        EXPECT_FALSE(error) << *error;
        started = true;
      });
    });
    ASSERT_TRUE(eventually([&] { return started.load(); }));
    loss();
    EXPECT_TRUE(becomes(display, State::failed)) << what;
    EXPECT_TRUE(lists(0)) << what;
    EXPECT_TRUE(eventually([&] { return frames.stops().size() == 1; })) << what;
    onMain([&] {
      stream->stop();
      stream.reset();
    });
    display.reset();
  };
  lose("the desktop's stop button", [&] { portal_->endSharing(); });
  lose("the portal", [&] { portal_.reset(); });
}

}  // namespace
}  // namespace tessaline::platform

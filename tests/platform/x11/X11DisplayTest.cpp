#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>

#include "platform/x11/X11Fixture.h"
#include "support/Program.h"

namespace tessaline::platform {
namespace {

using testing::HasSubstr;

class X11DisplayTest : public X11Fixture {
 protected:
  /// "NAME WIDTH/MMxHEIGHT/MM+X+Y OUTPUT" of each.
  std::string monitors() { return run({"xrandr", "--listmonitors"}); }
  /// Everything that a display might leave behind.
  std::string traces() {
    return run({"sh", "-c",
                "xrandr --prop | grep -E 'Screen|[0-9]x[0-9]+[+]|EDID|\t\t00ff|tessaline'"}) +
           monitors();
  }

  /// Another process that makes a display and is then killed while it has it.
  void crashWithDisplay(const std::string& name) {
    test::Program run({CRASHING_RUN, server_->display(), name});
    EXPECT_TRUE(run.waitFor("made")) << run.output();
    run.signal(SIGKILL);
    run.wait();
  }
};

TEST_F(X11DisplayTest, StandSideBySideWithSizeNameAndIdentityAndFollowTheirUserAndLeaveNoTrace) {
  openDesktop();
  const std::string before = traces();
  EXPECT_FALSE(makeDisplay("too wide", {32767, 100}));
  EXPECT_FALSE(makeDisplay("no memory for it", {16000, 16000}));
  EXPECT_FALSE(makeDisplay("empty", {0, 100}));
  EXPECT_EQ(traces(), before);
  auto first = makeDisplay("Küche iPad", {800, 600});
  auto second = makeDisplay("Küche iPad", {800, 600});
  auto third = makeDisplay("", {3840, 2160});
  ASSERT_TRUE(first && second && third);
  EXPECT_EQ(boundsOf(first->displayID()), (PixelRect{1280, 0, 800, 600}));
  EXPECT_EQ(boundsOf(second->displayID()), (PixelRect{2080, 0, 800, 600}));
  EXPECT_EQ(boundsOf(third->displayID()), (PixelRect{2880, 0, 3840, 2160}));
  EXPECT_THAT(monitors(), AllOf(HasSubstr(" Küche iPad 800/300x600/200+1280+0  DUMMY"),
                                HasSubstr(" Küche iPad (2) 800/"), HasSubstr(" Tessaline 3840/")));
  // The start of each EDID, with vendor, product and serial number.
  EXPECT_THAT(traces(), HasSubstr("00ffffffffffff00eb15010004030201"));

  const RandrLayout now = layout();
  const auto output = std::ranges::find_if(now.outputs, [&](const auto& each) {
    return now.boundsOf(each.id) == PixelRect{2080, 0, 800, 600};
  });
  run({"xrandr", "--output", output->name, "--pos", "100x1000"});
  const PixelRect moved{100, 1000, 800, 600};
  EXPECT_TRUE(eventually([&] { return boundsOf(second->displayID()) == moved; }));
  EXPECT_THAT(monitors(), testing::ContainsRegex("iPad .2. 800/300x600/200.100.1000"));

  destroy(first);
  EXPECT_EQ(boundsOf(third->displayID()), (PixelRect{2880, 0, 3840, 2160}));
  destroy(third);
  EXPECT_EQ(layout().screen, (PixelSize{1280, 1600}));
  destroy(second);
  EXPECT_EQ(traces(), before);
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(X11DisplayTest, WithoutASpareOutputAMonitorAloneIsTheLastResort) {
  const std::string before = traces();
  crashWithDisplay("left over");  // sweeping works for both kinds
  EXPECT_NE(traces(), before);
  openDesktop();
  EXPECT_EQ(traces(), before);
  std::vector<std::unique_ptr<VirtualDisplay>> displays;
  displays.reserve(15);
  for (int i = 0; i < 15; ++i) displays.push_back(makeDisplay("filler", {64, 64}));
  EXPECT_TRUE(std::ranges::all_of(layout().outputs, [](auto& output) { return output.crtc != 0; }));
  crashWithDisplay("left over");
  EXPECT_EQ(layout().monitors.size(), 17U);
  auto last = makeDisplay("last", {800, 600});
  ASSERT_TRUE(last);
  EXPECT_EQ(boundsOf(last->displayID()).width, 800);
  EXPECT_THAT(monitors(), HasSubstr(" last"));
  destroy(last);

  // Another run sweeps what is left over and nothing that a living one has.
  onMain([&] {
    AsioQueues others;
    EXPECT_TRUE(openX11Desktop(others, server_->display()));
  });
  EXPECT_EQ(layout().monitors.size(), 16U);
  onMain([&] { displays.clear(); });
  EXPECT_EQ(traces(), before);
}

}  // namespace
}  // namespace tessaline::platform

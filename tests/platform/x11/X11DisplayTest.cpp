#include <algorithm>
#include <csignal>
#include <numeric>

#include "base/Bytes.h"
#include "platform/x11/X11Fixture.h"
#include "support/Program.h"

namespace tessaline::platform {
namespace {

class X11DisplayTest : public X11Fixture {
 protected:
  /// Everything that a display might leave behind.
  std::string traces() {
    const RandrLayout now = layout();
    std::string text =
        std::to_string(now.screen.width) + "x" + std::to_string(now.screen.height) + "\n";
    for (const auto& mode : now.modes) text += mode.name + "\n";
    for (const auto& monitor : now.monitors) text += client_->atomName(monitor.name) + "\n";
    for (const auto& output : now.outputs) {
      text += output.name + (output.crtc ? " on " : " off ") +
              std::to_string(property(output.id, "EDID").size()) + "\n";
    }
    return text;
  }

  Bytes property(xcb_randr_output_t output, const char* name) {
    const auto cookie = xcb_randr_get_output_property(client_->get(), output, client_->atom(name),
                                                      XCB_ATOM_ANY, 0, 64, 0, 0);
    const Reply<xcb_randr_get_output_property_reply_t> reply(
        xcb_randr_get_output_property_reply(client_->get(), cookie, nullptr));
    if (!reply) return {};
    const auto* data = xcb_randr_get_output_property_data(reply.get());
    return {data, data + xcb_randr_get_output_property_data_length(reply.get())};
  }

  std::string monitorNameAt(PixelRect bounds) {
    const RandrLayout now = layout();
    const auto found = std::ranges::find_if(
        now.monitors, [&](const auto& monitor) { return monitor.bounds == bounds; });
    return found == now.monitors.end() ? "" : client_->atomName(found->name);
  }

  /// Another process that makes a display and is then killed while it has it.
  void crashWithDisplay(const std::string& name) {
    test::Program run({TESSALINE_CRASHING_RUN, server_->display(), name});
    EXPECT_TRUE(run.waitFor("made")) << run.output();
    run.signal(SIGKILL);
    run.wait();
  }
};

TEST_F(X11DisplayTest, StandsRightOfTheDesktopWithSizeNameAndIdentityAndLeavesNoTrace) {
  openDesktop();
  const std::string before = traces();
  auto display = makeDisplay("Küche iPad", {1366, 768}, {476, 268});
  ASSERT_TRUE(display);
  const PixelRect expected{1280, 0, 1366, 768};
  EXPECT_EQ(boundsOf(display->displayID()), expected);

  const RandrLayout now = layout();
  EXPECT_EQ(now.screen, (PixelSize{1280 + 1366, 800}));
  EXPECT_EQ(monitorNameAt(expected), "Küche iPad");
  const auto* output = outputAt(now, expected);
  ASSERT_TRUE(output);
  EXPECT_TRUE(output->name.starts_with("DUMMY"));

  const Bytes edid = property(output->id, "EDID");
  ASSERT_EQ(edid.size(), 128U);
  EXPECT_EQ(std::accumulate(edid.begin(), edid.end(), 0) % 256, 0);
  EXPECT_EQ(Bytes(edid.begin() + 8, edid.begin() + 16),
            (Bytes{0xEB, 0x15, 1, 0, 0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(edid[21], 48);  // centimetres
  EXPECT_EQ(edid[56] + ((edid[58] & 0xF0) << 4), 1366);
  EXPECT_EQ(std::string(edid.begin() + 77, edid.begin() + 88), "K?che iPad\n");

  destroy(display);
  EXPECT_EQ(traces(), before);
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(X11DisplayTest, SeveralStandSideBySideAndFollowTheirUserAndWhatDoesNotFitLeavesNoTrace) {
  openDesktop();
  const std::string before = traces();
  EXPECT_FALSE(makeDisplay("too wide", {32767, 100}));
  EXPECT_FALSE(makeDisplay("no memory for it", {16000, 16000}));
  EXPECT_FALSE(makeDisplay("empty", {0, 100}));
  EXPECT_EQ(traces(), before);
  auto first = makeDisplay("iPad", {800, 600});
  auto second = makeDisplay("iPad", {800, 600});
  auto third = makeDisplay("", {3840, 2160});
  ASSERT_TRUE(first && second && third);
  EXPECT_EQ(boundsOf(first->displayID()), (PixelRect{1280, 0, 800, 600}));
  EXPECT_EQ(boundsOf(second->displayID()), (PixelRect{2080, 0, 800, 600}));
  EXPECT_EQ(boundsOf(third->displayID()), (PixelRect{2880, 0, 3840, 2160}));
  EXPECT_EQ(monitorNameAt({1280, 0, 800, 600}), "iPad");
  EXPECT_EQ(monitorNameAt({2080, 0, 800, 600}), "iPad (2)");
  EXPECT_EQ(monitorNameAt({2880, 0, 3840, 2160}), "Tessaline");

  const RandrLayout now = layout();
  const auto* crtc = now.crtc(outputAt(now, {2080, 0, 800, 600})->crtc);
  configure(*crtc, 100, 1000, crtc->mode);
  const PixelRect moved{100, 1000, 800, 600};
  EXPECT_TRUE(eventually([&] { return boundsOf(second->displayID()) == moved; }));
  EXPECT_TRUE(eventually([&] { return monitorNameAt(moved) == "iPad (2)"; }));

  destroy(first);
  EXPECT_EQ(boundsOf(third->displayID()), (PixelRect{2880, 0, 3840, 2160}));
  destroy(third);
  EXPECT_EQ(layout().screen, (PixelSize{1280, 1600}));
  destroy(second);
  EXPECT_EQ(traces(), before);
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
  const PixelRect bounds = boundsOf(last->displayID());
  EXPECT_EQ(bounds.width, 800);
  EXPECT_TRUE(monitorNameAt(bounds).starts_with("last"));
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

TEST_F(X11DisplayTest, LosingTheServerIsReportedOnceOnTheMainQueue) {
  openDesktop();
  auto display = makeDisplay("iPad", {640, 480});
  std::atomic<int> lost = 0;
  onMain([&] {
    desktop_->onLost = [&] {
      EXPECT_TRUE(queues_.main()->isCurrent());
      ++lost;
    };
  });
  server_->kill();
  EXPECT_TRUE(eventually([&] { return lost == 1; }));
  onMain([&] {
    EXPECT_FALSE(desktop_->shareableDisplays());
    EXPECT_FALSE(desktop_->createVirtualDisplay({}));
    desktop_->inputEvents().postMove({1, 1});
    display.reset();
  });
  onMain([] {});
  EXPECT_EQ(lost, 1);
}

}  // namespace
}  // namespace tessaline::platform

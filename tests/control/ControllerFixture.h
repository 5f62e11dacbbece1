#pragma once

#include <gmock/gmock.h>

#include "control/Controller.h"
#include "protocol/Framing.h"
#include "protocol/Proto.h"
#include "support/FakeDiscovery.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/RecordingCommands.h"
#include "support/TemporaryFolder.h"

namespace tessaline::test {

/// Writes down which windows were shown and closed.
struct RecordingWindows final : ControllerWindows {
  void showOnboarding() override { events.emplace_back("onboarding"); }
  void closeOnboarding() override { events.emplace_back("close"); }
  void showQR() override { events.emplace_back("qr"); }
  void showMacHelp() override { events.emplace_back("mac help"); }
  void setRegular(bool regular) override { events.emplace_back(regular ? "regular" : "accessory"); }
  std::vector<std::string> events;
};

/// A launched controller; the test is every screen, every browser, the user and the clock.
class ControllerFixture : public testing::Test {
 protected:
  ControllerFixture() {
    defaults_.set("onboarded", true);
    defaults_.set("mainConfigured", true);
  }
  ~ControllerFixture() override {
    controller_.reset();
    queues_.run();  // listeners end on their queue
  }
  ControllerServices services() {
    return {{queues_, desktop_, coding_, network_, &touch_},
            discovery_,
            workspace_,
            commands_,
            access_,
            windows_,
            touch_};
  }
  void launch() {
    prepareConnection();
    controller_->launch();
    queues_.run();
  }
  /// The connection that the next session gets.
  void prepareConnection() {
    next_ = std::make_shared<FakeConnection>(queues_.serial("tessaline.link"));
    network_.nextConnection = next_;
  }
  void show(const std::vector<std::string>& names) {
    discovery_.show(names);
    queues_.run();
  }
  /// Starts a session with `name` and returns its connection.
  std::shared_ptr<FakeConnection> connect(const std::string& name) {
    EXPECT_TRUE(controller_->connect(name)) << name;
    return connected();
  }
  /// The connection of the session that has just been started.
  std::shared_ptr<FakeConnection> connected() {
    queues_.run();
    const auto connection = next_;
    prepareConnection();
    return connection;
  }
  /// The screen introduces itself, the user allows it, the picture starts.
  void stream(FakeConnection& screen, bool allow = true) {
    screen.report(platform::ConnectionState::ready);
    screen.say(framing::message(Proto::hello, Hello{800, 600, {}, 1, "id", "", {}}.encoded()));
    queues_.run();
    if (const auto questions = controller_->approvedDevices().pending(); !questions.empty()) {
      controller_->approvedDevices().answer(questions.front().id, allow);
      queues_.run();
    }
    begin();
  }
  std::shared_ptr<FakeWebSocket> streamToBrowser(const std::string& name) {
    const auto socket = network_.browse(queues_);
    controller_->approvedDevices().add(name, name);
    socket->say(R"({"w":800,"h":600,"name":")" + name + R"(","key":")" + controller_->web().key() +
                R"(","id":")" + name + "\"}");
    queues_.run();
    begin();
    return socket;
  }
  /// The connection breaks.
  void lose(FakeConnection& screen) {
    screen.report(platform::ConnectionState::failed);
    queues_.run();
  }
  /// What the user does in the menu: the item with this title, submenus included.
  void choose(const std::string& title) {
    const auto menu = controller_->statusMenu();
    const auto* item = find(menu.items, title);
    ASSERT_TRUE(item && item->action) << title;
    item->action();
    queues_.run();
  }

  VirtualQueues queues_;
  FakeDesktop desktop_;
  FakeCoding coding_;
  FakeNetwork network_;
  FakeDiscovery discovery_;
  FakeWorkspace workspace_;
  FakeCaptureAccess access_;
  RecordingWindows windows_;
  std::shared_ptr<RecordingCommands> commands_ = std::make_shared<RecordingCommands>();
  TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  TouchInput touch_{queues_.main(), defaults_, desktop_};
  std::unique_ptr<Controller> controller_ = std::make_unique<Controller>(services(), defaults_);
  std::shared_ptr<FakeConnection> next_;

 private:
  void begin() {
    if (desktop_.stream) desktop_.stream->started(std::nullopt);
    queues_.run();
  }
  static const StatusMenuItem* find(const std::vector<StatusMenuItem>& items,
                                    const std::string& title) {
    for (const auto& item : items) {
      if (item.title == title) return &item;
      if (const auto* below = find(item.submenu, title)) return below;
    }
    return nullptr;
  }
};

}  // namespace tessaline::test

#include "app/AppDelegate.h"

#include <gtest/gtest.h>

#include <set>

#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

/// The world around a delegate; what the delegate does to it is one text, in order.
class World : public testing::Test, public AppDelegate::Outside {
 protected:
  class FakeRole final : public AppDelegate::Role {
   public:
    FakeRole(World& world, std::string name) : world_(world), name_(std::move(name)) {
      world_.role = this;
    }
    ~FakeRole() override { world_.role = nullptr; }
    void start() override { world_.log(name_ + " starts"); }
    void reopen() override { world_.log(name_ + " reopens"); }
    void quit(std::function<void()> done) override {
      world_.log(name_ + " quits");
      world_.quitDone = std::move(done);
    }

   private:
    World& world_;
    const std::string name_;
  };
  class FakeChooser final : public AppDelegate::Chooser {
   public:
    explicit FakeChooser(World& world) : world_(world) { world_.chooser = this; }
    ~FakeChooser() override {
      world_.log("chooser closes");
      if (world_.chooser == this) world_.chooser = nullptr;
    }
    void show() override { world_.log("chooser shows"); }

   private:
    World& world_;
  };

  void setActivationPolicy(ActivationPolicy policy) override {
    log(policy == ActivationPolicy::regular ? "regular" : "accessory");
  }
  bool mainModeSupported() override { return supported; }
  std::unique_ptr<AppDelegate::Role> createRole(AppMode mode) override {
    if (impossible.contains(mode)) {
      if (mode == AppMode::main) supported = false;
      return nullptr;
    }
    return std::make_unique<FakeRole>(*this, std::string(mode.text()));
  }
  std::unique_ptr<AppDelegate::Chooser> createChooser() override {
    return std::make_unique<FakeChooser>(*this);
  }
  void requestScreenPermission() override { log("requests permission"); }
  bool relaunch() override {
    log("relaunches");
    return relaunchWorks;
  }
  void exit(int code) override { log("exits " + std::to_string(code)); }

  void log(const std::string& what) { happened += (happened.empty() ? "" : ", ") + what; }
  std::string taken() { return std::exchange(happened, {}); }

  AppDelegate& launch(const std::string& mode, std::vector<std::string> arguments = {}) {
    defaults.set("mode", mode);
    delegate_ = std::make_unique<AppDelegate>(*this, defaults, std::move(arguments));
    delegate_->didFinishLaunching();
    return *delegate_;
  }

  void choose(AppMode mode) {
    const auto onChoose = chooser->onChoose;  // it destroys the chooser
    onChoose(mode);
  }

  const test::TemporaryFolder folder;
  UserDefaults defaults{folder.path() / "defaults.json"};
  bool supported = true;
  bool relaunchWorks = true;
  std::set<AppMode::Value> impossible;
  FakeRole* role = nullptr;
  FakeChooser* chooser = nullptr;
  std::function<void()> quitDone;
  std::string happened;

  std::unique_ptr<AppDelegate> delegate_;
};

TEST_F(World, TheStoredRoleDecides) {
  const struct {
    const char* stored;
    bool supported;
    const char* argument;
    const char* expected;
  } cases[] = {{"", true, "", "regular, chooser shows"},
               {"main", true, "", "accessory, main starts"},
               {"main", false, "", "regular, chooser shows"},
               {"screen", true, "", "regular, screen starts"},
               {"MAIN", true, "", "regular, chooser shows"},
               {"main", true, "--request-screen", "accessory, main starts, requests permission"},
               {"screen", true, "--request-screen", "regular, screen starts"}};
  for (const auto& c : cases) {
    supported = c.supported;
    launch(c.stored, {c.argument});
    EXPECT_EQ(taken(), c.expected) << c.stored << c.argument;
    delegate_.reset();
    taken();
  }
}

TEST_F(World, ChoosingMainWhereItIsNotSupportedAsksAgainAndKeepsTheChoice) {
  supported = false;
  launch("");
  taken();
  choose(AppMode::main);
  EXPECT_EQ(taken(), "chooser closes, regular, chooser shows");
  EXPECT_EQ(AppMode::current(defaults), AppMode::main);
  ASSERT_NE(chooser, nullptr);
  choose(AppMode::screen);
  EXPECT_EQ(taken(), "chooser closes, regular, screen starts");
  EXPECT_EQ(AppMode::current(defaults), AppMode::screen);
}

TEST_F(World, ADesktopThatCannotBeOpenedLeadsBackToTheChooser) {
  impossible = {AppMode::main};
  AppDelegate& delegate = launch("main");
  EXPECT_EQ(taken(), "accessory, regular, chooser shows");
  EXPECT_EQ(delegate.role(), std::nullopt);
  delegate.terminate(0);
  EXPECT_EQ(taken(), "chooser closes, exits 0");
}

TEST_F(World, SwitchingForgetsTheRoleRelaunchesAndEndsInOrder) {
  for (const bool works : {true, false}) {
    relaunchWorks = works;
    defaults.set("onboarded", true);
    defaults.set("deviceID", "kept");
    launch("main");
    taken();
    role->onSwitchMode();
    EXPECT_EQ(taken(), "relaunches, main quits") << "the goodbyes come before the end";
    EXPECT_EQ(AppMode::current(defaults), std::nullopt);
    EXPECT_EQ(defaults.boolean("onboarded"), std::nullopt);
    EXPECT_EQ(defaults.string("deviceID"), "kept");
    quitDone();
    EXPECT_EQ(taken(), "exits 0");
  }
}

TEST_F(World, TheFirstReasonToEndCounts) {
  AppDelegate& delegate = launch("main");
  taken();
  delegate.terminate(1);
  delegate.terminate(0);
  delegate.switchMode();
  EXPECT_FALSE(delegate.reopen()) << "whoever asked has to start anew";
  EXPECT_EQ(taken(), "main quits");
  EXPECT_EQ(AppMode::current(defaults), AppMode::main) << "an ending application switches nothing";
  quitDone();
  EXPECT_EQ(taken(), "exits 1");
}

}  // namespace
}  // namespace tessaline

#include "app/Application.h"

#include <QApplication>

#include "app/DesktopLoss.h"
#include "app/MainMenu.h"
#include "app/MainMenuView.h"
#include "app/ModeChooserWindow.h"
#include "app/OpenDesktop.h"
#include "base/Log.h"
#include "platform/common/http/CurlHttpClient.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/common/media/MediaVideoDecoding.h"
#include "platform/common/net/AsioNetwork.h"
#include "platform/common/net/OpenSslSecurity.h"
#include "platform/linux/desktop/ChildProcesses.h"
#include "platform/linux/desktop/DBusControl.h"
#include "platform/linux/desktop/LinuxPrivileges.h"
#include "platform/linux/discovery/AvahiDiscovery.h"
#include "receiver/ScreenWindows.h"

namespace tessaline {
namespace {

/// The chooser's window as the delegate handles it.
class WindowChooser final : public AppDelegate::Chooser {
 public:
  explicit WindowChooser(std::unique_ptr<ModeChooserWindow> window) : window_(window.release()) {
    window_->onChoose = [this](AppMode mode) {
      const auto choose = onChoose;  // the delegate destroys this chooser in the call
      choose(mode);
    };
  }
  ~WindowChooser() override {
    window_->onChoose = nullptr;
    window_->hide();
    window_->deleteLater();  // the click that chose is still being handled in it
  }
  void show() override { window_->bringToFront(); }

 private:
  ModeChooserWindow* const window_;
};

}  // namespace

Application::Application(Environment environment)
    : environment_(std::move(environment)),
      controlBus_(*this),
      endpoint_(platform::DBusControl::serve(environment_.busName, controlBus_.requests(),
                                             environment_.queues.main())),
      delegate_(*this, environment_.defaults, environment_.arguments) {}

Application::~Application() = default;

void Application::launch() {
  delegate_.didFinishLaunching();
  changed();
}

void Application::terminate(int exitCode) {
  delegate_.terminate(exitCode);
}

void Application::setActivationPolicy(ActivationPolicy /*policy*/) {
  // Linux desktops list windows, not applications: what has no window is not listed anyway.
}

std::unique_ptr<AppDelegate::Role> Application::createRole(AppMode mode) {
  return mode == AppMode::main ? createMainRole() : createScreenRole();
}

std::unique_ptr<AppDelegate::Role> Application::createMainRole() {
  Queues& queues = environment_.queues;
  auto desktop = openDesktop(queues, environment_.defaults, environment_.support);
  desktop->onLost = [this] {
    DesktopLoss::report();
    delegate_.terminate(1);
  };
  auto discovery = platform::createDiscovery(queues);
  auto network = platform::createNetwork(discovery);
  auto role = std::make_unique<MainRole>(
      queues, environment_.defaults,
      MainRole::System{.desktop = std::move(desktop),
                       .coding = platform::createVideoCoding(queues),
                       .discovery = std::move(discovery),
                       .network = std::move(network),
                       .commands = std::make_shared<platform::LinuxSystemCommands>(),
                       .processes = platform::createProcessRunner(),
                       .http = platform::createHttpClient(),
                       .security = platform::createTransportSecurity(),
                       .support = environment_.support},
      environment_.workspace, mainWindows_);
  mainWindows_.open(role->controller());
  role->onReopen = [this] { mainWindows_.reopen(); };
  role->onTerminate = [this] { delegate_.terminate(0); };
  changes_ = role->controller().observe([this] { changed(); });
  mainRole_ = role.get();
  return role;
}

std::unique_ptr<AppDelegate::Role> Application::createScreenRole() {
  Queues& queues = environment_.queues;
  auto discovery = platform::createDiscovery(queues);
  auto network = platform::createNetwork(discovery);
  auto decoding = platform::createVideoDecoding(queues);
  auto windows = std::make_unique<ScreenWindows>(VideoView::create(queues, *decoding));
  windows->decorateHome = [this](HomeWindow& home) {
    auto* bar = new MainMenuView(mainMenu(), home);
    bar->onMenu = [this](MenuAction action) { perform(action); };
    home.setMenuBar(bar);
  };
  auto role = std::make_unique<ScreenRole>(queues, environment_.defaults, environment_.workspace,
                                           ScreenRole::System{.discovery = std::move(discovery),
                                                              .network = std::move(network),
                                                              .decoding = std::move(decoding),
                                                              .windows = std::move(windows)},
                                           mainModeSupported());
  changes_ = role->controller().observe([this] { changed(); });
  screenRole_ = role.get();
  return role;
}

std::unique_ptr<AppDelegate::Chooser> Application::createChooser() {
  auto window = std::make_unique<ModeChooserWindow>(mainModeSupported(), mainMenu());
  window->onMenu = [this](MenuAction action) { perform(action); };
  return std::make_unique<WindowChooser>(std::move(window));
}

void Application::perform(MenuAction action) {
  if (action == MenuAction::switchMode) delegate_.switchMode();
  if (action == MenuAction::quit) delegate_.terminate(0);
}

void Application::exit(int code) {
  mainWindows_.close();
  QCoreApplication::exit(code);
}

std::string_view Application::role() const {
  const auto mode = delegate_.role();
  return mode ? mode->text() : "none";
}

std::string Application::screenStatus() const {
  return screenRole_ ? screenRole_->controller().status() : std::string();
}

void Application::requestScreenPermission() {
  mainRole_->controller().requestScreenPermission();
}

void Application::changed() {
  // What happens in one go is one announcement. The event loop ends before this object does.
  if (std::exchange(changeAnnounced_, true)) return;
  environment_.queues.main()->async([this] {
    changeAnnounced_ = false;
    endpoint_->announceChange();
  });
}

}  // namespace tessaline

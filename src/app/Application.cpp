#include "app/Application.h"

#include <QApplication>

#include "app/DesktopLoss.h"
#include "app/MainMenu.h"
#include "app/ModeChooserWindow.h"
#include "app/OpenDesktop.h"
#include "base/Log.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/common/net/AsioNetwork.h"
#include "platform/linux/desktop/DBusControl.h"

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
  if (mode == AppMode::main) return createMainRole();
  log("being an extra screen is not part of this version yet; `tessalinectl switch-mode` asks for "
      "the role again");
  return nullptr;
}

std::unique_ptr<AppDelegate::Role> Application::createMainRole() {
  auto desktop = openDesktop(environment_.queues);
  if (!desktop) {
    log("this desktop cannot have extra screens: " + desktop.error());
    mainModeSupported_ = false;
    return nullptr;
  }
  (*desktop)->onLost = [this] {
    DesktopLoss::report();
    delegate_.terminate(1);
  };
  auto role = std::make_unique<MainRole>(
      environment_.queues, environment_.defaults,
      MainRole::System{std::move(*desktop), platform::createVideoCoding(environment_.queues),
                       platform::createNetwork()});
  alert_ = std::make_unique<ApprovalAlertWindow>(role->controller().approvedDevices());
  role->onReopen = [this] { alert_->bringToFront(); };
  changes_ = role->controller().observe([this] { changed(); });
  mainRole_ = role.get();
  return role;
}

std::unique_ptr<AppDelegate::Chooser> Application::createChooser() {
  auto window = std::make_unique<ModeChooserWindow>(mainModeSupported_, mainMenu());
  window->onMenu = [this](MenuAction action) {
    if (action == MenuAction::switchMode) delegate_.switchMode();
    if (action == MenuAction::quit) delegate_.terminate(0);
  };
  return std::make_unique<WindowChooser>(std::move(window));
}

void Application::exit(int code) {
  alert_.reset();
  QCoreApplication::exit(code);
}

std::string_view Application::role() const {
  const auto mode = delegate_.role();
  return mode ? mode->text() : "none";
}

std::string Application::screenStatus() const {
  return {};
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

#include <QApplication>
#include <cstdlib>
#include <optional>

#include "app/Application.h"
#include "app/ApplicationIcon.h"
#include "app/DesktopLoss.h"
#include "app/QtMainQueue.h"
#include "base/AsioQueue.h"
#include "base/Log.h"
#include "platform/linux/desktop/ApplicationFolders.h"
#include "platform/linux/desktop/DBusControl.h"
#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/LinuxWorkspace.h"
#include "platform/linux/desktop/TerminationSignals.h"
#include "shell/Brand.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::InstanceLock;

// An instance that ends takes one second for its goodbyes; past this one it hangs.
constexpr auto kPredecessorLimit = 10s;
// Between its bus name and its lock an instance comes and goes in much less.
constexpr auto kSettlingLimit = 3s;

/// Warnings of the toolkit belong into the log; what it calls fatal (no display, say) ends the
/// process without the crash report that Qt would have the system make.
void logToolkit(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
  if (type == QtDebugMsg || type == QtInfoMsg) return;
  // Of a desktop that has gone the log may have its line already.
  if (type == QtFatalMsg && !DesktopLoss::claim()) std::_Exit(EXIT_FAILURE);
  log("window system: " + text.toStdString());
  if (type == QtFatalMsg) std::_Exit(EXIT_FAILURE);
}

/// Another instance has this configuration folder: has it come to the front.
bool activateOther(const std::string& busName) {
  return !platform::DBusControl::client(busName)->request("Activate", std::nullopt).problem;
}

/// Becomes the one instance of the folder, or has the one that is there come to the front and
/// answers this process's exit code.
std::optional<int> settleInstance(InstanceLock& lock, bool successor, const std::string& busName) {
  const auto taken = InstanceLock::Outcome::taken;
  if (lock.acquire(successor ? kPredecessorLimit : 0s) != taken) return std::nullopt;
  if (activateOther(busName)) return EXIT_SUCCESS;
  // It does not answer while it ends or has only just begun.
  if (lock.acquire(kSettlingLimit) != taken) return std::nullopt;
  if (activateOther(busName)) return EXIT_SUCCESS;
  log("already running, but the other instance cannot be reached to bring it to the front");
  return EXIT_FAILURE;
}

int run(const Application::Environment& environment) {
  Application application(environment);
  const platform::TerminationSignals signals(environment.queues, [&](const char* name) {
    log(std::string(name) + ": ending");
    application.terminate(EXIT_SUCCESS);
  });
  environment.queues.main()->async([&] { application.launch(); });
  const DesktopLoss loss;
  return QCoreApplication::exec();
}

int start(int argc, char** argv) {
  platform::LinuxWorkspace workspace;
  const bool successor = platform::LinuxWorkspace::takeSuccession();
  const auto folders = platform::ApplicationFolders::fromEnvironment();
  InstanceLock lock(folders.configuration / "lock");
  if (const auto exitCode = settleInstance(lock, successor, folders.busName)) return *exitCode;

  qInstallMessageHandler(logToolkit);
  int qtArgumentCount = 1;  // the toolkit's own arguments are none of this application's
  QApplication qt(qtArgumentCount, argv);
  QApplication::setApplicationName(QString::fromUtf8(Brand::kName.data()));
  QApplication::setDesktopFileName("app.tessaline");
  QApplication::setWindowIcon(ApplicationIcon::icon());
  QApplication::setQuitOnLastWindowClosed(false);
  QCoreApplication::setQuitLockEnabled(false);

  AsioQueues queues(std::make_shared<QtMainQueue>());
  UserDefaults defaults(folders.configuration / "defaults.json");
  const int exitCode = run({queues, defaults, workspace, folders.busName, folders.support,
                            std::vector<std::string>(argv + 1, argv + argc)});
  // What was to be deleted by the loop and ended after it, timers above all.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  return exitCode;
}

}  // namespace
}  // namespace tessaline

int main(int argc, char** argv) {
  return tessaline::start(argc, argv);
}

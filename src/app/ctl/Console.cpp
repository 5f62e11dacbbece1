#include "app/ctl/Console.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iostream>

#include "app/ctl/ExitCodes.h"
#include "app/ctl/QrText.h"
#include "base/SafeText.h"

namespace tessaline::ctl {
namespace {

// What the client's thread reports, as sums in one counter: changes in the low half.
constexpr std::uint64_t kChange = 1;
constexpr std::uint64_t kGone = std::uint64_t{1} << 32;

constexpr int kSignalBase = 128;  // a shell's exit code for death by signal n is this plus n

/// Blocked here, before the client starts its thread, so that all of them come to the descriptor.
int openSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCONT}) sigaddset(&signals, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

void report(int descriptor, std::uint64_t event) {
  [[maybe_unused]] const auto written = ::write(descriptor, &event, sizeof event);
}

}  // namespace

Console::Console(platform::ControlClient& client)
    : client_(client), events_(::eventfd(0, EFD_CLOEXEC)), signals_(openSignals()) {}

Console::~Console() {
  ::close(signals_);
  // The client's thread may still report; the process ends right after this.
}

int Console::run() {
  const int events = events_;
  if (!client_.watch(
          {[events] { report(events, kChange); }, [events] { report(events, kGone); }})) {
    std::cerr << "Tessaline is not running.\n";
    return kNotRunning;
  }
  const auto reply = client_.request("Status", std::nullopt);
  const auto status = reply.problem ? std::nullopt : Status::parse(reply.text);
  if (!status) {
    std::cerr << withoutControls(reply.text) << '\n';
    return kNotRunning;
  }
  introduce(*status);
  showComputers(status->computers);
  showScreens(status->screens);
  showPrompt(status->pending);
  while (!exitCode_) {
    pollfd sources[] = {
        {events_, POLLIN, 0}, {signals_, POLLIN, 0}, {keys_.descriptor(), POLLIN, 0}};
    if (::poll(sources, std::size(sources), -1) < 0) continue;
    if (sources[1].revents != 0) handleSignal();
    if (sources[0].revents != 0) handleEvents();
    if (sources[2].revents != 0 && !exitCode_) {
      if (const auto key = keys_.read()) handleKey(*key);
    }
  }
  return *exitCode_;
}

void Console::introduce(const Status& status) {
  if (status.link.empty()) {
    std::cout << "This computer has no role yet, or it is an extra screen: there is no link.\n";
  } else {
    std::cout << "Link:                " << status.link << '\n';
    if (!status.localLink.empty()) std::cout << "On this computer:    " << status.localLink << '\n';
    std::cout << '\n' << qrText(status.link, ::isatty(STDOUT_FILENO) != 0) << '\n';
    if (!status.encrypted) {
      std::cout << "Browsers of other devices show the screen over HTTPS only: "
                   "tools/certificate-service/README.md\ntells how to get there. On this computer "
                   "they use the second link.\n";
    }
  }
  if (keys_.descriptor() >= 0) {
    std::cout << "Keys: s starts and stops the extra screen on another computer, q ends "
                 "Tessaline.\n";
  }
  std::cout << std::endl;
}

void Console::handleEvents() {
  std::uint64_t events = 0;
  if (::read(events_, &events, sizeof events) != sizeof events) return;
  if (events >= kGone) {
    std::cout << "Tessaline has ended." << std::endl;
    exitCode_ = quitting_ ? kDone : kNotRunning;
    return;
  }
  refresh();
}

void Console::refresh() {
  const auto reply = client_.request("Status", std::nullopt);
  // When the application is ending, the notice of that is on its way.
  const auto status = reply.problem ? std::nullopt : Status::parse(reply.text);
  if (!status) return;
  showComputers(status->computers);
  showScreens(status->screens);
  showPrompt(status->pending);
}

void Console::showComputers(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    if (std::ranges::find(computers_, name) == computers_.end()) {
      std::cout << "Computer on the network that can be the screen: " << name << std::endl;
    }
  }
  computers_ = names;
}

void Console::showScreens(const std::vector<Status::Screen>& screens) {
  screensPresent_ = !screens.empty();
  std::vector<std::string> lines;
  for (const auto& screen : screens) {
    // Whoever has not said who it is yet may be anybody, and most are gone at once.
    if (screen.streaming) lines.push_back(screen.line());
  }
  for (const auto& line : lines) {
    if (std::ranges::find(screenLines_, line) == screenLines_.end()) {
      std::cout << line << std::endl;
    }
  }
  if (lines.empty() && !screenLines_.empty()) std::cout << "No extra screen is left." << std::endl;
  screenLines_ = std::move(lines);
}

void Console::showPrompt(const std::vector<Status::Prompt>& pending) {
  if (asked_) {
    const auto same = [this](const Status::Prompt& prompt) { return prompt.id == asked_->id; };
    if (std::ranges::any_of(pending, same)) return;
    std::cout << "  (answered elsewhere)" << std::endl;
    asked_.reset();
  }
  if (pending.empty()) return;
  asked_ = pending.front();
  std::cout << '\a' << asked_->question << '\n' << "  " << asked_->explanation << '\n';
  if (keys_.descriptor() >= 0) {
    std::cout << "  a: Use as Extra Screen   d: Don't Allow" << std::endl;
  } else {
    std::cout << "  Answer with: tessalinectl allow '#" << asked_->id << "' or deny '#"
              << asked_->id << "'" << std::endl;
  }
}

void Console::handleKey(char key) {
  if ((key == 'a' || key == 'A') && asked_) answer(true);
  if ((key == 'd' || key == 'D') && asked_) answer(false);
  if (key == 's' || key == 'S') {
    const auto reply =
        client_.request(screensPresent_ ? "Stop" : "Start",
                        screensPresent_ ? std::nullopt : std::optional(std::string()));
    if (reply.problem) std::cout << withoutControls(reply.text) << std::endl;
  }
  if (key == 'q' || key == 'Q') {
    quitting_ = true;
    const auto reply = client_.request("Quit", std::nullopt);
    // Whether it has ended now or was gone before, its notice says so and ends this program.
    if (reply.problem) std::cout << withoutControls(reply.text) << std::endl;
  }
}

void Console::answer(bool allow) {
  const Status::Prompt prompt = *asked_;
  asked_.reset();
  const auto reply = client_.request(allow ? "Allow" : "Deny", '#' + std::to_string(prompt.id));
  if (reply.problem) {
    std::cout << "  " << withoutControls(reply.text) << std::endl;
  } else {
    std::cout << "  " << (allow ? "allowed: " : "not allowed: ") << prompt.name << std::endl;
  }
  refresh();
}

void Console::handleSignal() {
  signalfd_siginfo signal{};
  if (::read(signals_, &signal, sizeof signal) != sizeof signal) return;
  if (signal.ssi_signo == SIGCONT) {
    keys_.resume();
    return;
  }
  exitCode_ = kSignalBase + static_cast<int>(signal.ssi_signo);
}

}  // namespace tessaline::ctl

#include "platform/linux/wayland/mutter/MutterClipboard.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <utility>

#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using Names = MutterNames;
using Options = std::map<std::string, sdbus::Variant>;

constexpr int kReadPatience = 500;                    // ms, for the program that offers a text
constexpr std::size_t kLongestSaved = 1024UL * 1024;  // bytes
constexpr const char* kTypes[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"};

/// On a thread of its own: a program that stops reading costs its text and not this process.
void ignoreBrokenPipes() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// The whole text; nothing when it is too long or too slow.
std::optional<std::string> readAll(int file) {
  std::string text;
  char buffer[4096];
  while (text.size() <= kLongestSaved) {
    pollfd ready{file, POLLIN, 0};
    if (::poll(&ready, 1, kReadPatience) <= 0) return std::nullopt;
    const ssize_t count = ::read(file, buffer, sizeof buffer);
    if (count < 0) return std::nullopt;
    if (count == 0) return text;
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return std::nullopt;
}

}  // namespace

MutterClipboard::MutterClipboard(std::shared_ptr<Queue> main, std::shared_ptr<Queue> background,
                                 MutterBus& bus, const std::string& remoteSession)
    : main_(std::move(main)),
      background_(std::move(background)),
      bus_(bus),
      session_(bus.proxy(Names::kRemoteDesktop, remoteSession)) {
  bus_.handle<std::string, std::uint32_t>(
      session_.get(), Names::kRemoteSession, "SelectionTransfer", alive_,
      [this](const std::string& /*type*/, std::uint32_t serial) { write(serial); });
  bus_.handle<Options>(session_.get(), Names::kRemoteSession, "SelectionOwnerChanged", alive_,
                       [this](const Options& options) { ownerChanged(options); });
  bus_.listen(session_.get());
  bus_.tell(session_.get(), Names::kRemoteSession, "EnableClipboard", Options());
}

void MutterClipboard::ownerChanged(const Options& options) {
  theirType_.reset();
  const auto ours = options.find("session-is-owner");
  if (ours != options.end() && ours->second.containsValueOfType<bool>() &&
      ours->second.get<bool>()) {
    return;
  }
  lent_ = false;  // the user has copied something: that stays
  saved_.reset();
  using Types = sdbus::Struct<std::vector<std::string>>;
  const auto types = options.find("mime-types");
  if (types == options.end() || !types->second.containsValueOfType<Types>()) return;
  const auto offered = types->second.get<Types>().get<0>();
  for (const char* type : kTypes) {
    if (std::ranges::find(offered, type) == offered.end()) continue;
    theirType_ = type;
    return;
  }
}

void MutterClipboard::offer(std::string text, std::function<void(bool)> done) {
  if (lent_) return set(text, std::move(done));
  save([this, text = std::move(text), done = std::move(done)] { set(text, done); });
}

void MutterClipboard::save(std::function<void()> done) {
  lent_ = true;
  saved_.reset();
  if (!theirType_) return done();
  bus_.call<sdbus::UnixFd>(
      session_.get(), Names::kRemoteSession, "SelectionRead", alive_,
      [this, done = std::move(done)](const BusFailure& failure, const sdbus::UnixFd& file) {
        if (failure) return done();
        background_->async([this, done, file, main = main_, alive = std::weak_ptr<int>(alive_)] {
          auto text = readAll(file.get());
          main->async([this, done, alive, text = std::move(text)] {
            if (alive.expired()) return;
            saved_ = text;
            done();
          });
        });
      },
      *theirType_);
}

void MutterClipboard::set(const std::string& text, std::function<void(bool)> done) {
  text_ = text;
  const std::vector<std::string> types(std::begin(kTypes), std::end(kTypes));
  bus_.call<>(
      session_.get(), Names::kRemoteSession, "SetSelection", alive_,
      [done = std::move(done)](const BusFailure& failure) { done(!failure); },
      Options{{"mime-types", sdbus::Variant(types)}});
}

void MutterClipboard::restore() {
  if (!std::exchange(lent_, false) || !saved_) return;
  set(*std::exchange(saved_, std::nullopt), [](bool) {});
}

void MutterClipboard::write(std::uint32_t serial) {
  bus_.call<sdbus::UnixFd>(
      session_.get(), Names::kRemoteSession, "SelectionWrite", alive_,
      [this, serial](const BusFailure& failure, const sdbus::UnixFd& file) {
        if (failure) return;
        background_->async([text = text_, own = std::make_shared<sdbus::UnixFd>(file), this, serial,
                            main = main_, alive = std::weak_ptr<int>(alive_)] {
          ignoreBrokenPipes();
          std::size_t written = 0;
          while (written < text.size()) {
            pollfd ready{own->get(), POLLOUT, 0};
            if (::poll(&ready, 1, kReadPatience) <= 0) break;
            // A pipe that is ready takes this much without waiting.
            const auto size = std::min<std::size_t>(text.size() - written, 512);
            const ssize_t count = ::write(own->get(), text.data() + written, size);
            if (count <= 0) break;
            written += static_cast<std::size_t>(count);
          }
          own->reset();  // its end is the end of the text
          main->async([this, serial, alive, whole = written == text.size()] {
            if (alive.expired()) return;
            bus_.tell(session_.get(), Names::kRemoteSession, "SelectionWriteDone", serial, whole);
            if (onRead) onRead();
          });
        });
      },
      serial);
}

}  // namespace tessaline::platform

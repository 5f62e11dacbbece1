#include "platform/linux/wayland/mutter/MutterSession.h"

#include <utility>

#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {

using Names = MutterNames;

MutterSession::MutterSession(Queues& queues, MutterBus& bus, DisplayID display, PixelSize size,
                             int framesPerSecond, std::shared_ptr<WaylandPointer> pointer,
                             Callbacks callbacks)
    : queues_(queues),
      bus_(bus),
      display_(display),
      size_(size),
      framesPerSecond_(framesPerSecond),
      pointer_(std::move(pointer)),
      callbacks_(std::move(callbacks)) {}

MutterSession::~MutterSession() {
  if (remote_) bus_.tell(remote_.get(), Names::kRemoteSession, "Stop");
}

void MutterSession::start() {
  remoteService_ = bus_.proxy(Names::kRemoteDesktop, Names::kRemoteDesktopPath);
  castService_ = bus_.proxy(Names::kScreenCast, Names::kScreenCastPath);
  bus_.call<sdbus::ObjectPath>(
      remoteService_.get(), Names::kRemoteDesktop, "CreateSession", alive_,
      orEnd<sdbus::ObjectPath>("no remote desktop", [this](const auto& path) { gotRemote(path); }));
}

void MutterSession::gotRemote(const std::string& path) {
  remotePath_ = path;
  remote_ = bus_.proxy(Names::kRemoteDesktop, path);
  bus_.handle<>(remote_.get(), Names::kRemoteSession, "Closed", alive_,
                [this] { end("the desktop ended the sharing"); });
  bus_.listen(remote_.get());
  bus_.call<sdbus::Variant>(
      remote_.get(), Names::kProperties, "Get", alive_,
      orEnd<sdbus::Variant>("no session identifier",
                            [this](const sdbus::Variant& id) {
                              if (!id.containsValueOfType<std::string>())
                                return end("no session identifier");
                              bus_.call<sdbus::ObjectPath>(
                                  castService_.get(), Names::kScreenCast, "CreateSession", alive_,
                                  orEnd<sdbus::ObjectPath>(
                                      "no screen cast",
                                      [this](const auto& cast) { gotCast(cast); }),
                                  Options{{"remote-desktop-session-id", id}});
                            }),
      std::string(Names::kRemoteSession), std::string("SessionId"));
}

void MutterSession::gotCast(const std::string& path) {
  castSession_ = bus_.proxy(Names::kScreenCast, path);
  bus_.call<sdbus::ObjectPath>(
      castSession_.get(), Names::kScreenCastSession, "RecordVirtual", alive_,
      orEnd<sdbus::ObjectPath>("no virtual monitor",
                               [this](const auto& stream) { gotStream(stream); }),
      Options{{"cursor-mode", sdbus::Variant(Names::kPointerApart)}});
}

void MutterSession::gotStream(const std::string& path) {
  streamPath_ = path;
  stream_ = bus_.proxy(Names::kScreenCast, path);
  bus_.handle<std::uint32_t>(stream_.get(), Names::kStream, "PipeWireStreamAdded", alive_,
                             [this](std::uint32_t node) { gotNode(node); });
  bus_.listen(stream_.get());
  bus_.call<>(remote_.get(), Names::kRemoteSession, "Start", alive_,
              [this](const BusFailure& failure) {
                if (failure) return end("the sharing cannot start: " + *failure);
                running_ = true;
              });
}

void MutterSession::gotNode(std::uint32_t node) {
  if (ended_ || cast_) return;
  const ScreenCast::Wish wish{
      .size = size_, .fixedSize = true, .framesPerSecond = framesPerSecond_};
  auto cast = ScreenCast::open(queues_, {.node = node}, wish, display_, pointer_,
                               {.onFormat =
                                    [this](PixelSize size) {
                                      if (!ended_) callbacks_.onSize(size);
                                    },
                                .onEnded = [this](const std::string& reason) { end(reason); },
                                .onStill = [this] { stir(); }});
  if (!cast) return end("no pictures: " + cast.error());
  cast_ = std::move(*cast);
}

void MutterSession::stir() {
  // A motion of the pointer by nothing has Mutter tell where it is, and with that PipeWire pass on
  // what it has kept back.
  if (running_)
    bus_.tell(remote_.get(), Names::kRemoteSession, "NotifyPointerMotionRelative", 0.0, 0.0);
}

void MutterSession::end(const std::string& reason) {
  if (std::exchange(ended_, true)) return;
  running_ = false;
  callbacks_.onEnded(reason);
}

}  // namespace tessaline::platform

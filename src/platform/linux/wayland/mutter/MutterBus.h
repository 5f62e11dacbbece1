#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/linux/desktop/BusThread.h"
#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {

/// What a call or a reply of the bus failed with, nothing when it did not.
using BusFailure = std::optional<std::string>;

/// The connection to the session bus over which one desktop talks to Mutter, served by a thread of
/// its own ("tessaline.mutter"). Everything else is for the main queue: calls return at once, and
/// what comes of them arrives there, in order. Nothing of sdbus-c++ throws out of here. It outlives
/// its proxies.
class MutterBus final : private BusThread::Client {
 public:
  /// Whoever waits for a reply; nothing reaches it once it has gone.
  using Owner = std::weak_ptr<const void>;
  using Proxy = std::unique_ptr<sdbus::IProxy>;

  /// `onGone` runs once on the main queue, when Mutter or the bus has gone.
  static Result<std::unique_ptr<MutterBus>> open(std::shared_ptr<Queue> main,
                                                 std::function<void()> onGone);
  ~MutterBus() override = default;
  MutterBus(const MutterBus&) = delete;
  MutterBus& operator=(const MutterBus&) = delete;

  /// Null when the bus has gone.
  [[nodiscard]] Proxy proxy(const std::string& service, const std::string& path);

  /// `onReply` gets a failure or nothing, and the results.
  template <typename... Results, typename Handler, typename... Arguments>
  void call(sdbus::IProxy* proxy, const std::string& interface, const std::string& method,
            Owner owner, Handler onReply, Arguments&&... arguments) {
    auto answer = [main = main_, owner, onReply](BusFailure failure, Results... results) {
      main->async([=]() mutable {
        if (!owner.expired()) onReply(std::move(failure), std::move(results)...);
      });
    };
    try {
      if (!proxy) return answer("the session bus has gone", Results()...);
      proxy->callMethodAsync(method)
          .onInterface(interface)
          .withTimeout(kPatience)
          .withArguments(std::forward<Arguments>(arguments)...)
          .uponReplyInvoke([answer](bus::ReplyError error, Results... results) {
            answer(error ? BusFailure(error->getMessage()) : std::nullopt, std::move(results)...);
          });
      thread_.wake();  // to wait for the reply
    } catch (const sdbus::Error& error) {
      answer(error.getMessage(), Results()...);
    }
  }

  /// A call whose outcome concerns nobody.
  template <typename... Arguments>
  void tell(sdbus::IProxy* proxy, const std::string& interface, const std::string& method,
            Arguments&&... arguments) {
    call(
        proxy, interface, method, alive_, [](const BusFailure&) {},
        std::forward<Arguments>(arguments)...);
  }

  /// Call `listen` when the last handler of a proxy is there.
  template <typename... Values, typename Handler>
  void handle(sdbus::IProxy* proxy, const std::string& interface, const std::string& signal,
              Owner owner, Handler handler) {
    if (!proxy) return;
    try {
      proxy->uponSignal(signal).onInterface(interface).call(
          [main = main_, owner, handler](const Values&... values) {
            main->async([=] {
              if (!owner.expired()) handler(values...);
            });
          });
    } catch (const sdbus::Error&) {
      // The bus has gone, which `onGone` tells.
    }
  }
  void listen(sdbus::IProxy* proxy);

 private:
  static constexpr auto kPatience = std::chrono::seconds(10);  // a compositor that is busy

  MutterBus(std::shared_ptr<Queue> main, std::unique_ptr<sdbus::IConnection> connection,
            std::function<void()> onGone);
  BusThread::Clock::time_point update() override { return BusThread::Clock::time_point::max(); }
  std::vector<sdbus::IConnection*> connections() override;
  void lost(sdbus::IConnection& connection) override;
  void finish() override {}
  void tellGone();

  const std::shared_ptr<Queue> main_;
  const std::unique_ptr<sdbus::IConnection> connection_;
  std::function<void()> onGone_;
  bool gone_ = false;    // main queue
  bool broken_ = false;  // the thread's
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
  BusThread thread_;  // last: it starts at once
};

}  // namespace tessaline::platform

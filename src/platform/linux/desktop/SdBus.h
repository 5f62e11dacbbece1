#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The whole difference between sdbus-c++ 1 and 2: what reads differently in the two is written
/// with the words below, the rest with sdbus-c++'s own. CMake says which of them there is.
namespace tessaline::platform::bus {

#if TESSALINE_SDBUS_MAJOR >= 2
using ServiceName = sdbus::ServiceName;
/// What `uponReplyInvoke` and `callAsync` hand over first; false without an error.
using ReplyError = std::optional<sdbus::Error>;
using ErrorName = sdbus::Error::Name;
#else
using ServiceName = std::string;
using ReplyError = const sdbus::Error*;
using ErrorName = std::string;
#endif

inline std::unique_ptr<sdbus::IProxy> createProxy(sdbus::IConnection& connection,
                                                  const std::string& service,
                                                  const std::string& path) {
  return sdbus::createProxy(connection, ServiceName(service), sdbus::ObjectPath(path));
}

inline sdbus::Error error(const std::string& name, const std::string& message) {
  return {ErrorName(name), message};
}

/// Has the signals arrive that the proxy was told to wait for.
inline void finishRegistration([[maybe_unused]] sdbus::IProxy& proxy) {
#if TESSALINE_SDBUS_MAJOR < 2
  proxy.finishRegistration();
#endif
}

/// Calls `handler` with a sdbus::Message& for each message that fits the rule, as long as the
/// connection lasts.
template <typename Handler>
void addMatch(sdbus::IConnection& connection, const std::string& rule, Handler handler) {
#if TESSALINE_SDBUS_MAJOR >= 2
  connection.addMatch(
      rule, [handler = std::move(handler)](sdbus::Message message) mutable { handler(message); });
#else
  connection.addMatch(rule, std::move(handler), sdbus::floating_slot);
#endif
}

inline sdbus::MethodCall methodCall(sdbus::IProxy& proxy, const std::string& interface,
                                    const std::string& method) {
#if TESSALINE_SDBUS_MAJOR >= 2
  return proxy.createMethodCall(sdbus::InterfaceName(interface), sdbus::MethodName(method));
#else
  return proxy.createMethodCall(interface, method);
#endif
}

/// Calls `handler` with a sdbus::MethodReply& and a const ReplyError&.
template <typename Handler, typename Duration>
auto callAsync(sdbus::IProxy& proxy, const sdbus::MethodCall& call, Duration patience,
               Handler handler) {
#if TESSALINE_SDBUS_MAJOR >= 2
  return proxy.callMethodAsync(
      call,
      [handler = std::move(handler)](sdbus::MethodReply reply, const ReplyError& error) mutable {
        handler(reply, error);
      },
      patience);
#else
  return proxy.callMethod(call, sdbus::async_reply_handler(std::move(handler)), patience);
#endif
}

/// Serves what has come on a connection; false when there was nothing.
inline bool processPending(sdbus::IConnection& connection) {
#if TESSALINE_SDBUS_MAJOR >= 2
  return connection.processPendingEvent();
#else
  return connection.processPendingRequest();
#endif
}

/// The second file to wait for, readable when another thread has used the connection; -1 without.
inline int wakeFile([[maybe_unused]] const sdbus::IConnection::PollData& data) {
#if TESSALINE_SDBUS_MAJOR >= 2
  return data.eventFd;
#else
  return -1;
#endif
}

/// An object that others on the bus see: first its members are added, then it is published, once.
class Object {
 public:
  using Names = std::vector<std::string>;

  Object(sdbus::IConnection& connection, const std::string& path)
      : object_(sdbus::createObject(connection, sdbus::ObjectPath(path))) {}

  /// Names may be left out, but not for some of the arguments only.
  template <typename Function>
  void method(const std::string& interface, const std::string& name, Function&& function,
              Names inputs = {}, Names outputs = {}) {
#if TESSALINE_SDBUS_MAJOR >= 2
    auto method = sdbus::registerMethod(name);
#else
    auto method = object_->registerMethod(name);
    method.onInterface(interface);
#endif
    method.implementedAs(std::forward<Function>(function));
    if (!inputs.empty()) method.withInputParamNames(std::move(inputs));
    if (!outputs.empty()) method.withOutputParamNames(std::move(outputs));
    keep(interface, method);
  }

  template <typename... Arguments>
  void signal(const std::string& interface, const std::string& name) {
#if TESSALINE_SDBUS_MAJOR >= 2
    auto signal = sdbus::registerSignal(name);
#else
    auto signal = object_->registerSignal(name);
    signal.onInterface(interface);
#endif
    signal.template withParameters<Arguments...>();
    keep(interface, signal);
  }

  /// A property that can only be read.
  template <typename Getter>
  void property(const std::string& interface, const std::string& name, Getter&& getter) {
#if TESSALINE_SDBUS_MAJOR >= 2
    auto property = sdbus::registerProperty(name);
#else
    auto property = object_->registerProperty(name);
    property.onInterface(interface);
#endif
    property.withGetter(std::forward<Getter>(getter));
    keep(interface, property);
  }

  void publish() {
#if TESSALINE_SDBUS_MAJOR >= 2
    for (auto& [interface, items] : std::exchange(items_, {})) {
      object_->addVTable(std::move(items)).forInterface(interface);
    }
#else
    object_->finishRegistration();
#endif
  }

  sdbus::IObject* operator->() const {
    return object_.get();
  }

 private:
  template <typename Item>
  void keep([[maybe_unused]] const std::string& interface, [[maybe_unused]] Item& item) {
#if TESSALINE_SDBUS_MAJOR >= 2
    items_[interface].emplace_back(std::move(item));
#endif
  }

  std::unique_ptr<sdbus::IObject> object_;
#if TESSALINE_SDBUS_MAJOR >= 2
  std::map<std::string, std::vector<sdbus::VTableItem>> items_;
#endif
};

}  // namespace tessaline::platform::bus

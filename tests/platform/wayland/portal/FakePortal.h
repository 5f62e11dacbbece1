#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/desktop/SdBus.h"

namespace tessaline::test {

/// Plays the desktop portal on this process's session bus, and the user who answers it. It gives a
/// single-use token with every consent; one that it knows answers its question. Callable from any
/// thread.
class FakePortal {
 public:
  enum class User {
    grants,
    refuses,
    waits,    ///< until `answer`
    crashes,  ///< the portal says that something went wrong
    babbles,  ///< answers that no interface has
    givesAMonitor,
  };

  /// `node` is granted, `remote` gives connections to PipeWire.
  FakePortal(std::uint32_t node, std::function<int()> remote);
  ~FakePortal();
  FakePortal(const FakePortal&) = delete;
  FakePortal& operator=(const FakePortal&) = delete;

  void setUser(User user) { user_ = user; }
  /// Answers the question that stands open.
  void answer();
  /// Ends all sessions.
  void endSharing();

  [[nodiscard]] int questions() const { return questions_; }
  [[nodiscard]] std::size_t sessions();
  [[nodiscard]] int closedRequests() const { return closedRequests_; }

 private:
  using Values = std::map<std::string, sdbus::Variant>;

  void serveSessions();
  sdbus::ObjectPath request(const Values& options);
  void respond(const std::string& request, std::uint32_t response, const Values& values);
  void openSession(const std::string& path);
  sdbus::ObjectPath start(const std::string& session, const Values& options);
  void grant(const std::string& request, std::uint32_t sourceType);
  /// Of an object of the caller that is served at present.
  [[nodiscard]] std::string pathOf(const std::string& kind, const sdbus::Variant& token) const;

  const std::uint32_t node_;
  const std::function<int()> remote_;
  std::atomic<User> user_ = User::grants;
  std::atomic<int> questions_ = 0;
  std::atomic<int> closedRequests_ = 0;
  std::set<std::string> restored_;  // sessions that a token has answered for; the bus's thread
  // Guards what follows. The bus's own lock, which its thread holds whenever it calls in here,
  // comes first: nothing is emitted while this one is held.
  std::mutex mutex_;
  std::set<std::string> tokens_;
  std::string open_;  // the request that waits for the user
  int given_ = 0;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<platform::bus::Object> portal_;
  std::map<std::string, std::unique_ptr<platform::bus::Object>> objects_;
  std::set<std::string> sessions_;
};

}  // namespace tessaline::test

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/LimitedLog.h"
#include "base/Observers.h"
#include "base/UserDefaults.h"
#include "platform/Network.h"
#include "streaming/Session.h"
#include "web/ApprovedDevices.h"
#include "web/TLSIdentity.h"

namespace tessaline {

class UnprovenLinks;
class WebLink;

/// Lets any device with a browser become an extra screen: serves the page on one port and turns
/// every WebSocket on the other into a link with a session of its own. Owns the link key that makes
/// the page's address secret and the list of browser sessions. Lives on the main queue; listeners
/// and page requests live on "tessaline.webserver". Owned by the controller.
class WebScreenServer {
 public:
  static constexpr std::uint16_t pagePort = 7790;
  static constexpr std::uint16_t socketPort = 7791;

  /// Without `tls` it speaks plain HTTP.
  WebScreenServer(SessionServices services, UserDefaults& defaults, ApprovedDevices& approved,
                  std::optional<TLSIdentity> tls = std::nullopt);
  ~WebScreenServer();

  /// Handed to each session, which calls it on any queue. Set before `start`.
  std::function<void()> onActivity;
  /// Bit/s for a 1920 × 1080 picture, handed to each new session.
  int bitrate = 25'000'000;

  /// Starts both listeners. A port that is in use costs one log line and that listener only.
  void start();
  /// Makes a new link: the old one and its QR code stop working and every session ends.
  void renewKey();
  /// Ends every session politely.
  void stopAll();
  /// Takes up a new certificate or host name: both listeners stop and half a second later listen
  /// again. Running sessions go on. An identity that cannot be loaded leaves the one in use.
  void reloadTLS();

  /// The address that the QR code and the link show.
  [[nodiscard]] std::string url() const;
  [[nodiscard]] bool encrypted() const { return identity_ != nullptr; }
  [[nodiscard]] const std::string& key() const { return key_; }
  /// In order of connection, those that have not introduced themselves yet included.
  [[nodiscard]] const std::vector<std::shared_ptr<Session>>& sessions() const { return sessions_; }

  /// `sessions`, one's state, `key` or the identity have changed.
  [[nodiscard]] Subscription observe(Observers::Observer observer);

 private:
  void accept(std::shared_ptr<platform::WebSocketConnection> connection);
  void approve(const Hello& hello, const std::shared_ptr<WebLink>& link,
               const std::function<void(bool)>& completion);
  void ended(const Session& session, const std::optional<std::string>& reason);
  void changed();
  void loadTLS();

  const SessionServices services_;
  UserDefaults& defaults_;
  ApprovedDevices& approved_;
  const std::shared_ptr<Queue> queue_;
  std::string key_;
  const std::optional<TLSIdentity> tls_;
  TLSIdentity::Identity identity_;
  std::optional<std::string> hostName_;
  std::vector<std::shared_ptr<Session>> sessions_;
  std::unique_ptr<UnprovenLinks> unproven_;
  // The listeners, touched on "tessaline.webserver" only.
  struct Listeners;
  std::shared_ptr<Listeners> listeners_;
  LimitedLog strangers_;  // anybody can be refused, again and again
  Observers observers_;
  const std::shared_ptr<WebScreenServer*> self_;  // what callbacks hold weakly, main queue only
};

}  // namespace tessaline

#include "web/WebScreenServer.h"

#include <algorithm>

#include "base/Log.h"
#include "base/RandomText.h"
#include "web/PageServer.h"
#include "web/UnprovenLinks.h"
#include "web/WebLink.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kKey = "webKey";
constexpr std::size_t kKeyLength = 20;
// Without i, l, o, 0 and 1, so that a person can read and type it.
constexpr std::string_view kKeyAlphabet = "abcdefghjkmnpqrstuvwxyz23456789";

constexpr auto kRestartDelay = 500ms;

/// Takes as long for a wrong key as for the right one.
bool sameSecret(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
  }
  return difference == 0;
}

std::string withoutScope(const std::string& host) {
  return host.substr(0, host.find('%'));
}

}  // namespace

struct WebScreenServer::Listeners {
  std::shared_ptr<PageServer> pages;
  std::unique_ptr<platform::Listener> socket;
};

WebScreenServer::WebScreenServer(SessionServices services, UserDefaults& defaults,
                                 ApprovedDevices& approved, std::optional<TLSIdentity> tls)
    : services_(services),
      defaults_(defaults),
      approved_(approved),
      queue_(services.queues.serial("tessaline.webserver")),
      key_(defaults.string(kKey).value_or("")),
      tls_(std::move(tls)),
      unproven_(std::make_unique<UnprovenLinks>(services.queues.main())),
      listeners_(std::make_shared<Listeners>()),
      self_(std::make_shared<WebScreenServer*>(this)) {
  loadTLS();
  if (!key_.empty()) return;
  key_ = randomText(kKeyLength, kKeyAlphabet);
  defaults_.set(kKey, key_);
}

WebScreenServer::~WebScreenServer() {
  // A connection that is being accepted finds the server gone.
  queue_->async([listeners = std::move(listeners_)] { *listeners = {}; });
}

void WebScreenServer::start() {
  queue_->async([this_ = std::weak_ptr(self_), listeners = listeners_, queue = queue_,
                 &services = services_.queues, &network = services_.network,
                 main = services_.queues.main(), identity = identity_] {
    *listeners = {};  // the ports have to be free
    listeners->pages = std::make_shared<PageServer>(network, queue);
    listeners->pages->listen(TLSIdentity::parameters(pagePort, identity));

    auto socket = network.listenWebSocket(
        TLSIdentity::parameters(socketPort, identity), queue,
        [&services] { return services.serial("tessaline.web"); },
        [this_, main](const std::shared_ptr<platform::WebSocketConnection>& connection) {
          main->async([this_, connection] {
            if (const auto server = this_.lock()) (*server)->accept(connection);
          });
        });
    if (socket) {
      listeners->socket = std::move(*socket);
    } else {
      log("browsers cannot connect, " + socket.error());
    }
  });
}

void WebScreenServer::renewKey() {
  key_ = randomText(kKeyLength, kKeyAlphabet);
  defaults_.set(kKey, key_);
  changed();
  stopAll();
}

void WebScreenServer::stopAll() {
  // A session that ends at once leaves the list.
  const auto sessions = sessions_;
  for (const auto& session : sessions) session->stop();
}

void WebScreenServer::loadTLS() {
  if (!tls_) return;
  if (auto identity = tls_->load()) identity_ = std::move(identity);
  hostName_ = tls_->hostName();
}

void WebScreenServer::reloadTLS() {
  loadTLS();
  queue_->async([listeners = listeners_] { *listeners = {}; });
  changed();
  // Connections that were being accepted end before new ones come.
  queue_->asyncAfter(kRestartDelay, [this_ = std::weak_ptr(self_), main = services_.queues.main()] {
    main->async([this_] {
      if (const auto server = this_.lock()) (*server)->start();
    });
  });
}

std::string WebScreenServer::url() const {
  const std::string page = ":" + std::to_string(pagePort) + "/#k=" + key_;
  if (identity_ && hostName_) return "https://" + *hostName_ + page;
  const std::string host = services_.network.localIPv4Address().value_or("localhost");
  return "http://" + host + page;
}

Subscription WebScreenServer::observe(Observers::Observer observer) {
  return observers_.add(std::move(observer));
}

void WebScreenServer::accept(std::shared_ptr<platform::WebSocketConnection> connection) {
  const auto endpoint = connection->remoteEndpoint();
  const std::string name = endpoint ? "Browser " + withoutScope(endpoint->host) : "Browser";
  const auto link =
      std::make_shared<WebLink>(std::move(connection), services_.network, services_.queues.main());
  const auto session = std::make_shared<Session>(services_, name, link, bitrate);
  const std::weak_ptr this_ = self_;
  session->approve = [this_, weakLink = std::weak_ptr(link)](const Hello& hello,
                                                             std::function<void(bool)> completion) {
    const auto server = this_.lock();
    const auto peer = weakLink.lock();
    if (server && peer) (*server)->approve(hello, peer, completion);
  };
  session->onActivity = onActivity;
  session->onStateChange = [this_] {
    if (const auto server = this_.lock()) (*server)->changed();
  };
  session->onEnd = [this_, weak = std::weak_ptr(session)](std::optional<std::string> reason) {
    const auto server = this_.lock();
    const auto over = weak.lock();
    if (server && over) (*server)->ended(*over, reason);
  };
  sessions_.push_back(session);
  unproven_->add(link);
  session->start();
  changed();
}

void WebScreenServer::approve(const Hello& hello, const std::shared_ptr<WebLink>& link,
                              const std::function<void(bool)>& completion) {
  if (!hello.key || hello.key->empty() || !sameSecret(*hello.key, key_)) {
    strangers_.write("refused " + hello.deviceName + ": its link is out of date");
    completion(false);
    return;
  }
  unproven_->remove(*link);
  // Until a person has allowed it a device has nothing large to say.
  approved_.ask(hello, [weak = std::weak_ptr(link), completion](bool allowed) {
    if (const auto peer = weak.lock(); peer && allowed) peer->prove();
    completion(allowed);
  });
}

void WebScreenServer::ended(const Session& session, const std::optional<std::string>& reason) {
  const bool stranger = unproven_->remove(session.link());
  if (reason && !stranger) log(session.name() + ": " + *reason);
  std::erase_if(sessions_, [&](const auto& entry) { return entry.get() == &session; });
  changed();
}

void WebScreenServer::changed() {
  observers_.notify();
}

}  // namespace tessaline

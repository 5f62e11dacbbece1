#include "platform/linux/desktop/LoginPortal.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "base/Log.h"
#include "platform/linux/desktop/LoginEntry.h"
#include "platform/linux/desktop/SdBus.h"

namespace tessaline::platform {
namespace {

using Options = std::map<std::string, sdbus::Variant>;

constexpr const char* kService = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kBackground = "org.freedesktop.portal.Background";
constexpr const char* kToken = "login";

}  // namespace

/// A connection of its own, whose end takes back what was asked.
class LoginPortal::Request {
 public:
  Request(const std::string& label, const std::string& executable, bool on)
      : connection_(sdbus::createSessionBusConnection()),
        portal_(bus::createProxy(*connection_, kService, kPath)) {
    const std::string rule =
        "type='signal',interface='org.freedesktop.portal.Request',member='Response',path='" +
        answerPath() + "'";
    bus::addMatch(*connection_, rule, [label, executable, on](sdbus::Message& message) {
      keep(label, executable, on && granted(message));
    });
    connection_->enterEventLoopAsync();
    const Options options{
        {"handle_token", sdbus::Variant(std::string(kToken))},
        {"reason", sdbus::Variant(std::string("Tessaline is to be ready after you log in."))},
        {"autostart", sdbus::Variant(on)},
        {"commandline", sdbus::Variant(std::vector<std::string>{
                            std::filesystem::path(executable).filename().string()})}};
    portal_->callMethodAsync("RequestBackground")
        .onInterface(kBackground)
        .withArguments(std::string(), options)
        .uponReplyInvoke([](bus::ReplyError error, const sdbus::ObjectPath&) {
          if (error) log("start at login: the portal has refused: " + error->getMessage());
        });
  }

 private:
  /// Where the portal's answer to this connection comes.
  [[nodiscard]] std::string answerPath() const {
    std::string sender = std::string(connection_->getUniqueName()).substr(1);
    std::ranges::replace(sender, '.', '_');
    return std::string(kPath) + "/request/" + sender + "/" + kToken;
  }

  static bool granted(sdbus::Message& message) {
    try {
      std::uint32_t response = 0;
      Options results;
      message >> response >> results;
      const auto found = results.find("autostart");
      return response == 0 && found != results.end() && found->second.get<bool>();
    } catch (const sdbus::Error&) {
      return false;
    }
  }

  static void keep(const std::string& label, const std::string& executable, bool on) {
    if (on) {
      LoginEntry::write(label, executable);
    } else {
      LoginEntry::remove(label);
    }
  }

  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> portal_;
};

LoginPortal::LoginPortal() = default;
LoginPortal::~LoginPortal() = default;

bool LoginPortal::needed() {
  std::error_code error;
  return std::filesystem::exists("/.flatpak-info", error);
}

void LoginPortal::request(const std::string& label, const std::string& executable, bool on) {
  request_.reset();
  try {
    request_ = std::make_unique<Request>(label, executable, on);
  } catch (const sdbus::Error& error) {
    log("start at login: " + error.getMessage());
  }
}

}  // namespace tessaline::platform

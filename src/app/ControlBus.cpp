#include "app/ControlBus.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>

#include "web/WebScreenServer.h"

namespace tessaline {
namespace {

namespace json = boost::json;

json::object screenObject(const ControlBus::Screen& screen) {
  return {{"name", screen.name},
          {"streaming", screen.streaming},
          {"width", screen.width},
          {"height", screen.height}};
}

json::object promptObject(const ApprovedDevices::Prompt& prompt) {
  return {{"prompt", prompt.id},
          {"device", prompt.deviceID},
          {"name", prompt.deviceName},
          {"question", prompt.message()},
          {"explanation", ApprovedDevices::Prompt::kInformativeText}};
}

/// The number of "#number". Only this form means a prompt: what else a device calls itself is its
/// own choice, and must not answer for another device.
std::optional<std::uint64_t> promptNumber(std::string_view text) {
  if (!text.starts_with('#')) return std::nullopt;
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data() + 1, end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

/// Browsers let a page decode video only over HTTPS or from the computer that they run on, which
/// has to be called localhost then.
std::string localLink(const ControlBus::Service& service) {
  return "http://localhost:" + std::to_string(WebScreenServer::pagePort) + "/#k=" + service.key;
}

}  // namespace

std::vector<platform::ControlRequest> ControlBus::requests() {
  using Answer = platform::ControlRequest::Answer;
  const auto without = [](auto command) {
    return [command](const std::string&, const Answer& answer) { answer(command()); };
  };
  // The answer goes first: a command that ends the application ends the bus with it.
  const auto afterwards = [](auto command) {
    return [command](const std::string&, const Answer& answer) {
      answer(std::string());
      command();
    };
  };
  const auto prompt = [this](bool allow) {
    return [this, allow](const std::string& device, const Answer& answer) {
      answer(answerPrompt(device, allow));
    };
  };
  return {
      {"Status", std::nullopt, without([this]() -> Result<std::string> { return status(); })},
      {"Link", std::nullopt, without([this] { return link(); })},
      {"Allow", "device", prompt(true)},
      {"Deny", "device", prompt(false)},
      {"Activate", std::nullopt, without([this]() -> Result<std::string> {
         if (!application_.activate()) return Failure{"Tessaline is ending"};
         return std::string();
       })},
      {"SwitchMode", std::nullopt, afterwards([this] { application_.switchMode(); })},
      {"Quit", std::nullopt, afterwards([this] { application_.quit(); })},
  };
}

std::string ControlBus::status() const {
  json::object status{{"role", application_.role()}};
  if (const auto service = application_.service()) {
    status["link"] = service->link;
    if (!service->encrypted) status["localLink"] = localLink(*service);
    status["encrypted"] = service->encrypted;
    json::array screens;
    for (const auto& screen : service->screens) screens.push_back(screenObject(screen));
    status["screens"] = std::move(screens);
  }
  json::array pending;
  if (const auto* devices = application_.approvedDevices()) {
    for (const auto& prompt : devices->pending()) pending.push_back(promptObject(prompt));
  }
  status["pending"] = std::move(pending);
  return json::serialize(status);
}

Result<std::string> ControlBus::link() const {
  if (const auto service = application_.service()) return service->link;
  return Failure{"There is no link: this computer is not a main Mac."};
}

Result<std::string> ControlBus::answerPrompt(const std::string& device, bool allow) {
  ApprovedDevices* devices = application_.approvedDevices();
  const auto pending = devices ? devices->pending() : std::vector<ApprovedDevices::Prompt>();
  if (pending.empty()) return Failure{"No device is asking."};
  auto found = pending.begin();
  if (device.empty()) {
    if (pending.size() > 1) return Failure{"Several devices are asking: name the one you mean."};
  } else {
    const auto number = promptNumber(device);
    found = std::ranges::find_if(pending, [&](const ApprovedDevices::Prompt& prompt) {
      return number ? prompt.id == *number : prompt.deviceID == device;
    });
    if (found == pending.end()) return Failure{"No such device is asking."};
  }
  const std::string name = found->deviceName;
  devices->answer(found->id, allow);
  return name;
}

}  // namespace tessaline

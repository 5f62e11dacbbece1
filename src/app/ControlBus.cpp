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

constexpr std::string_view kNoMainRole = "This computer is not a main Mac.";

json::object measurementsObject(const ControlBus::Measurements& measurements) {
  return {{"latencyMedian", measurements.latencyMedian},
          {"latency95th", measurements.latency95th},
          {"decodeTime", measurements.decodeTime},
          {"frames", measurements.frames},
          {"bytes", measurements.bytes},
          {"dropped", measurements.droppedMessages}};
}

json::object screenObject(const ControlBus::Screen& screen) {
  return {{"name", screen.name},
          {"streaming", screen.streaming},
          {"width", screen.width},
          {"height", screen.height},
          {"measurements", measurementsObject(screen.measurements)}};
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
  // What only the main role can do.
  const auto main = [this](auto command) {
    return [this, command](const std::string& argument, const Answer& answer) {
      if (Main* role = application_.mainRole()) {
        answer(command(*role, argument));
      } else {
        answer(Failure{std::string(kNoMainRole)});
      }
    };
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
  using Text = Result<std::string>;
  return {
      {"Status", std::nullopt,
       [this](const std::string&, const Answer& answer) { answer(status()); }},
      {"Link", std::nullopt,
       main([](Main& role, const std::string&) -> Text { return role.service().link; })},
      {"Start", "name",
       main([](Main& role, const std::string& name) { return role.startScreen(name); })},
      {"Stop", std::nullopt, main([](Main& role, const std::string&) -> Text {
         role.stopScreens();
         return std::string();
       })},
      {"Allow", "device", prompt(true)},
      {"Deny", "device", prompt(false)},
      {"Forget", std::nullopt, main([](Main& role, const std::string&) -> Text {
         const auto count = role.approvedDevices().all().size();
         role.approvedDevices().forgetAll();
         return std::to_string(count);
       })},
      {"Bitrate", "bitsPerSecond",
       main([this](Main&, const std::string& wanted) { return bitrate(wanted); })},
      {"Activate", std::nullopt,
       [this](const std::string&, const Answer& answer) {
         answer(application_.activate() ? Text(std::string())
                                        : Text(Failure{"Tessaline is ending"}));
       }},
      {"SwitchMode", std::nullopt, afterwards([this] { application_.switchMode(); })},
      {"Quit", std::nullopt, afterwards([this] { application_.quit(); })},
  };
}

std::string ControlBus::status() const {
  json::object status{{"role", application_.role()}};
  json::array pending;
  if (Main* role = application_.mainRole()) {
    const Service service = role->service();
    status["status"] = service.statusText;
    status["link"] = service.link;
    if (!service.encrypted) status["localLink"] = localLink(service);
    status["encrypted"] = service.encrypted;
    status["bitrate"] = role->bitrate();
    json::array screens;
    for (const auto& screen : service.screens) screens.push_back(screenObject(screen));
    status["screens"] = std::move(screens);
    status["computers"] = json::array(service.computers.begin(), service.computers.end());
    for (const auto& prompt : role->approvedDevices().pending()) {
      pending.push_back(promptObject(prompt));
    }
  } else if (const auto text = application_.screenStatus(); !text.empty()) {
    status["status"] = text;
  }
  status["pending"] = std::move(pending);
  return json::serialize(status);
}

Result<std::string> ControlBus::bitrate(const std::string& wanted) {
  Main& role = *application_.mainRole();
  if (!wanted.empty()) {
    int bits = 0;
    const auto [rest, error] = std::from_chars(wanted.data(), wanted.data() + wanted.size(), bits);
    if (error != std::errc() || rest != wanted.data() + wanted.size() || bits < 1) {
      return Failure{"A bit rate is a whole number of bits per second, 25000000 say."};
    }
    role.setBitrate(bits);
  }
  return std::to_string(role.bitrate());
}

Result<std::string> ControlBus::answerPrompt(const std::string& device, bool allow) {
  Main* role = application_.mainRole();
  const auto pending =
      role ? role->approvedDevices().pending() : std::vector<ApprovedDevices::Prompt>();
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
  role->approvedDevices().answer(found->id, allow);
  return name;
}

}  // namespace tessaline

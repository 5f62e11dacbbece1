#include "web/WebLink.h"

#include <algorithm>
#include <array>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <regex>

#include "base/Log.h"
#include "base/Utf8.h"
#include "protocol/Proto.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
namespace json = boost::json;

constexpr auto kGoodbyeLimit = 500ms;   // for the page to read it and close the socket itself
constexpr auto kReverseNameLimit = 2s;  // a slow name server must not hold up a person
constexpr std::size_t kMaximumMessage = 16'777'216;
constexpr std::size_t kStrangerMessage = 16 * 1024;  // a hello has a few hundred bytes
constexpr std::size_t kStrangerBytes = 64 * 1024;
constexpr std::size_t kMaximumID = 64;    // characters
constexpr std::size_t kMaximumName = 40;  // characters
constexpr std::size_t kProbeAckBytes = 7;

struct ScalarRange {
  char32_t first;
  char32_t last;
};

template <std::size_t count>
bool among(char32_t scalar, const std::array<ScalarRange, count>& ranges) {
  return std::ranges::any_of(ranges, [scalar](const ScalarRange& range) {
    return scalar >= range.first && scalar <= range.last;
  });
}

/// Control and format characters (which could turn the text of a question around) and line ends.
bool isControl(char32_t scalar) {
  static constexpr std::array<ScalarRange, 14> kRanges{{{0x00, 0x1F},
                                                        {0x7F, 0x9F},
                                                        {0xAD, 0xAD},
                                                        {0x600, 0x605},
                                                        {0x61C, 0x61C},
                                                        {0x6DD, 0x6DD},
                                                        {0x180E, 0x180E},
                                                        {0x200B, 0x200F},
                                                        {0x2028, 0x202E},
                                                        {0x2060, 0x206F},
                                                        {0xFEFF, 0xFEFF},
                                                        {0xFFF9, 0xFFFB},
                                                        {0x1D173, 0x1D17A},
                                                        {0xE0001, 0xE007F}}};
  return among(scalar, kRanges);
}

bool isSpace(char32_t scalar) {
  static constexpr std::array<ScalarRange, 7> kRanges{{{0x20, 0x20},
                                                       {0xA0, 0xA0},
                                                       {0x1680, 0x1680},
                                                       {0x2000, 0x200A},
                                                       {0x202F, 0x202F},
                                                       {0x205F, 0x205F},
                                                       {0x3000, 0x3000}}};
  return among(scalar, kRanges);
}

std::string textAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  return text ? std::string(*text) : std::string();
}

/// A JSON number without a fraction that fits an int; sizes beyond that are nobody's.
std::optional<int> integerAt(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  if (!value) return std::nullopt;
  boost::system::error_code error;
  const int number = value->to_number<int>(error);
  if (error) return std::nullopt;
  return number;
}

std::string withoutScope(const std::string& host) {
  return host.substr(0, host.find('%'));
}

}  // namespace

WebLink::WebLink(std::shared_ptr<platform::WebSocketConnection> connection,
                 platform::Network& network, std::shared_ptr<Queue> main)
    : ConnectionLink(connection, std::move(main), kGoodbyeLimit),
      connection_(std::move(connection)),
      network_(network) {}

std::shared_ptr<WebLink> WebLink::self() {
  return std::static_pointer_cast<WebLink>(shared_from_this());
}

void WebLink::prove() {
  queue().async([link = self()] {
    link->proven_ = true;
    link->connection_->setMaximumMessageSize(kMaximumMessage);
  });
}

std::vector<SharedBytes> WebLink::encode(std::uint8_t type, SharedBytes payload) const {
  auto head = std::make_shared<const Bytes>(1, type);
  if (payload->empty()) return {std::move(head)};
  return {std::move(head), std::move(payload)};
}

void WebLink::connected() {
  connection_->setMaximumMessageSize(kStrangerMessage);
  receive();
}

void WebLink::receive() {
  connection_->receive([weak = std::weak_ptr(self())](const std::optional<Message>& message) {
    const auto link = weak.lock();
    if (!link) return;
    if (!message || !link->accepts(*message)) {
      link->stop();
      return;
    }
    link->handle(*message);
    link->receive();
  });
}

bool WebLink::accepts(const Message& message) {
  if (proven_) return true;
  unprovenBytes_ += message.bytes.size();
  if (unprovenBytes_ <= kStrangerBytes) return true;
  log("browser " + remoteHost().value_or("") + " sent too much before it was allowed, closing");
  return false;
}

void WebLink::handle(const Message& message) {
  if (message.opcode == platform::WebSocketConnection::Opcode::text) {
    handleText(viewText(message.bytes));
    return;
  }
  ByteReader reader(message.bytes);
  if (message.bytes.size() < kProbeAckBytes || reader.u8() != Proto::probeAck) return;
  const auto id = reader.u32();
  const auto tenths = reader.u16();
  if (onProbeAck) onProbeAck(*id, *tenths / 10.0);
}

void WebLink::handleText(std::string_view text) {
  boost::system::error_code error;
  const json::value value = json::parse(text, error);
  if (error || !value.is_object()) return;
  const auto& object = value.get_object();
  if (object.contains("t")) {
    if (onInput) onInput(object);
  } else {
    receivedHello(object);
  }
}

void WebLink::receivedHello(const json::object& object) {
  const auto width = integerAt(object, "w");
  const auto height = integerAt(object, "h");
  if (!width || !height || helloReceived_) return;
  helloReceived_ = true;

  Hello hello;
  hello.width = *width;
  hello.height = *height;
  hello.scale = integerAt(object, "scale").value_or(1);
  hello.deviceID = firstCharacters(textAt(object, "id"), kMaximumID);
  hello.deviceName = cleanName(textAt(object, "name"));
  if (const auto* key = object.if_contains("key"); key && key->is_string()) {
    hello.key = std::string(key->get_string());
  }
  const auto host = remoteHost();
  if (!host) {
    deliver(std::move(hello));
    return;
  }
  network_.reverseName(withoutScope(*host), kReverseNameLimit, connection_->queue(),
                       [weak = std::weak_ptr(self()), hello = std::move(hello)](
                           const std::optional<std::string>& hostName) mutable {
                         const auto link = weak.lock();
                         if (!link) return;
                         const auto name = hostName ? networkName(*hostName) : std::nullopt;
                         if (name) hello.deviceName += " (" + *name + ")";
                         link->deliver(std::move(hello));
                       });
}

void WebLink::deliver(Hello hello) {
  main().async([weak = std::weak_ptr(self()), hello = std::move(hello)] {
    const auto link = weak.lock();
    if (link && link->onHello) link->onHello(hello);
  });
}

std::string WebLink::cleanName(const std::string& name) {
  std::u32string clean;
  std::u32string spaces;  // kept only when something follows
  for (const char32_t scalar : decodeUtf8(name)) {
    if (isControl(scalar)) continue;
    if (isSpace(scalar)) {
      if (!clean.empty()) spaces += scalar;
    } else {
      clean += spaces + scalar;
      spaces.clear();
    }
  }
  if (clean.empty()) return "Browser";
  return encodeUtf8(std::u32string_view(clean).substr(0, kMaximumName));
}

std::optional<std::string> WebLink::networkName(const std::string& hostName) {
  static const std::regex random("[0-9a-fA-F-]{30,}");
  // Name servers pass on any bytes.
  const std::string label =
      repairUtf8(viewBytes(std::string_view(hostName).substr(0, hostName.find('.'))));
  if (label.empty() || std::regex_match(label, random)) return std::nullopt;
  return cleanName(label);
}

}  // namespace tessaline

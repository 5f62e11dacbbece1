#include "app/ctl/Status.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

namespace tessaline::ctl {
namespace {

namespace json = boost::json;

std::string textOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  return text ? printable(*text) : std::string();
}

std::int64_t numberOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* number = value ? value->if_int64() : nullptr;
  return number ? *number : 0;
}

double decimalOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  boost::system::error_code error;
  const double number = value ? value->to_number<double>(error) : 0;
  return error ? 0 : number;
}

bool flagOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* flag = value ? value->if_bool() : nullptr;
  return flag && *flag;
}

template <typename Function>
void forEachObject(const json::object& object, std::string_view key, Function function) {
  const auto* value = object.if_contains(key);
  const auto* list = value ? value->if_array() : nullptr;
  if (!list) return;
  for (const auto& entry : *list) {
    if (const auto* item = entry.if_object()) function(*item);
  }
}

Status::Screen parseScreen(const json::object& object) {
  Status::Screen screen{.name = textOf(object, "name"),
                        .streaming = flagOf(object, "streaming"),
                        .width = numberOf(object, "width"),
                        .height = numberOf(object, "height")};
  const auto* value = object.if_contains("measurements");
  if (const auto* measurements = value ? value->if_object() : nullptr) {
    screen.latencyMedian = decimalOf(*measurements, "latencyMedian");
    screen.latency95th = decimalOf(*measurements, "latency95th");
    screen.decodeTime = decimalOf(*measurements, "decodeTime");
    screen.frames = numberOf(*measurements, "frames");
    screen.bytes = numberOf(*measurements, "bytes");
    screen.dropped = numberOf(*measurements, "dropped");
  }
  return screen;
}

/// Bytes of the control character that `text` begins with, 0 when it begins with none: C0, DEL,
/// C1 (U+0080…U+009F), line and paragraph separators and the writing-direction marks and overrides
/// (U+200E, U+200F, U+2028…U+202E, U+2066…U+2069).
std::size_t controlLength(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  if (byte(0) < 0x20 || byte(0) == 0x7F) return 1;
  if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) <= 0x9F) return 2;
  if (byte(0) != 0xE2) return 0;
  const unsigned last = byte(2);
  if (byte(1) == 0x80 && (last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE))) return 3;
  if (byte(1) == 0x81 && last >= 0xA6 && last <= 0xA9) return 3;
  return 0;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string safe;
  while (!text.empty()) {
    const std::size_t control = controlLength(text);
    if (control > 0) {
      safe += '?';
    } else {
      safe += text.front();
    }
    text.remove_prefix(control > 0 ? control : 1);
  }
  return safe;
}

std::string Status::Screen::line() const {
  if (!streaming) return name + ": connecting";
  return name + ": showing " + std::to_string(width) + " × " + std::to_string(height);
}

std::optional<Status> Status::parse(std::string_view text) {
  boost::system::error_code error;
  const json::value value = json::parse(text, error);
  const auto* object = error ? nullptr : value.if_object();
  if (!object) return std::nullopt;

  Status status;
  status.role = textOf(*object, "role");
  status.text = textOf(*object, "status");
  status.link = textOf(*object, "link");
  status.localLink = textOf(*object, "localLink");
  status.encrypted = flagOf(*object, "encrypted");
  forEachObject(*object, "screens",
                [&](const json::object& screen) { status.screens.push_back(parseScreen(screen)); });
  if (const auto* computers = object->if_contains("computers");
      computers && computers->is_array()) {
    for (const auto& name : computers->get_array()) {
      if (name.is_string()) status.computers.push_back(printable(name.get_string()));
    }
  }
  forEachObject(*object, "pending", [&](const json::object& prompt) {
    status.pending.push_back({numberOf(prompt, "prompt"), textOf(prompt, "device"),
                              textOf(prompt, "name"), textOf(prompt, "question"),
                              textOf(prompt, "explanation")});
  });
  return status;
}

}  // namespace tessaline::ctl

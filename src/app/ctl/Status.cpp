#include "app/ctl/Status.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include "base/SafeText.h"

namespace tessaline::ctl {
namespace {

namespace json = boost::json;

std::string textOf(const json::object& object, std::string_view key) {
  const auto* value = object.if_contains(key);
  const auto* text = value ? value->if_string() : nullptr;
  return text ? withoutControls(*text) : std::string();
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

}  // namespace

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
      if (name.is_string()) status.computers.push_back(withoutControls(name.get_string()));
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

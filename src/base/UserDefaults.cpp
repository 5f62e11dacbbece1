#include "base/UserDefaults.h"

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <mutex>

#include "base/Log.h"
#include "base/PrivateFile.h"

namespace tessaline {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

/// A number beyond what a double holds, like 1e999, is read as an infinity and 0e999 as no number;
/// both would be written as words that no longer parse: the next start would find no settings at
/// all.
void makeFinite(json::value& value) {
  if (auto* object = value.if_object()) {
    for (auto& entry : *object) makeFinite(entry.value());
  } else if (auto* array = value.if_array()) {
    for (json::value& entry : *array) makeFinite(entry);
  } else if (auto* number = value.if_double(); number && !std::isfinite(*number)) {
    *number = std::isnan(*number) ? 0 : std::copysign(std::numeric_limits<double>::max(), *number);
  }
}

}  // namespace

class UserDefaults::Store {
 public:
  explicit Store(fs::path file) : file_(std::move(file)) { read(); }

  template <typename Function>
  auto inspect(std::string_view key, Function function) const
      -> decltype(function(std::declval<const json::value&>())) {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return function(found->value());
  }

  void set(std::string_view key, json::value value) {
    const std::lock_guard lock(mutex_);
    json::value& slot = values_[key];
    if (slot == value) return;
    slot = std::move(value);
    write();
  }

  void remove(std::string_view key) {
    const std::lock_guard lock(mutex_);
    if (values_.erase(key) > 0) write();
  }

 private:
  void read() {
    std::ifstream stream(file_, std::ios::binary);
    std::error_code ignored;
    if (!stream) {
      if (fs::exists(file_, ignored)) setAside("cannot be read");
      return;
    }
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    boost::system::error_code error;
    json::value value = json::parse(text, error);
    if (error || !value.is_object()) {
      setAside("does not parse");
      return;
    }
    makeFinite(value);
    values_ = std::move(value.get_object());
  }

  /// Nothing that somebody may still want is overwritten.
  void setAside(const std::string& why) const {
    const fs::path broken = file_.string() + ".broken";
    std::error_code error;
    fs::rename(file_, broken, error);
    log("settings file " + file_.string() + " " + why + "; " +
        (error ? "it could not be set aside: " + error.message()
               : "set aside as " + broken.string()));
  }

  void write() {
    const fs::path folder = file_.parent_path();
    std::error_code ignored;
    auto failure = fs::exists(folder, ignored) ? std::nullopt : makePrivateFolder(folder);
    if (!failure) failure = replacePrivateFile(file_, json::serialize(values_) + "\n");
    // A disk that is full stays so for a while: one line, however much happens meanwhile.
    if (failure && !failing_) log("could not save settings in " + failure->text);
    failing_ = failure.has_value();
  }

  const fs::path file_;
  mutable std::mutex mutex_;
  json::object values_;   // guarded by mutex_
  bool failing_ = false;  // guarded by mutex_; the last write came to nothing
};

UserDefaults::UserDefaults(fs::path file) : store_(std::make_unique<Store>(std::move(file))) {}
UserDefaults::~UserDefaults() = default;

std::optional<std::string> UserDefaults::string(std::string_view key) const {
  return store_->inspect(key, [](const json::value& value) -> std::optional<std::string> {
    if (const auto* text = value.if_string()) return std::string(*text);
    return std::nullopt;
  });
}

std::optional<std::int64_t> UserDefaults::integer(std::string_view key) const {
  return store_->inspect(key, [](const json::value& value) -> std::optional<std::int64_t> {
    if (const auto* number = value.if_int64()) return *number;
    return std::nullopt;
  });
}

std::optional<bool> UserDefaults::boolean(std::string_view key) const {
  return store_->inspect(key, [](const json::value& value) -> std::optional<bool> {
    if (const auto* flag = value.if_bool()) return *flag;
    return std::nullopt;
  });
}

std::optional<UserDefaults::Dictionary> UserDefaults::dictionary(std::string_view key) const {
  return store_->inspect(key, [](const json::value& value) -> std::optional<Dictionary> {
    const auto* object = value.if_object();
    if (!object) return std::nullopt;
    Dictionary dictionary;
    for (const auto& [name, entry] : *object) {
      const auto* text = entry.if_string();
      if (!text) return std::nullopt;
      dictionary.emplace(name, *text);
    }
    return dictionary;
  });
}

void UserDefaults::set(std::string_view key, std::string_view value) {
  store_->set(key, json::string(value));
}

void UserDefaults::set(std::string_view key, std::int64_t value) {
  store_->set(key, value);
}

void UserDefaults::set(std::string_view key, bool value) {
  store_->set(key, value);
}

void UserDefaults::set(std::string_view key, const Dictionary& value) {
  json::object object;
  for (const auto& [name, text] : value) object[name] = text;
  store_->set(key, std::move(object));
}

void UserDefaults::remove(std::string_view key) {
  store_->remove(key);
}

}  // namespace tessaline

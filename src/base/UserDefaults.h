#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tessaline {

/// The user's settings: one JSON object in one file. Callable from any thread. Reading a missing
/// key or a value of another type yields nothing. Every change is written at once and atomically
/// (temporary file, fsync, rename); a write that fails is logged and the change stays in memory.
/// Keys that nobody knows are kept.
class UserDefaults {
 public:
  using Dictionary = std::map<std::string, std::string>;

  /// Reads `file`, whose folder is made (mode 0700) on the first write. A file that does not parse
  /// is renamed to itself plus ".broken" and logged, and reading goes on with no values.
  explicit UserDefaults(std::filesystem::path file);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
  [[nodiscard]] std::optional<bool> boolean(std::string_view key) const;
  /// A dictionary from text to text; one value of another type makes the whole value absent.
  [[nodiscard]] std::optional<Dictionary> dictionary(std::string_view key) const;

  void set(std::string_view key, std::string_view value);
  void set(std::string_view key, const char* value) { set(key, std::string_view(value)); }
  void set(std::string_view key, std::int64_t value);
  void set(std::string_view key, bool value);
  void set(std::string_view key, const Dictionary& value);
  void remove(std::string_view key);

 private:
  class Store;
  const std::unique_ptr<Store> store_;
};

}  // namespace tessaline

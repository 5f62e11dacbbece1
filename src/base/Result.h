#pragma once

#include <string>
#include <utility>
#include <variant>

namespace tessaline {

/// Why something failed, as a text to log or to show.
struct Failure {
  std::string text;
};

/// A value, or why there is none.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : content_(std::move(value)) {}            // NOLINT(google-explicit-constructor)
  Result(Failure failure) : content_(std::move(failure)) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return content_.index() == 0; }
  T& operator*() { return std::get<0>(content_); }
  T* operator->() { return &std::get<0>(content_); }
  [[nodiscard]] const std::string& error() const { return std::get<1>(content_).text; }

 private:
  std::variant<T, Failure> content_;
};

}  // namespace tessaline

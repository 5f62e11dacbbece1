#include "web/WebPage.h"

#include <algorithm>

#include "base/Bytes.h"
#include "base/Hashes.h"
#include "web/WebPageText.h"

namespace tessaline::WebPage {
namespace {

std::string base36(std::uint32_t number) {
  constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::string text;
  do {
    text += digits[number % 36];
    number /= 36;
  } while (number > 0);
  std::ranges::reverse(text);
  return text;
}

const std::string& versionedPage() {
  static const std::string page = [] {
    constexpr std::string_view placeholder = "__VERSION__";
    std::string text(html());
    for (std::size_t at = 0; (at = text.find(placeholder, at)) != std::string::npos;) {
      text.replace(at, placeholder.size(), version());
      at += version().size();
    }
    return text;
  }();
  return page;
}

/// The second of the pieces between spaces, "/" when there are fewer.
std::string_view path(std::string_view request) {
  const auto piece = [&request] {
    request.remove_prefix(std::min(request.find_first_not_of(' '), request.size()));
    const auto text = request.substr(0, request.find(' '));
    request.remove_prefix(text.size());
    return text;
  };
  piece();
  const auto second = piece();
  return second.empty() ? "/" : second;
}

}  // namespace

std::string_view html() {
  return kWebPageHtml;
}

const std::string& version() {
  static const std::string text = base36(static_cast<std::uint32_t>(hashValueStable(html())));
  return text;
}

std::string response(std::string_view request) {
  // Bytes that are not text count as an empty request.
  if (repairUtf8(viewBytes(request)) != request) request = {};
  const bool asksVersion = path(request).starts_with("/version");
  const std::string& body = asksVersion ? version() : versionedPage();
  std::string answer = "HTTP/1.1 200 OK\r\nContent-Type: ";
  answer += asksVersion ? "text/plain" : "text/html";
  answer += "; charset=utf-8\r\nCache-Control: no-store\r\nContent-Length: ";
  answer += std::to_string(body.size());
  answer += "\r\nConnection: close\r\n\r\n";
  answer += body;
  return answer;
}

}  // namespace tessaline::WebPage

#include "platform/linux/x11/OwnerMark.h"

#include "base/RandomText.h"

namespace tessaline::platform {
namespace {

constexpr std::size_t kTokenLength = 8;  // 40 bits: two living runs never share one
constexpr std::string_view kTokenAlphabet = "0123456789abcdefghijklmnopqrstuv";
constexpr std::string_view kMarker = "tessaline-";

std::string selectionName(const std::string& token) {
  return "_TESSALINE_OWNER_" + token;
}

}  // namespace

OwnerMark::OwnerMark(const X11Connection& connection)
    : token_(randomText(kTokenLength, kTokenAlphabet)) {
  xcb_connection_t* c = connection.get();
  const auto window = xcb_generate_id(c);
  xcb_create_window(c, 0, window, connection.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                    XCB_COPY_FROM_PARENT, 0, nullptr);
  xcb_set_selection_owner(c, window, connection.atom(selectionName(token_)), XCB_CURRENT_TIME);
}

std::string OwnerMark::mark(std::string_view text) const {
  return std::string(text) + "-" + std::string(kMarker) + token_;
}

std::optional<std::string> OwnerMark::tokenOf(std::string_view text) {
  const auto at = text.rfind(kMarker);
  if (at == std::string_view::npos) return std::nullopt;
  const auto token = text.substr(at + kMarker.size());
  const bool valid = token.size() == kTokenLength &&
                     token.find_first_not_of(kTokenAlphabet) == std::string_view::npos;
  return valid ? std::optional(std::string(token)) : std::nullopt;
}

bool OwnerMark::alive(const X11Connection& connection, const std::string& token) {
  const auto cookie =
      xcb_get_selection_owner(connection.get(), connection.atom(selectionName(token)));
  const Reply<xcb_get_selection_owner_reply_t> reply(
      xcb_get_selection_owner_reply(connection.get(), cookie, nullptr));
  return !reply || reply->owner != XCB_NONE;
}

}  // namespace tessaline::platform

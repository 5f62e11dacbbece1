#include "platform/linux/wayland/wlroots/SessionProbe.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace tessaline::platform {
namespace {

// A compositor answers in a millisecond or two; one that takes this long hangs.
constexpr std::chrono::seconds kPatience(2);

constexpr std::array kForOutputs = {
    "wl_output",
    "wl_seat",
    "zxdg_output_manager_v1",
    "zwlr_virtual_pointer_manager_v1",
    "zwp_virtual_keyboard_manager_v1",
};
constexpr std::array kForCaptures = {
    "wl_shm",
    "ext_image_copy_capture_manager_v1",
    "ext_output_image_capture_source_manager_v1",
};

template <std::size_t count>
std::string lacking(const WaylandConnection& connection,
                    const std::array<const char*, count>& interfaces) {
  std::string names;
  for (const char* const interface : interfaces) {
    if (connection.find(interface)) continue;
    names += (names.empty() ? "" : ", ") + std::string(interface);
  }
  return names;
}

/// Whether there is a socket, at a path that fits into an address.
bool isSocket(const std::filesystem::path& path) {
  std::error_code error;
  return path.native().size() < sizeof(sockaddr_un::sun_path) &&
         std::filesystem::is_socket(path, error);
}

/// Where sway takes commands: as it tells its children, or as it names the socket for its process.
std::filesystem::path commandSocket(const WaylandConnection& connection) {
  const char* const told = std::getenv("SWAYSOCK");
  if (told && isSocket(told)) return told;
  ucred compositor{};
  socklen_t length = sizeof(compositor);
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  if (!folder || getsockopt(wl_display_get_fd(connection.get()), SOL_SOCKET, SO_PEERCRED,
                            &compositor, &length) != 0) {
    return {};
  }
  const auto path = std::filesystem::path(folder) / ("sway-ipc." + std::to_string(getuid()) + "." +
                                                     std::to_string(compositor.pid) + ".sock");
  return isSocket(path) ? path : std::filesystem::path();
}

}  // namespace

Result<SessionProbe> SessionProbe::look() {
  auto connection = WaylandConnection::open(kPatience);
  if (!connection) return Failure{connection.error()};
  if (const auto names = lacking(**connection, kForOutputs); !names.empty()) {
    return Failure{"the compositor lacks " + names};
  }
  auto commands = commandSocket(**connection);
  if (commands.empty())
    return Failure{"the compositor is not sway, which makes outputs on request"};
  if (const auto names = lacking(**connection, kForCaptures); !names.empty()) {
    return Failure{"the compositor lacks " + names + " (sway has it from 1.12 on)"};
  }
  return SessionProbe{std::move(*connection), std::move(commands)};
}

}  // namespace tessaline::platform

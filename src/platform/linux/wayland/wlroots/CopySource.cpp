#include "platform/linux/wayland/wlroots/CopySource.h"

#include <ext-image-capture-source-v1-client-protocol.h>
#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>

#include <list>

namespace tessaline::platform {
namespace {

// Since when outputs tell their names.
constexpr std::uint32_t kOutputVersion = 4;

struct NamedOutput {
  Proxy<wl_output> output;
  std::string name;
};

constexpr wl_output_listener kOutputListener{
    .geometry = [](void* /*data*/, wl_output* /*output*/, std::int32_t /*x*/, std::int32_t /*y*/,
                   std::int32_t /*width*/, std::int32_t /*height*/, std::int32_t /*subpixel*/,
                   const char* /*make*/, const char* /*model*/, std::int32_t /*transform*/) {},
    .mode = [](void* /*data*/, wl_output* /*output*/, std::uint32_t /*flags*/,
               std::int32_t /*width*/, std::int32_t /*height*/, std::int32_t /*refresh*/) {},
    .done = [](void* /*data*/, wl_output* /*output*/) {},
    .scale = [](void* /*data*/, wl_output* /*output*/, std::int32_t /*factor*/) {},
    .name = [](void* data, wl_output* /*output*/,
               const char* name) { static_cast<NamedOutput*>(data)->name = name; },
    .description = [](void* /*data*/, wl_output* /*output*/, const char* /*text*/) {},
};

constexpr wl_seat_listener kSeatListener{
    .capabilities =
        [](void* data, wl_seat* seat, std::uint32_t capabilities) {
          auto& pointer = *static_cast<Proxy<wl_pointer>*>(data);
          if ((capabilities & WL_SEAT_CAPABILITY_POINTER) == 0 || pointer) return;
          pointer.reset(wl_seat_get_pointer(seat));
        },
    .name = [](void* /*data*/, wl_seat* /*seat*/, const char* /*name*/) {},
};

}  // namespace

Result<CopySource> CopySource::open(const std::string& output, std::chrono::milliseconds patience) {
  auto opened = WaylandConnection::open(patience);
  if (!opened) return Failure{opened.error()};
  CopySource made;
  made.connection = std::move(*opened);
  const WaylandConnection& connection = *made.connection;
  const auto* const shm = connection.find(wl_shm_interface.name);
  const auto* const manager = connection.find(ext_image_copy_capture_manager_v1_interface.name);
  const auto* const sources =
      connection.find(ext_output_image_capture_source_manager_v1_interface.name);
  if (!shm || !manager || !sources) return Failure{"the compositor offers no captures"};

  std::list<NamedOutput> outputs;  // their addresses hold
  for (const auto& global : connection.globals()) {
    if (global.interface != wl_output_interface.name) continue;
    auto& each = outputs.emplace_back();
    each.output.reset(connection.bind<wl_output>(global, wl_output_interface, kOutputVersion));
    wl_output_add_listener(each.output.get(), &kOutputListener, &each);
  }
  Proxy<wl_seat> seat;
  if (const auto* const global = connection.find(wl_seat_interface.name)) {
    seat.reset(connection.bind<wl_seat>(*global, wl_seat_interface, 1));
    wl_seat_add_listener(seat.get(), &kSeatListener, &made.pointer);
  }
  if (!made.connection->roundtrip(patience)) return Failure{"the compositor does not answer"};
  seat.reset();  // it tells of changes to a place that is about to move

  for (const auto& each : outputs) {
    if (each.name != output) continue;
    made.shm.reset(connection.bind<wl_shm>(*shm, wl_shm_interface, 1));
    made.manager.reset(connection.bind<ext_image_copy_capture_manager_v1>(
        *manager, ext_image_copy_capture_manager_v1_interface, 1));
    const Proxy<ext_output_image_capture_source_manager_v1> maker(
        connection.bind<ext_output_image_capture_source_manager_v1>(
            *sources, ext_output_image_capture_source_manager_v1_interface, 1));
    made.source.reset(
        ext_output_image_capture_source_manager_v1_create_source(maker.get(), each.output.get()));
    return made;
  }
  return Failure{"there is no such display"};
}

}  // namespace tessaline::platform

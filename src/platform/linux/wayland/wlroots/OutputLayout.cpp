#include "platform/linux/wayland/wlroots/OutputLayout.h"

#include <xdg-output-unstable-v1-client-protocol.h>

namespace tessaline::platform {
namespace {

// The versions in which one event closes what belongs together, and outputs have names.
constexpr std::uint32_t kOutputVersion = 3;
constexpr std::uint32_t kLogicalOutputVersion = 3;

OutputLayout::Output withSizeTurned(OutputLayout::Output output, std::int32_t transform) {
  // Every second transform is one by a quarter.
  if (transform % 2 != 0) std::swap(output.pixels.width, output.pixels.height);
  return output;
}

}  // namespace

/// One output: what was told of it since its last "done", and what held then.
struct OutputLayout::Entry {
  OutputLayout* owner = nullptr;
  Proxy<wl_output> output;
  Proxy<zxdg_output_v1> logical;
  Output told;
  std::int32_t transform = 0;
  Output current;
  bool known = false;

  void listen() {
    static constexpr wl_output_listener kListener{
        .geometry = [](void* data, wl_output* /*output*/, std::int32_t /*x*/, std::int32_t /*y*/,
                       std::int32_t /*width*/, std::int32_t /*height*/, std::int32_t /*subpixel*/,
                       const char* /*make*/, const char* /*model*/,
                       std::int32_t turned) { static_cast<Entry*>(data)->transform = turned; },
        .mode =
            [](void* data, wl_output* /*output*/, std::uint32_t flags, std::int32_t width,
               std::int32_t height, std::int32_t /*refresh*/) {
              if ((flags & WL_OUTPUT_MODE_CURRENT) == 0) return;
              static_cast<Entry*>(data)->told.pixels = {width, height};
            },
        .done = [](void* data, wl_output* /*output*/) { static_cast<Entry*>(data)->settle(); },
        .scale = [](void* /*data*/, wl_output* /*output*/, std::int32_t /*factor*/) {},
        .name = [](void* /*data*/, wl_output* /*output*/, const char* /*name*/) {},
        .description = [](void* /*data*/, wl_output* /*output*/, const char* /*text*/) {},
    };
    static constexpr zxdg_output_v1_listener kLogicalListener{
        .logical_position =
            [](void* data, zxdg_output_v1* /*output*/, std::int32_t x, std::int32_t y) {
              PixelRect& bounds = static_cast<Entry*>(data)->told.bounds;
              bounds.x = x;
              bounds.y = y;
            },
        .logical_size =
            [](void* data, zxdg_output_v1* /*output*/, std::int32_t width, std::int32_t height) {
              PixelRect& bounds = static_cast<Entry*>(data)->told.bounds;
              bounds.width = width;
              bounds.height = height;
            },
        .done = [](void* /*data*/, zxdg_output_v1* /*output*/) {},
        .name = [](void* data, zxdg_output_v1* /*output*/,
                   const char* name) { static_cast<Entry*>(data)->told.name = name; },
        .description = [](void* /*data*/, zxdg_output_v1* /*output*/, const char* /*text*/) {},
    };
    wl_output_add_listener(output.get(), &kListener, this);
    zxdg_output_v1_add_listener(logical.get(), &kLogicalListener, this);
  }

  void settle() {
    if (told.name.empty() || told.bounds.empty()) return;
    current = withSizeTurned(told, transform);
    known = true;
    owner->onChange_();
  }
};

OutputLayout::OutputLayout(WaylandConnection& connection, std::function<void()> onChange)
    : connection_(connection), onChange_(std::move(onChange)) {
  const auto* const manager = connection.find(zxdg_output_manager_v1_interface.name);
  if (!manager) return;
  manager_.reset(connection.bind<zxdg_output_manager_v1>(*manager, zxdg_output_manager_v1_interface,
                                                         kLogicalOutputVersion));
  for (const auto& global : connection.globals()) add(global);
  connection_.onGlobal = [this](const auto& global) { add(global); };
  connection_.onGlobalRemoved = [this](std::uint32_t global) { remove(global); };
}

OutputLayout::~OutputLayout() {
  connection_.onGlobal = nullptr;
  connection_.onGlobalRemoved = nullptr;
}

void OutputLayout::add(const WaylandConnection::Global& global) {
  if (global.interface != wl_output_interface.name) return;
  auto entry = std::make_unique<Entry>();
  entry->owner = this;
  entry->told.global = global.name;
  entry->output.reset(connection_.bind<wl_output>(global, wl_output_interface, kOutputVersion));
  entry->logical.reset(zxdg_output_manager_v1_get_xdg_output(manager_.get(), entry->output.get()));
  entry->listen();
  entries_.push_back(std::move(entry));
}

void OutputLayout::remove(std::uint32_t global) {
  const auto gone =
      std::erase_if(entries_, [&](const auto& entry) { return entry->told.global == global; });
  if (gone > 0) onChange_();
}

std::vector<OutputLayout::Output> OutputLayout::outputs() const {
  std::vector<Output> outputs;
  for (const auto& entry : entries_) {
    if (entry->known) outputs.push_back(entry->current);
  }
  return outputs;
}

}  // namespace tessaline::platform

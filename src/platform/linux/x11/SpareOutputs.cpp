#include "platform/linux/x11/SpareOutputs.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace tessaline::platform {
namespace {

enum class Kind { madeForIt, adapter, connector };

// Drivers that offer outputs without hardware: dummy, intel, modesetting in a virtual machine,
// the proprietary ones, VNC servers.
constexpr std::array<std::string_view, 4> kVirtualNames = {"DUMMY", "VIRTUAL", "HEADLESS", "VNC"};

std::string upperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

Kind kindOf(std::string_view name) {
  const std::string upper = upperCase(name);
  for (const auto prefix : kVirtualNames) {
    if (upper.starts_with(prefix)) return Kind::madeForIt;
  }
  // evdi shows as DVI-I with the number of its provider in front: DVI-I-1-1.
  const bool evdi = upper.starts_with("DVI-I-") && std::count(upper.begin(), upper.end(), '-') == 3;
  return evdi ? Kind::adapter : Kind::connector;
}

/// A CRTC that drives nothing and can drive `output`; 0 when there is none.
xcb_randr_crtc_t freeCrtc(const RandrLayout& layout, const RandrLayout::Output& output) {
  for (const auto id : output.possibleCrtcs) {
    const auto* crtc = layout.crtc(id);
    if (crtc && crtc->bounds.empty() && crtc->outputs.empty()) return id;
  }
  return 0;
}

}  // namespace

std::vector<SpareOutput> spareOutputs(const RandrLayout& layout) {
  std::vector<std::pair<int, SpareOutput>> ranked;
  for (const auto& output : layout.outputs) {
    const Kind kind = kindOf(output.name);
    if (output.crtc != 0 || (output.connected && kind != Kind::madeForIt)) continue;
    const auto crtc = freeCrtc(layout, output);
    if (crtc == 0) continue;
    // One that nobody has touched comes before one that was switched off.
    const int rank = 2 * static_cast<int>(kind) + (output.connected ? 1 : 0);
    ranked.emplace_back(rank, SpareOutput{output.id, crtc, output.name, kind == Kind::connector});
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<SpareOutput> outputs;
  outputs.reserve(ranked.size());
  for (auto& entry : ranked) outputs.push_back(std::move(entry.second));
  return outputs;
}

}  // namespace tessaline::platform

#include <fstream>
#include <string>

#include "Targets.h"
#include "base/UserDefaults.h"
#include "streaming/Arrangement.h"
#include "support/TemporaryFolder.h"
#include "web/ApprovedDevices.h"

namespace tessaline::fuzz {
namespace {

constexpr std::uint32_t kSerial = 7;  // of the display that a place may be remembered for
constexpr const char* kKeys[] = {"arrangement", "approvedDevices", "webKey", "touchControl",
                                 "bitrate"};

void sameValues(const UserDefaults& a, const UserDefaults& b) {
  for (const char* key : kKeys) {
    require(a.string(key) == b.string(key) && a.integer(key) == b.integer(key));
    require(a.boolean(key) == b.boolean(key) && a.dictionary(key) == b.dictionary(key));
  }
}

void placeDisplay(UserDefaults& defaults) {
  const Arrangement arrangement(defaults);
  const Arrangement::Displays others = {{1, {0, 0, 1920, 1080}, {1920, 1080}, true},
                                        {2, {-1280, 100, 1280, 800}, {1280, 800}, false}};
  const auto place = arrangement.placeFor(kSerial, {800, 600}, others);
  if (!place) return;
  for (const auto& other : others) {
    require(intersected({place->x, place->y, 800, 600}, other.bounds).empty());
  }
}

}  // namespace

void settings(ByteView input) {
  const auto file = scratchFolder() / "settings.json";
  const auto aside = scratchFolder() / "settings.json.broken";
  std::ofstream(file, std::ios::binary | std::ios::trunc) << viewText(input);

  UserDefaults defaults(file);
  if (!std::filesystem::exists(file)) {  // what could not be read is kept as it was
    require(test::readFile(aside) == viewText(input));
    std::filesystem::remove(aside);
  }
  placeDisplay(defaults);
  const bool known = ApprovedDevices(defaults).contains("tablet");
  // One change writes everything, and all of it is read again.
  defaults.set("changed", !defaults.boolean("changed").value_or(false));
  UserDefaults again(file);
  require(again.boolean("changed").has_value());
  sameValues(defaults, again);
  require(ApprovedDevices(again).contains("tablet") == known);
}

}  // namespace tessaline::fuzz

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "Targets.h"
#include "support/TemporaryFolder.h"

namespace tessaline::fuzz {
namespace {

// A few seconds of each; searching longer is libFuzzer's part.
constexpr int kMutations = 3000;
constexpr std::size_t kLongest = 16 * 1024;  // bytes

struct Target {
  const char* name;
  void (*run)(ByteView);
};

/// Names the test.
void PrintTo(const Target& target, std::ostream* out) {
  *out << target.name;
}

/// Changes inputs in the ways that parsers stumble over. The same on every machine: the numbers of
/// this generator are the standard's, and no distribution, whose results are not, is used.
class Mutator {
 public:
  explicit Mutator(std::vector<Bytes> seeds) : seeds_(std::move(seeds)) {}

  Bytes next() {
    Bytes bytes = anySeed();
    const std::size_t changes = 1 + below(4);
    for (std::size_t i = 0; i < changes; ++i) change(bytes);
    bytes.resize(std::min(bytes.size(), kLongest));
    return bytes;
  }

 private:
  std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }
  const Bytes& anySeed() { return seeds_[below(seeds_.size())]; }
  /// A place and how many bytes from there on, few as a rule.
  std::span<std::uint8_t> anyPart(Bytes& bytes) {
    const std::size_t start = below(bytes.size() + 1);
    return std::span(bytes).subspan(start, below(std::min<std::size_t>(bytes.size() - start, 32)));
  }

  void change(Bytes& bytes) {
    constexpr std::uint8_t kEdges[] = {0, 1, 0x7F, 0x80, 0xFE, 0xFF, '"', '\\', '{', '9'};
    const auto part = anyPart(bytes);
    const auto begin = bytes.begin() + (part.data() - bytes.data());
    switch (below(6)) {
      case 0:
        for (auto& byte : part) byte = static_cast<std::uint8_t>(random_());
        break;
      case 1:
        if (!part.empty()) part[0] ^= static_cast<std::uint8_t>(1U << below(8));
        break;
      case 2:
        if (!part.empty()) part[0] = kEdges[below(std::size(kEdges))];
        break;
      case 3:
        bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(part.size()));
        break;
      case 4: {
        const Bytes copy(part.begin(), part.end());
        bytes.insert(begin, copy.begin(), copy.end());
        break;
      }
      default: {
        Bytes other = anySeed();
        const auto piece = anyPart(other);
        bytes.insert(begin, piece.begin(), piece.end());
      }
    }
  }

  const std::vector<Bytes> seeds_;
  std::mt19937 random_;
};

class FuzzReplay : public testing::TestWithParam<Target> {
 protected:
  /// The input lies in a file while it runs: what ends the process can be looked at.
  static void run(ByteView input) {
    std::ofstream(lastInput(), std::ios::binary | std::ios::trunc) << viewText(input);
    GetParam().run(input);
  }
  static std::filesystem::path lastInput() {
    return std::string("fuzz-") + GetParam().name + ".input";
  }
};

TEST_P(FuzzReplay, SurvivesTheSeedsAndTheirMutations) {
  std::vector<std::filesystem::path> files;
  const auto folder = std::filesystem::path(TESSALINE_FUZZ_SEEDS) / GetParam().name;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry);
  std::ranges::sort(files);
  std::vector<Bytes> seeds;
  for (const auto& file : files) {
    const std::string text = test::readFile(file);
    seeds.emplace_back(text.begin(), text.end());
  }
  ASSERT_FALSE(seeds.empty()) << folder;

  GetParam().run({});
  for (const auto& seed : seeds) run(seed);
  Mutator mutator(seeds);
  for (int i = 0; i < kMutations; ++i) run(mutator.next());
  std::filesystem::remove(lastInput());
}

INSTANTIATE_TEST_SUITE_P(All, FuzzReplay,
                         testing::Values(Target{"protocol", protocol}, Target{"receiver", receiver},
                                         Target{"media", media}, Target{"web", web},
                                         Target{"settings", settings},
                                         Target{"certificate", certificate},
                                         Target{"websocket", websocket}));

}  // namespace
}  // namespace tessaline::fuzz

#include "platform/linux/wayland/portal/PortalConsent.h"

#include <algorithm>
#include <utility>

#include "base/Log.h"
#include "base/PrivateFile.h"

namespace tessaline::platform {
namespace {

constexpr std::size_t kMostTokens = 16;
constexpr std::size_t kLongestToken = 4096;

/// Fit for a line of the file.
bool isToken(const std::string& text) {
  return !text.empty() && text.size() <= kLongestToken &&
         std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7F; });
}

}  // namespace

void PortalConsent::Turn::end(Outcome outcome, std::optional<std::string> token) {
  if (std::exchange(ended_, true)) return;
  if (const auto consent = consent_.lock()) consent->ended(*this, outcome, std::move(token));
}

PortalConsent::PortalConsent(std::filesystem::path file) : file_(std::move(file)) {
  const std::string kept = readTrimmed(file_).value_or("");
  for (std::size_t start = 0; start < kept.size() && tokens_.size() < kMostTokens;) {
    const std::size_t end = std::min(kept.find('\n', start), kept.size());
    if (std::string line = kept.substr(start, end - start); isToken(line)) {
      tokens_.push_back(std::move(line));
    }
    start = end + 1;
  }
}

bool PortalConsent::granted() const {
  return !refused_ && (grantedNow_ || restoring_ > 0 || !tokens_.empty());
}

void PortalConsent::ask(Ready ready) {
  if (refused_) {
    ready(nullptr);
    return;
  }
  if (!tokens_.empty()) {
    // What is in the file is there until the portal has given something better.
    std::string token = tokens_.front();
    tokens_.erase(tokens_.begin());
    ++restoring_;
    ready(std::make_unique<Turn>(weak_from_this(), std::move(token)));
    return;
  }
  waiting_.push_back(std::move(ready));
  next();
}

void PortalConsent::next() {
  while (!waiting_.empty() && !questionOpen_) {
    const Ready ready = std::move(waiting_.front());
    waiting_.pop_front();
    if (refused_) {
      ready(nullptr);
      continue;
    }
    questionOpen_ = true;
    ready(std::make_unique<Turn>(weak_from_this(), std::nullopt));
  }
}

void PortalConsent::ended(const Turn& turn, Turn::Outcome outcome,
                          std::optional<std::string> token) {
  if (turn.token()) {
    --restoring_;
  } else {
    questionOpen_ = false;
  }
  if (outcome == Turn::Outcome::granted) grantedNow_ = true;
  if (outcome == Turn::Outcome::refused) {
    refused_ = true;
    grantedNow_ = false;
  }
  if (outcome == Turn::Outcome::failed) {
    // The portal may never have seen the token; one that fails again would fail for ever.
    if (token && doubted_.insert(*token).second) tokens_.push_back(*token);
  } else if (token) {
    keep(*token);
  }
  if (turn.token()) save();
  next();
}

void PortalConsent::keep(const std::string& token) {
  if (!isToken(token)) {
    log("the desktop portal's token cannot be kept; it will ask again");
  } else if (tokens_.size() < kMostTokens) {
    tokens_.push_back(token);
  }
  save();
}

void PortalConsent::save() const {
  std::string text;
  for (const auto& token : tokens_) text += token + "\n";
  auto failure = makePrivateFolder(file_.parent_path());
  if (!failure) failure = replacePrivateFile(file_, text);
  if (failure) log("the desktop's consent cannot be remembered: " + failure->text);
}

}  // namespace tessaline::platform

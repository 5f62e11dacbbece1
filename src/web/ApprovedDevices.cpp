#include "web/ApprovedDevices.h"

#include <algorithm>

#include "base/Log.h"

namespace tessaline {
namespace {

constexpr std::string_view kKey = "approvedDevices";
// Nobody answers more questions than that, and each costs memory until it is answered.
constexpr std::size_t kMaximumQuestions = 16;
constexpr std::size_t kMaximumCompletions = 16;  // of one question; the oldest asked long ago

}  // namespace

std::string ApprovedDevices::Prompt::message() const {
  return "Use “" + deviceName + "” as your extra screen?";
}

ApprovedDevices::ApprovedDevices(UserDefaults& defaults) : defaults_(defaults) {}

UserDefaults::Dictionary ApprovedDevices::all() const {
  return defaults_.dictionary(kKey).value_or(UserDefaults::Dictionary());
}

void ApprovedDevices::setAll(const UserDefaults::Dictionary& devices) {
  defaults_.set(kKey, devices);
}

bool ApprovedDevices::contains(const std::string& deviceID) const {
  return !deviceID.empty() && all().contains(deviceID);
}

void ApprovedDevices::add(const std::string& deviceID, const std::string& name) {
  if (deviceID.empty()) return;
  auto devices = all();
  devices[deviceID] = name;
  setAll(devices);
}

void ApprovedDevices::forgetAll() {
  setAll({});
}

void ApprovedDevices::ask(const Hello& hello, Completion completion) {
  if (contains(hello.deviceID)) {
    completion(true);
    return;
  }
  const auto open = std::ranges::find_if(questions_, [&](const Question& question) {
    return !hello.deviceID.empty() && question.prompt.deviceID == hello.deviceID;
  });
  if (open != questions_.end()) {
    auto& completions = open->completions;
    completions.push_back(std::move(completion));
    if (completions.size() <= kMaximumCompletions) return;
    const Completion oldest = std::move(completions.front());
    completions.erase(completions.begin());
    oldest(false);
    return;
  }
  if (questions_.size() >= kMaximumQuestions) {
    log("too many devices are waiting to be allowed; refused " + hello.deviceName);
    completion(false);
    return;
  }
  questions_.push_back({{++lastID_, hello.deviceID, hello.deviceName}, {std::move(completion)}});
  observers_.notify();
}

std::vector<ApprovedDevices::Prompt> ApprovedDevices::pending() const {
  std::vector<Prompt> prompts;
  prompts.reserve(questions_.size());
  for (const auto& question : questions_) prompts.push_back(question.prompt);
  return prompts;
}

bool ApprovedDevices::answer(std::uint64_t promptID, bool allow) {
  const auto found = std::ranges::find(questions_, promptID,
                                       [](const Question& question) { return question.prompt.id; });
  if (found == questions_.end()) return false;
  const Question question = std::move(*found);
  questions_.erase(found);
  if (allow) add(question.prompt.deviceID, question.prompt.deviceName);
  observers_.notify();
  for (const auto& completion : question.completions) completion(allow);
  return true;
}

Subscription ApprovedDevices::observe(Observers::Observer observer) {
  return observers_.add(std::move(observer));
}

}  // namespace tessaline

#include "system/ScreenPermission.h"

#include <utility>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kTrial = 1s;   // long enough for the system to list the application
constexpr auto kPrompt = 2s;  // for the system's own question, before the settings cover it
constexpr std::string_view kPromptShown = "screenPromptShown";
constexpr const char* kSettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

}  // namespace

ScreenPermission::ScreenPermission(platform::ScreenCaptureAccess& access,
                                   platform::Workspace& workspace, std::shared_ptr<Queue> main,
                                   UserDefaults& defaults)
    : access_(access), workspace_(workspace), main_(std::move(main)), defaults_(defaults) {}

void ScreenPermission::request() {
  const bool asked = defaults_.boolean(kPromptShown).value_or(false);
  if (!asked) defaults_.set(kPromptShown, true);
  access_.request();
  trial_ = access_.tryCapture();
  if (trial_) {
    trialEnd_ = main_->after(kTrial, [this] { trial_.reset(); });
  }
  settings_ = main_->after(asked ? Duration::zero() : kPrompt, [this] {
    if (!access_.granted()) workspace_.open(kSettings);
  });
}

}  // namespace tessaline

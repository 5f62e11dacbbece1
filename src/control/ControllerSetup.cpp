#include "control/Controller.h"
#include "system/LocalNetwork.h"

namespace tessaline {

SetupAssistant Controller::setupAssistant() {
  SetupAssistant setup;
  setup.title = "Set up your extra screen";
  setup.steps = {screenRecordingStep(), localNetworkStep(), otherMacStep()};
  // Without the radio link there is nothing to make smooth, and no password to ask for.
  const bool smooth = airDrop_.available();
  if (smooth) setup.steps.push_back(smoothStep());
  setup.line = live()   ? "Your extra screen is on. You're all set."
               : smooth ? "Four quick steps and your other Mac becomes an extra screen."
                        : "Three quick steps and your other Mac becomes an extra screen.";
  setup.openAtLoginTitle = "Open Tessaline at login";
  setup.opensAtLogin = opensAtLogin();
  setup.setOpensAtLogin = [this_ = std::weak_ptr(self_)](bool on) {
    if (const auto controller = this_.lock()) (*controller)->setOpensAtLogin(on);
  };
  setup.switchQuestion = "Is this the Mac you want as the extra screen?";
  setup.switchRole = {"Switch to extra screen", action([](Controller& c) { c.switchRole(); })};
  setup.done = {"Done", action([](Controller& c) { c.finishOnboarding(); })};
  return setup;
}

SetupAssistant::Step Controller::screenRecordingStep() const {
  Step step;
  step.title = "Let Tessaline show your extra screen";
  step.text =
      "macOS asks for Screen Recording. Tessaline only sends the extra screen to your other Mac.";
  step.done = permission_.granted();
  if (step.done) return step;
  if (permissionAsked_) {
    step.text =
        "Turn on Tessaline in the list that just opened. Not there? Drag Tessaline from Finder "
        "into the list.";
    step.buttons = {
        {"Show in Finder", action([](Controller& c) { c.permission_.revealApplication(); })}};
  } else {
    step.buttons = {{"Allow", action([](Controller& c) { c.requestScreenPermission(); })}};
  }
  return step;
}

SetupAssistant::Step Controller::localNetworkStep() const {
  Step step;
  step.title = "Let it find your other Mac";
  if (localNetworkDenied()) {
    step.text = "macOS is blocking the connection. Turn on Tessaline in Local Network settings.";
    step.buttons = {{"Open Settings", action([](Controller& c) {
                       LocalNetwork::openSettings(c.services_.workspace);
                     })}};
  } else if (localNetworkOK()) {
    step.text = "Tessaline can reach your other Mac on this network.";
    step.done = true;
  } else if (!receivers().empty()) {
    step.text = "Checking that macOS lets Tessaline connect…";
    step.busy = true;
  } else {
    // Nothing is there to try it on yet.
    step.text = "macOS may ask to find devices on your network. Click Allow.";
  }
  return step;
}

SetupAssistant::Step Controller::otherMacStep() const {
  Step step;
  if (const auto names = streamingNames(); !names.empty()) {
    step.title = "Your extra screen is on";
    step.text = names.front() +
                " is showing your extra screen. Drag a window to it, or stop anytime from the "
                "menu bar (⌃⌥⌘S).";
    step.done = true;
    return step;
  }
  step.title = "The other Mac";
  step.text =
      "On the other Mac, open Tessaline and choose “Make this an extra screen”. Same Wi-Fi.";
  step.busy = activeName_.has_value();
  for (const auto& [name, endpoint] : receivers()) {
    step.buttons.push_back({name, action([name = name](Controller& c) { c.connect(name); })});
  }
  return step;
}

SetupAssistant::Step Controller::smoothStep() const {
  Step step;
  step.title = "Smooth Wi-Fi";
  step.text =
      "Pauses AirDrop only while things move on the extra screen, so Wi-Fi stays steady. Asks for "
      "your password once.";
  step.done = airDrop_.helperInstalled();
  step.busy = airDrop_.installing();
  if (!step.done && !step.busy) {
    step.buttons = {{"Make it smooth", action([](Controller& c) { c.airDrop_.installHelper(); })}};
  }
  return step;
}

}  // namespace tessaline

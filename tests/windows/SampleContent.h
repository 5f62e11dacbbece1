#pragma once

#include <string>

#include "control/SetupAssistant.h"
#include "control/StatusMenu.h"
#include "receiver/HomeScreen.h"

namespace tessaline::test {

/// What the windows show in the tests: everything that can appear, with names as people give them.
/// Actions append their entry's title and a bar to `done`.
StatusMenu sampleStatusMenu(std::string& done);
SetupAssistant sampleSetupAssistant(std::string& done);
HomeScreen sampleHomeScreen(std::string& done);

}  // namespace tessaline::test

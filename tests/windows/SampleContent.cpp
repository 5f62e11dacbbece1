#include "SampleContent.h"

namespace tessaline::test {
namespace {

StatusMenuItem entry(std::string& done, const std::string& title, const std::string& symbol = {}) {
  StatusMenuItem item;
  item.title = title;
  item.symbol = symbol;
  item.action = [&done, title] { done += title + "|"; };
  return item;
}

StatusMenuItem plain(StatusMenuItem::Kind kind, const std::string& title = {}) {
  StatusMenuItem item;
  item.kind = kind;
  item.title = title;
  return item;
}

}  // namespace

StatusMenu sampleStatusMenu(std::string& done) {
  using Kind = StatusMenuItem::Kind;
  StatusMenu menu{{"Live on Anna's iMac, Anna’s old tablet in the kitchen", StatusDot::green}, {}};
  auto& items = menu.items;
  items.push_back(entry(done, "Allow Local Network Access…", "exclamationmark.triangle.fill"));
  items.push_back(entry(done, "Stop Extra Screen", "stop.circle"));
  items.back().key = 's';
  items.back().controlOptionCommand = true;
  items.push_back(plain(Kind::separator));
  items.push_back(plain(Kind::sectionHeader, "Screens"));
  items.push_back(entry(done, "Anna's iMac", "display"));
  items.back().checked = true;
  items.push_back(entry(done, "The R&B room's rather long computer name 01", "display"));
  items.push_back(entry(done, "אייפד של דנה 🎨", "globe"));
  items.back().checked = true;
  items.back().toolTip = "Click to disconnect";
  items.push_back(entry(done, "Add a Screen", "plus.rectangle.on.rectangle"));
  items.back().submenu = {entry(done, "Phone, Tablet or Computer (Scan a QR Code)…", "qrcode"),
                          entry(done, "Another Mac (Best Quality)…", "desktopcomputer")};
  items.push_back(plain(Kind::separator));
  items.push_back(entry(done, "Settings", "gearshape"));
  items.back().submenu = {plain(Kind::sectionHeader, "AirDrop while the extra screen is on"),
                          entry(done, "Pause only while things move (recommended)"),
                          plain(Kind::separator), entry(done, "Setup Assistant…")};
  items.back().submenu[1].checked = true;
  items.push_back(entry(done, "Support Tessaline ☕…"));
  items.push_back(entry(done, "Quit Tessaline"));
  items.back().key = 'q';
  return menu;
}

SetupAssistant sampleSetupAssistant(std::string& done) {
  const auto button = [&done](const std::string& title) {
    return SetupAssistant::Button{title, [&done, title] { done += title + "|"; }};
  };
  SetupAssistant setup;
  setup.title = "Set up your extra screen";
  setup.line = "Four quick steps and your other Mac becomes an extra screen.";
  const std::string text =
      "On the other Mac, open Tessaline and choose “Make this an extra screen”. Same Wi-Fi.";
  setup.steps = {{"Let Tessaline show your extra screen", text, true, false, {}},
                 {"Let it find your other Mac", text, false, true, {}},
                 {"The other Mac",
                  text,
                  false,
                  false,
                  {button("Anna's iMac"), button("The R&B room's rather long computer name 01")}},
                 {"Smooth Wi-Fi",
                  text + " Asks for your password once.",
                  false,
                  false,
                  {button("Make it smooth")}}};
  setup.openAtLoginTitle = "Open Tessaline at login";
  setup.opensAtLogin = true;
  setup.setOpensAtLogin = [&done](bool on) { done += on ? "login|" : "no login|"; };
  setup.switchQuestion = "Is this the Mac you want as the extra screen?";
  setup.switchRole = button("Switch to extra screen");
  setup.done = button("Done");
  return setup;
}

HomeScreen sampleHomeScreen(std::string& done) {
  HomeScreen home;
  home.title = "Ready to be your extra screen";
  home.line = "Leave this window open. Your main Mac does the rest.";
  home.status = "Waiting for your main Mac…";
  home.openAtLogin = {"Open Tessaline at login", true,
                      [&done](bool on) { done += on ? "login|" : "no login|"; }};
  home.keepAwake = {"Keep this Mac awake, so it's always ready", false,
                    [&done](bool on) { done += on ? "awake|" : "asleep|"; }};
  home.address = "This Mac: 192.168.178.43";
  home.switchRole = {"Is this the Mac you work on?", "Use this Mac as the main Mac instead",
                     [&done] { done += "switch|"; }};
  home.steps = {
      {"Open Tessaline on your main Mac", "Same app, same Wi-Fi. Choose “This is my main Mac”."},
      {"Pick “Anna's very old but still beautiful iMac 27”",
       "From the smiling screen in your main Mac's menu bar."},
      {"That's it", "This screen fills up with your extra desktop. Press Esc to come back here."}};
  return home;
}

}  // namespace tessaline::test

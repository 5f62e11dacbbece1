#include <utility>

#include "control/Controller.h"
#include "shell/LoginItem.h"
#include "streaming/Messages.h"
#include "system/LocalNetwork.h"

namespace tessaline {
namespace {

using Item = StatusMenuItem;

constexpr std::string_view kSupportURL = "supportURL";  // where people find help
constexpr std::string_view kDefaultSupportURL = "https://tessaline.app/support";

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

Item command(std::string title, std::function<void()> action) {
  Item item;
  item.title = std::move(title);
  item.action = std::move(action);
  return item;
}

Item command(std::string title, std::string symbol, std::function<void()> action) {
  Item item = command(std::move(title), std::move(action));
  item.symbol = std::move(symbol);
  return item;
}

Item choice(std::string title, bool checked, std::function<void()> action) {
  Item item = command(std::move(title), std::move(action));
  item.checked = checked;
  return item;
}

Item separator() {
  Item item;
  item.kind = Item::Kind::separator;
  return item;
}

Item sectionHeader(std::string title) {
  Item item;
  item.kind = Item::Kind::sectionHeader;
  item.title = std::move(title);
  return item;
}

}  // namespace

StatusMenu Controller::statusMenu() {
  StatusMenu menu{menuHeader(), {}};
  auto& items = menu.items;
  addSessionItems(items);
  items.push_back(separator());
  addScreenItems(items);
  items.push_back(addScreenMenu());
  items.push_back(separator());
  items.push_back(settingsMenu());
  items.push_back(command("Support Tessaline ☕…", action([](Controller& c) { c.openSupport(); })));
  items.push_back(command("Quit Tessaline", action([](Controller& c) {
                            if (c.onTerminate) c.onTerminate();
                          })));
  items.back().key = 'q';
  return menu;
}

StatusMenu::Header Controller::menuHeader() const {
  if (const auto limitation = services_.session.desktop.limitation()) {
    return {*limitation, StatusDot::red};
  }
  if (const auto names = streamingNames(); !names.empty()) {
    return {"Live on " + joined(names), StatusDot::green};
  }
  if (activeName_) return {"Connecting to " + *activeName_ + "…", StatusDot::orange};
  if (lastError_) return {*lastError_, StatusDot::red};
  if (receivers().empty() && web_->sessions().empty()) {
    return {"Looking for your other Mac…", StatusDot::grey};
  }
  return {"Ready", StatusDot::grey};
}

void Controller::addSessionItems(std::vector<Item>& items) const {
  if (localNetworkDenied() || lastError_ == Messages::localNetwork) {
    items.push_back(
        command("Allow Local Network Access…", "exclamationmark.triangle.fill",
                action([](Controller& c) { LocalNetwork::openSettings(c.services_.workspace); })));
  }
  const auto toggle = action([](Controller& c) { c.toggleStreaming(); });
  const auto target = startTarget();
  if (session_ || !web_->sessions().empty()) {
    items.push_back(command("Stop Extra Screen", "stop.circle", toggle));
  } else if (target && receivers().contains(*target)) {
    items.push_back(command("Start Extra Screen on " + *target, "play.circle", toggle));
  } else {
    return;
  }
  items.back().key = 's';
  items.back().controlOptionCommand = true;
}

void Controller::addScreenItems(std::vector<Item>& items) const {
  items.push_back(sectionHeader("Screens"));
  if (receivers().empty() && web_->sessions().empty()) {
    items.push_back(command("Open Tessaline on your other Mac", nullptr));
    items.back().enabled = false;
  }
  for (const auto& [name, endpoint] : receivers()) {
    items.push_back(choice(name, name == activeName_,
                           action([name = name](Controller& c) { c.toggleReceiver(name); })));
    items.back().symbol = "display";
  }
  for (const auto& session : web_->sessions()) {
    items.push_back(choice(session->name(), true, [weak = std::weak_ptr(session)] {
      if (const auto screen = weak.lock()) screen->stop();
    }));
    items.back().symbol = "globe";
    items.back().toolTip = "Click to disconnect";
  }
}

StatusMenuItem Controller::addScreenMenu() const {
  Item menu = command("Add a Screen", "plus.rectangle.on.rectangle", nullptr);
  menu.submenu.push_back(command("Phone, Tablet or Computer (Scan a QR Code)…", "qrcode",
                                 action([](Controller& c) { c.services_.windows.showQR(); })));
  menu.submenu.back().toolTip = "Nothing to install: open the link in a browser on the device.";
  menu.submenu.push_back(command("Another Mac (Best Quality)…", "desktopcomputer",
                                 action([](Controller& c) { c.services_.windows.showMacHelp(); })));
  menu.submenu.back().toolTip =
      "Install Tessaline on the other Mac too. Smoothest option, ideal for an older iMac or "
      "MacBook.";
  return menu;
}

StatusMenuItem Controller::settingsMenu() const {
  Item menu = command("Settings", "gearshape", nullptr);
  auto& items = menu.submenu;
  addAirDropItems(items);
  items.push_back(choice("Touch Control on Phones and Tablets", services_.touch.enabled(),
                         action([](Controller& c) { c.toggleTouch(); })));
  items.push_back(
      command("Forget Allowed Screens", action([](Controller& c) { c.approved_.forgetAll(); })));
  items.push_back(choice("Open at Login", opensAtLogin(),
                         action([](Controller& c) { c.setOpensAtLogin(!c.opensAtLogin()); })));
  items.push_back(separator());
  items.push_back(command("Setup Assistant…", action([](Controller& c) { c.showOnboarding(); })));
  return menu;
}

void Controller::addAirDropItems(std::vector<Item>& items) const {
  // A computer without that radio link has nothing to pause, and its menu promises nothing.
  if (!airDrop_.available()) return;
  using Mode = AirDropPause::Mode;
  const auto add = [&](std::string title, Mode mode) {
    items.push_back(choice(std::move(title), airDrop_.mode() == mode, action([mode](Controller& c) {
                             c.airDrop_.setMode(mode);
                             c.changed();
                           })));
  };
  items.push_back(sectionHeader("AirDrop while the extra screen is on"));
  add("Pause only while things move (recommended)", Mode::whileMoving);
  add("Always pause", Mode::always);
  add("Never pause", Mode::never);
  items.push_back(separator());
}

void Controller::toggleReceiver(const std::string& name) {
  if (name == activeName_) {
    disconnect();
  } else {
    connect(name);
  }
}

void Controller::openSupport() {
  services_.workspace.open(defaults_.string(kSupportURL).value_or(std::string(kDefaultSupportURL)));
}

void Controller::toggleTouch() {
  services_.touch.setEnabled(!services_.touch.enabled());
  changed();
}

bool Controller::opensAtLogin() const {
  return LoginItem::enabled(services_.workspace);
}

void Controller::setOpensAtLogin(bool on) {
  LoginItem::set(services_.workspace, on);
  changed();
}

}  // namespace tessaline

#include "PrivateNetwork.h"

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace tessaline::test {
namespace {

// In the private /run, and always the same: the bus library reads it once in a process.
constexpr const char* kBusAddress = "unix:path=/run/bus";

}  // namespace

PrivateNetwork::PrivateNetwork() {
  for (const char* program : {"avahi-daemon", "dbus-daemon"}) {
    if (Program({program, "--version"}).wait() != 0) {
      missing_ = std::string(program) + " is not installed";
      return;
    }
  }
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 ||
      ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", "/run", "tmpfs", 0, nullptr) != 0) {
    missing_ = "namespaces of its own take root";
  } else if (!ip("link set lo up") || !ip("link add cable0 type veth peer name cable1") ||
             !ip("addr add 10.77.0.1/24 dev cable0") || !ip("link set cable0 up") ||
             !ip("link set cable1 up")) {
    missing_ = "a virtual network cable cannot be made here";
  }
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", kBusAddress, 1);
}

void PrivateNetwork::startBus() {
  std::filesystem::remove("/run/bus");
  const std::string configuration =
      write("bus.conf", std::string("<busconfig><type>system</type><listen>") + kBusAddress +
                            "</listen><policy context=\"default\"><allow user=\"*\"/>"
                            "<allow own=\"*\"/><allow send_destination=\"*\"/>"
                            "<allow receive_sender=\"*\"/></policy></busconfig>");
  bus_ = std::make_unique<Program>(
      std::vector<std::string>{"dbus-daemon", "--config-file=" + configuration, "--nofork",
                               "--nopidfile", "--print-address=1"});
  bus_->waitFor("guid=");
}

void PrivateNetwork::startDaemon() {
  std::filesystem::remove_all("/run/avahi-daemon");
  // Reading the service files of the machine would bring them into the test.
  const std::string configuration = write("avahi.conf", R"([server]
host-name=private
use-ipv4=yes
use-ipv6=yes
enable-dbus=yes
[publish]
publish-workstation=no
[rlimits]
)");
  daemon_ = std::make_unique<Program>(std::vector<std::string>{
      "avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "-f", configuration});
  daemon_->waitFor("Server startup complete");
}

bool PrivateNetwork::ip(const std::string& arguments) {
  std::vector<std::string> words{"ip"};
  std::istringstream stream(arguments);
  for (std::string word; stream >> word;) words.push_back(word);
  return Program(words).wait() == 0;
}

std::string PrivateNetwork::write(const std::string& name, const std::string& text) const {
  const auto file = folder_.path() / name;
  std::ofstream(file) << text;
  return file.string();
}

}  // namespace tessaline::test

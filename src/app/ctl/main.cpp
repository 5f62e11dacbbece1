#include "app/ctl/Commands.h"
#include "platform/linux/desktop/ApplicationFolders.h"
#include "platform/linux/desktop/DBusControl.h"

int main(int argc, char** argv) {
  using namespace tessaline;
  const auto folders = platform::ApplicationFolders::fromEnvironment();
  const auto client = platform::DBusControl::client(folders.busName);
  return ctl::runCommand(std::vector<std::string>(argv + 1, argv + argc), *client);
}

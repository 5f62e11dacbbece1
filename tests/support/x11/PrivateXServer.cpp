#include "support/x11/PrivateXServer.h"

#include <csignal>
#include <cstdlib>
#include <sstream>

namespace tessaline::test {

std::unique_ptr<PrivateXServer> PrivateXServer::start(std::string& problem,
                                                      PixelSize firstDisplay) {
  std::unique_ptr<PrivateXServer> server(new PrivateXServer);
  const std::string size =
      std::to_string(firstDisplay.width) + "x" + std::to_string(firstDisplay.height);
  // A test that crashes leaves no desktop behind.
  server->program_ = std::make_unique<Program>(std::vector<std::string>{
      "setpriv", "--pdeathsig", "TERM", DESKTOP_SCRIPT, "--bare", "--size", size, "--", "sh", "-c",
      "echo $DISPLAY $XAUTHORITY ready; exec sleep infinity"});
  if (!server->program_->waitFor(" ready\n")) {
    problem = server->program_->output();
    return nullptr;
  }
  std::string key;
  std::istringstream(server->program_->output()) >> server->display_ >> key;
  ::setenv("XAUTHORITY", key.c_str(), 1);
  return server;
}

PrivateXServer::~PrivateXServer() {
  program_->signal(SIGTERM);
  program_->wait();
}

}  // namespace tessaline::test

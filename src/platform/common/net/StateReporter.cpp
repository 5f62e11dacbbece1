#include "platform/common/net/StateReporter.h"

#include <cassert>
#include <utility>

namespace tessaline::platform {

void StateReporter::start(AnyConnection::StateHandler handler) {
  assert(!started_ && "a connection starts once");
  started_ = true;
  handler_ = std::move(handler);
}

bool StateReporter::begin() {
  begun_ = true;
  if (final_) {
    tellEnd();
    return false;
  }
  report(ConnectionState::preparing);
  return true;
}

void StateReporter::report(ConnectionState state) {
  if (!final_ && handler_) handler_(state);
}

bool StateReporter::end(ConnectionState final) {
  if (final_) return false;
  final_ = final;
  return true;
}

void StateReporter::tellEnd() {
  if (!begun_) return;
  const auto handler = std::exchange(handler_, nullptr);
  if (handler) handler(*final_);
}

}  // namespace tessaline::platform

#include <algorithm>

#include "StreamConnection.h"
#include "Targets.h"
#include "protocol/Cursor.h"
#include "protocol/Hello.h"
#include "protocol/ParameterSets.h"
#include "streaming/Link.h"
#include "support/VirtualQueues.h"

namespace tessaline::fuzz {
namespace {

using namespace std::chrono_literals;

void checkHello(const Hello& hello) {
  require(hello.scale >= 1 && hello.scale <= 255);
  require(hello.width >= 0 && hello.width <= 0xFFFF && hello.height >= 0);
  require(!hello.deviceID.empty() && repairUtf8(viewBytes(hello.deviceID)) == hello.deviceID);
}

/// Whatever can be read is what would be written.
void readAlone(ByteView bytes) {
  if (const auto hello = Hello::decoded(bytes, "screen")) checkHello(*hello);
  if (const auto sets = ParameterSetPair::decoded(bytes)) {
    const Bytes again = ParameterSetPair::encoded(sets->sequence, sets->picture);
    require(std::equal(again.begin(), again.end(), bytes.begin()));
  }
  if (const auto update = CursorUpdate::decoded(bytes)) {
    const auto again = update->datagram();
    require(std::equal(again.begin(), again.end() - 1, bytes.begin()));
  }
  if (const auto shape = CursorShape::decoded(bytes)) {
    require(std::ranges::equal(shape->shape.encoded(shape->png), bytes));
  }
}

/// As the stream of a screen.
void readStream(ByteView bytes) {
  test::VirtualQueues queues;
  int hellos = 0;
  int closes = 0;
  auto connection = std::make_shared<StreamConnection>(queues.serial("tessaline.link"), bytes);
  const auto link = std::make_shared<Link>(connection, queues.main());
  link->screenName = "screen";
  link->onHello = [&](const Hello& hello) {
    ++hellos;
    checkHello(hello);
  };
  link->onProbeAck = [](std::uint32_t, double decodeTime) { require(decodeTime == 0); };
  link->onClose = [&] { ++closes; };
  link->start();
  queues.run();
  connection->report(platform::ConnectionState::ready);
  queues.run();
  require(hellos <= 1 && closes == 1);  // the stream is over
}

}  // namespace

void protocol(ByteView input) {
  readAlone(input);
  readStream(input);
}

}  // namespace tessaline::fuzz

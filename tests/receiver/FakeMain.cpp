#include "receiver/FakeMain.h"

#include "protocol/Framing.h"
#include "protocol/ParameterSets.h"
#include "protocol/Proto.h"
#include "support/Interruptions.h"

namespace tessaline::test {

namespace asio = boost::asio;
using namespace std::chrono_literals;

static const auto kHere = asio::ip::address_v4::loopback();

FakeMain::FakeMain(std::uint16_t port) : socket_(context_) {
  socket_.connect({kHere, port});
  const timeval limit{.tv_sec = kPatience.count(), .tv_usec = 0};
  ::setsockopt(socket_.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  pings_ = std::thread([this] { ping(); });
}

FakeMain::~FakeMain() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ending_.notify_all();
  boost::system::error_code ignored;
  socket_.shutdown(asio::socket_base::shutdown_both, ignored);
  pings_.join();
}

void FakeMain::ping() {
  std::unique_lock lock(mutex_);
  while (!ending_.wait_for(lock, 1s, [this] { return ended_; })) {
    const Bytes message = framing::message(Proto::ping, {});
    boost::system::error_code ignored;
    asio::write(socket_, asio::buffer(message), ignored);
  }
}

void FakeMain::sendRaw(ByteView bytes) {
  const std::lock_guard lock(mutex_);
  boost::system::error_code ignored;  // the screen may close at any byte
  asio::write(socket_, asio::buffer(bytes.data(), bytes.size()), ignored);
}

void FakeMain::sendTorn(ByteView bytes, std::size_t count) {
  const std::lock_guard lock(mutex_);
  asio::write(socket_, asio::buffer(bytes.data(), count));
  awaitPeer(socket_);
  bytes = bytes.subspan(count);
  asio::write(socket_, asio::buffer(bytes.data(), bytes.size()));
}

void FakeMain::send(std::uint8_t type, ByteView payload) {
  sendRaw(framing::message(type, payload));
}

void FakeMain::send(const platform::CodedFrame& frame) {
  if (frame.parameterSets) {
    send(Proto::params,
         ParameterSetPair::encoded(frame.parameterSets->sequence, frame.parameterSets->picture));
  }
  send(Proto::frame, *frame.data);
}

Bytes FakeMain::read() {
  boost::system::error_code error;
  Bytes header(framing::kLengthBytes);
  asio::read(socket_, asio::buffer(header), error);
  if (error) return {};
  Bytes message(*framing::acceptedLength(header, framing::kMainReaderLimit));
  asio::read(socket_, asio::buffer(message), error);
  return error ? Bytes{} : message;
}

bool FakeMain::answersProbe(std::uint32_t id) {
  send(Proto::probe, ByteWriter().u32(id).take());
  return read() == ByteWriter().u8(Proto::probeAck).u32(id).take();
}

void FakeMain::sendDatagram(std::uint16_t port, ByteView bytes) {
  asio::io_context context;
  asio::ip::udp::socket socket(context, asio::ip::udp::v4());
  socket.send_to(asio::buffer(bytes.data(), bytes.size()), {kHere, port});
}

}  // namespace tessaline::test

#include "receiver/StreamReader.h"

#include <mutex>
#include <utility>

#include "protocol/Framing.h"

namespace tessaline {

namespace {
// Messages that may be held before reading pauses: one being decoded, one ready for when it is
// done, and one on its way between the queues. Each more would be a picture's time of delay.
constexpr int kHeldMessages = 3;
}  // namespace

/// Counts the messages that somebody holds. Messages may be let go of on any thread.
struct StreamReader::Line {
  std::mutex mutex;
  int held = 0;
  bool paused = false;
  std::weak_ptr<StreamReader> reader;  // set before the first message
  std::shared_ptr<Queue> queue;

  /// False when reading has to wait until `release` resumes it.
  bool roomForMore() {
    const std::lock_guard lock(mutex);
    paused = held >= kHeldMessages;
    return !paused;
  }
  void add() {
    const std::lock_guard lock(mutex);
    ++held;
  }
  void release() {
    {
      const std::lock_guard lock(mutex);
      --held;
      if (!std::exchange(paused, false)) return;
    }
    queue->async([weak = reader] {
      if (const auto self = weak.lock()) self->resume();
    });
  }
};

struct StreamReader::Held {
  Bytes bytes;
  std::shared_ptr<Line> line;

  Held(Bytes message, std::shared_ptr<Line> counted)
      : bytes(std::move(message)), line(std::move(counted)) {
    line->add();
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { line->release(); }
};

StreamReader::StreamReader(std::shared_ptr<platform::Connection> connection, Handler handler)
    : connection_(std::move(connection)),
      handler_(std::move(handler)),
      line_(std::make_shared<Line>()),
      lastReceived_(connection_->queue()->now()) {
  line_->queue = connection_->queue();
}

void StreamReader::start() {
  line_->reader = weak_from_this();
  readHeader();
}

Clock::time_point StreamReader::lastReceived() const {
  // While nothing is read, nothing is known about the sender.
  return waiting_ ? connection_->queue()->now() : lastReceived_;
}

void StreamReader::readHeader() {
  connection_->receive(framing::kLengthBytes, framing::kLengthBytes,
                       [weak = weak_from_this()](platform::Connection::Received received) {
                         const auto self = weak.lock();
                         if (!self || self->stopped_ || received.failed) return;
                         const auto length =
                             framing::acceptedLength(received.bytes, framing::kScreenReaderLimit);
                         if (length) {
                           self->readBody(*length);
                         } else {
                           self->connection_->cancel();
                         }
                       });
}

void StreamReader::readBody(std::uint32_t length) {
  connection_->receive(length, length,
                       [weak = weak_from_this(), length](platform::Connection::Received received) {
                         const auto self = weak.lock();
                         if (!self || self->stopped_ || received.failed) return;
                         if (received.bytes.size() < length) {
                           self->connection_->cancel();
                         } else {
                           self->handle(std::move(received.bytes));
                         }
                       });
}

void StreamReader::handle(Bytes bytes) {
  lastReceived_ = connection_->queue()->now();
  {
    const auto held = std::make_shared<Held>(std::move(bytes), line_);
    handler_(SharedBytes(held, &held->bytes));
  }
  if (stopped_) return;  // the message was the last
  waiting_ = !line_->roomForMore();
  if (!waiting_) readHeader();
}

void StreamReader::resume() {
  if (stopped_) return;
  waiting_ = false;
  lastReceived_ = connection_->queue()->now();
  readHeader();
}

}  // namespace tessaline

#include "streaming/ConnectionLink.h"

#include "protocol/Proto.h"

namespace tessaline {
namespace {

std::size_t totalSize(const std::vector<SharedBytes>& parts) {
  std::size_t size = 0;
  for (const auto& part : parts) size += part->size();
  return size;
}

}  // namespace

ConnectionLink::ConnectionLink(std::shared_ptr<platform::AnyConnection> connection,
                               std::shared_ptr<Queue> main, Duration goodbyeLimit)
    : connection_(std::move(connection)),
      main_(std::move(main)),
      goodbyeLimit_(goodbyeLimit),
      pace_(connection_->queue()->now()) {}

ConnectionLink::~ConnectionLink() {
  connection_->cancel();
}

void ConnectionLink::start() {
  queue().async([self = shared_from_this()] {
    self->connection_->start([weak = self->weak_from_this()](platform::ConnectionState state) {
      if (const auto link = weak.lock()) link->stateChanged(state);
    });
  });
}

void ConnectionLink::stop() {
  connection_->cancel();
}

void ConnectionLink::sayGoodbye() {
  // Past the budget: the goodbye is what a device with a full backlog needs most.
  queue().async([self = shared_from_this()] {
    const auto sent = [weak = self->weak_from_this()](bool) {
      if (const auto link = weak.lock()) link->goodbyeSent();
    };
    self->connection_->send(self->encode(Proto::bye, std::make_shared<const Bytes>()), sent);
  });
  queue().asyncAfter(goodbyeLimit_, [weak = weak_from_this()] {
    if (const auto link = weak.lock()) link->stop();
  });
}

bool ConnectionLink::send(std::uint8_t type, SharedBytes payload) {
  auto parts = encode(type, std::move(payload));
  const std::size_t size = totalSize(parts);
  {
    const std::lock_guard lock(mutex_);
    if (closed_ || inflight_ > kBudget) {
      ++counters_.dropped;
      return false;
    }
    inflight_ += size;
    pace_.queued(size, queue().now());
    counters_.bytes += size;
    if (type == Proto::frame) ++counters_.frames;
  }
  queue().async([weak = weak_from_this(), parts = std::move(parts), size] {
    const auto link = weak.lock();
    if (!link) return;
    link->connection_->send(parts, [weak, size](bool) {
      if (const auto alive = weak.lock()) alive->released(size);
    });
  });
  return true;
}

void ConnectionLink::released(std::size_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    inflight_ -= bytes;
    pace_.taken(bytes, connection_->path(), queue().now());
  }
  if (onDrain) onDrain();
}

std::size_t ConnectionLink::unsentBytes() const {
  const std::lock_guard lock(mutex_);
  return inflight_;
}

std::optional<int> ConnectionLink::carriedBitRate() const {
  const std::lock_guard lock(mutex_);
  return pace_.bitRate();
}

ScreenLink::Counters ConnectionLink::counters() const {
  const std::lock_guard lock(mutex_);
  return counters_;
}

bool ConnectionLink::closed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

std::optional<std::string> ConnectionLink::remoteHost() const {
  const auto endpoint = connection_->remoteEndpoint();
  if (!endpoint) return std::nullopt;
  return endpoint->host;
}

void ConnectionLink::stateChanged(platform::ConnectionState state) {
  using enum platform::ConnectionState;
  switch (state) {
    case ready:
      connected();
      break;
    case waiting:
      stalled();
      break;
    case failed:
    case cancelled:
      finish();
      break;
    case setup:
    case preparing:
      break;
  }
}

void ConnectionLink::finish() {
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    closed_ = true;
  }
  main_->async([weak = weak_from_this()] {
    const auto link = weak.lock();
    if (link && link->onClose) link->onClose();
  });
}

}  // namespace tessaline

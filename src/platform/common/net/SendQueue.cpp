#include "platform/common/net/SendQueue.h"

#include <utility>

namespace tessaline::platform {

struct SendQueue::Item {
  std::vector<SharedBytes> parts;
  std::vector<boost::asio::const_buffer> buffers;
  AnyConnection::Done done;
};

SendQueue::Buffers::Buffers(std::shared_ptr<const Item> item) : item_(std::move(item)) {}

SendQueue::Buffers::const_iterator SendQueue::Buffers::begin() const {
  return item_->buffers.data();
}

SendQueue::Buffers::const_iterator SendQueue::Buffers::end() const {
  return item_->buffers.data() + item_->buffers.size();
}

void SendQueue::push(std::vector<SharedBytes> parts, AnyConnection::Done done) {
  auto item = std::make_shared<Item>();
  item->buffers.reserve(parts.size());
  for (const auto& part : parts) {
    if (part && !part->empty()) item->buffers.emplace_back(part->data(), part->size());
  }
  item->parts = std::move(parts);
  item->done = std::move(done);
  items_.push_back(std::move(item));
}

std::optional<SendQueue::Buffers> SendQueue::next() {
  if (writing_ || items_.empty()) return std::nullopt;
  writing_ = true;
  return Buffers(items_.front());
}

void SendQueue::written() {
  writing_ = false;
  answerFirst(true);
}

void SendQueue::failAll() {
  while (!items_.empty()) answerFirst(false);
}

void SendQueue::answerFirst(bool ok) {
  const auto done = std::move(items_.front()->done);
  items_.pop_front();
  if (done) done(ok);
}

}  // namespace tessaline::platform

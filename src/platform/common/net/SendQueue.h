#pragma once

#include <boost/asio/buffer.hpp>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Network.h"

namespace tessaline::platform {

/// The messages that a connection still has to write, in order, one of them being written at a
/// time. Answers each message exactly once. Lives on its connection's queue, owned by it.
class SendQueue {
  struct Item;

 public:
  /// One message as a buffer sequence for Asio, which copies the sequence freely: copies share the
  /// message and keep it alive, whatever became of the queue.
  class Buffers {
   public:
    using value_type = boost::asio::const_buffer;
    using const_iterator = const boost::asio::const_buffer*;
    [[nodiscard]] const_iterator begin() const;
    [[nodiscard]] const_iterator end() const;

   private:
    friend class SendQueue;
    explicit Buffers(std::shared_ptr<const Item> item);
    std::shared_ptr<const Item> item_;
  };

  void push(std::vector<SharedBytes> parts, AnyConnection::Done done);

  /// The message to write now; nothing while another is being written or none waits.
  [[nodiscard]] std::optional<Buffers> next();

  /// The message that `next` gave has been written. Its `done` may push more.
  void written();

  /// Answers false to everything. Nothing is pushed afterwards.
  void failAll();

  [[nodiscard]] bool empty() const { return items_.empty(); }

 private:
  void answerFirst(bool ok);

  std::deque<std::shared_ptr<Item>> items_;
  bool writing_ = false;
};

}  // namespace tessaline::platform

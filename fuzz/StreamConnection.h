#pragma once

#include <algorithm>
#include <utility>

#include "support/FakeConnection.h"

namespace tessaline::fuzz {

/// A peer that sends some bytes and then closes its side.
class StreamConnection final : public test::FakeAnyConnection<platform::Connection> {
 public:
  StreamConnection(std::shared_ptr<Queue> queue, ByteView bytes)
      : FakeAnyConnection(std::move(queue)), rest_(bytes) {}

  void receive(std::size_t minimum, std::size_t maximum,
               std::function<void(Received)> done) override {
    const ByteView next = rest_.first(std::min(maximum, rest_.size()));
    rest_ = rest_.subspan(next.size());
    Received received{{next.begin(), next.end()}, next.size() < minimum, false};
    queue()->async([weak = weak_from_this(), done = std::move(done),
                    received = std::move(received)]() mutable {
      const auto self = weak.lock();
      if (self && !static_cast<StreamConnection&>(*self).cancelled) done(std::move(received));
    });
  }
  void finish() override { cancel(); }

 private:
  ByteView rest_;
};

}  // namespace tessaline::fuzz

#include "receiver/Receiver.h"

#include <utility>

#include "receiver/ReceiverEngine.h"

namespace tessaline {

Receiver::Receiver(Services services, Identity identity)
    : services_(services), identity_(std::move(identity)) {}

Receiver::~Receiver() {
  if (!engine_) return;
  engine_->silence();
  // A short hop: the network and the rest may end right after this.
  engine_->queue().sync([this] { engine_->stop(); });
}

void Receiver::start() {
  const auto main = services_.queues.main();
  main->assertCurrent();
  ReceiverEngine::Callbacks callbacks{onPortTaken,  screenMetrics, onConnect,
                                      onDisconnect, onSample,      onFlush,
                                      onVideoSize,  onCursorShape, onCursorMove};
  engine_ = std::make_shared<ReceiverEngine>(services_, identity_, std::move(callbacks));
  engine_->queue().async([engine = engine_] { engine->start(); });
}

void Receiver::closeConnection() {
  if (!engine_) return;
  engine_->queue().async([engine = engine_] { engine->closeConnection(); });
}

void Receiver::stop(std::function<void()> done) {
  const auto main = services_.queues.main();
  const auto engine = std::exchange(engine_, nullptr);
  if (!engine) {
    if (done) main->async(std::move(done));
    return;
  }
  engine->silence();
  engine->queue().async([engine, main, done = std::move(done)]() mutable {
    engine->stop();
    if (done) main->async(std::move(done));
  });
}

}  // namespace tessaline

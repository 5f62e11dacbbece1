#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/common/media/FrameComposer.h"

namespace tessaline::platform {

/// What every capture does alike: it waits for a consumer that is not ready, hands out composed
/// pictures, and is silent once it was stopped. How it comes by pictures is the derived class's.
/// Lives on the capture queue; shared by its stream and by the work that it posted.
class CaptureWorker : public std::enable_shared_from_this<CaptureWorker> {
 public:
  virtual ~CaptureWorker() = default;
  CaptureWorker(const CaptureWorker&) = delete;
  CaptureWorker& operator=(const CaptureWorker&) = delete;

  /// From the main queue. `done` runs there, unless `stop` comes first.
  void start(std::function<void(std::optional<std::string> error)> done);
  /// From the main queue; no callback runs once it has returned.
  virtual void stop();
  /// From any thread.
  void wake();

 protected:
  CaptureWorker(const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks);

  /// Begins to watch, and says `started` now or later.
  virtual void open() = 0;
  /// Takes a frame if there is something to take and it is time for it.
  virtual void evaluate() = 0;
  /// Lets go of everything; may come more than once.
  virtual void close() = 0;

  /// With an error the capture is closed.
  void started(std::optional<std::string> error = std::nullopt);
  [[nodiscard]] bool starting() const { return static_cast<bool>(onStarted_); }
  /// Evaluates on the capture queue, once for any number of calls; from any thread.
  void schedule();
  void evaluateAt(Clock::time_point time);
  /// A frame was taken: sets `due_`.
  void took(Clock::time_point time);
  /// False while the consumer is not ready; `evaluate` comes once it is.
  [[nodiscard]] bool readyOrWait();
  void deliver(std::shared_ptr<const PixelBuffer> pixels, std::vector<PixelRect> dirtyRects,
               Clock::time_point time);
  /// Tells the consumer, once. Closes afterwards, as what calls this may be what closes.
  void end(const std::string& description);
  [[nodiscard]] bool ended() const { return ended_; }

  /// `work` as something to be called on the capture queue for as long as this object lives.
  template <typename Work>
  [[nodiscard]] auto whileAlive(Work work) {
    return [weak = weak_from_this(), work = std::move(work)](const auto&... arguments) {
      if (const auto self = weak.lock()) work(arguments...);
    };
  }

  const CaptureConfiguration configuration_;
  const std::shared_ptr<Queue> queue_;

  // These belong to the capture queue.
  FrameComposer composer_;
  Clock::time_point due_;  // of the next frame, at the earliest
  Timer timer_;            // to the next evaluation

 private:
  [[nodiscard]] bool stopped();
  [[nodiscard]] bool consumerReady();

  const std::shared_ptr<Queue> main_;
  std::mutex callbackMutex_;  // held while a callback runs, so that `stop` can wait for its end
  bool stopped_ = false;      // guarded by callbackMutex_
  const CaptureStream::Callbacks callbacks_;
  std::atomic<bool> waiting_ = false;  // something is to be taken as soon as the consumer is ready
  std::atomic<bool> scheduled_ = false;  // an evaluation is posted

  // These belong to the capture queue.
  std::function<void(std::optional<std::string> error)> onStarted_;  // until the start is decided
  Clock::time_point turn_;  // of the next frame, were each an interval after the one before
  bool ended_ = false;
};

/// The main queue's side of a capture: its worker outlives it until the capture queue has seen the
/// stop. Owned by whoever asked for it.
class WorkerCaptureStream final : public CaptureStream {
 public:
  explicit WorkerCaptureStream(std::shared_ptr<CaptureWorker> worker)
      : worker_(std::move(worker)) {}
  ~WorkerCaptureStream() override { worker_->stop(); }
  WorkerCaptureStream(const WorkerCaptureStream&) = delete;
  WorkerCaptureStream& operator=(const WorkerCaptureStream&) = delete;

  void start(std::function<void(std::optional<std::string> error)> done) override {
    worker_->start(std::move(done));
  }
  void stop() override { worker_->stop(); }
  void wake() override { worker_->wake(); }

 private:
  const std::shared_ptr<CaptureWorker> worker_;
};

}  // namespace tessaline::platform

#include "platform/common/media/CaptureWorker.h"

#include <gmock/gmock.h>

#include "support/VirtualQueues.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::Le;

constexpr Duration kInterval = 1'000'000'000ns / 60;

/// Takes what is painted, and notes when and how late.
class Watched final : public CaptureWorker {
 public:
  explicit Watched(test::VirtualQueues& queues)
      : CaptureWorker({.size = {16, 16}, .minimumFrameInterval = kInterval}, queues.main(),
                      queues.serial("capture"), {}) {}

  void paint() {
    painted_ = queue_->now();
    schedule();
  }

  std::vector<Clock::time_point> taken;
  std::vector<Duration> late;

 private:
  void open() override { started(); }
  void evaluate() override {
    if (!painted_) return;
    if (queue_->now() < due_) return evaluateAt(due_);
    if (!readyOrWait()) return;
    taken.push_back(queue_->now());
    late.push_back(queue_->now() - *std::exchange(painted_, std::nullopt));
    took(queue_->now());
  }
  void close() override {}

  std::optional<Clock::time_point> painted_;
};

class CaptureWorkerTest : public testing::Test {
 protected:
  CaptureWorkerTest() {
    worker_->start([](const auto&) {});
    queues_.run();
  }

  void paint(Duration pause) {
    worker_->paint();
    queues_.advance(pause);
  }

  test::VirtualQueues queues_;
  const std::shared_ptr<Watched> worker_ = std::make_shared<Watched>(queues_);
};

TEST_F(CaptureWorkerTest, FramesOfAFilmDoNotWaitForTheirTurn) {
  // Of a film's interval, when something else on the display changes, once.
  for (const double phase : {0.1, 0.45, 0.55, 0.9}) {
    SCOPED_TRACE(phase);
    paint(std::chrono::duration_cast<Duration>(kInterval * phase));
    paint(std::chrono::duration_cast<Duration>(kInterval * (1 - phase)));
    for (int frame = 0; frame < 30; ++frame) paint(kInterval);
    const auto& late = worker_->late;
    EXPECT_THAT(std::vector(late.end() - 10, late.end()), Each(Le(100us)));
    EXPECT_THAT(late, Each(Le(kInterval)));
  }
}

TEST_F(CaptureWorkerTest, ProgramsThatPaintAllTheTimeAreCapturedSixtyTimesASecond) {
  for (int i = 0; i < 2000; ++i) paint(1ms);
  const auto& taken = worker_->taken;
  EXPECT_LE(taken.size(), 2 * 60 * 1.06);
  for (std::size_t i = 1; i < taken.size(); ++i) {
    EXPECT_GE(taken[i] - taken[i - 1], kInterval * 2 / 5);
  }
}

}  // namespace
}  // namespace tessaline::platform

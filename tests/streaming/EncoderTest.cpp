#include "streaming/Encoder.h"

#include <gtest/gtest.h>

#include "protocol/Proto.h"
#include "support/FakeLink.h"
#include "support/FakePlatform.h"

namespace tessaline {
namespace {

std::shared_ptr<const platform::PixelBuffer> picture() {
  return std::make_shared<platform::PixelBuffer>(PixelSize{64, 48});
}

class EncoderTest : public testing::Test {
 protected:
  void SetUp() override {
    encoder_ = Encoder::create(coding_, {64, 48}, 1'000'000, link_, [this] { ++outputs_; });
    ASSERT_TRUE(encoder_);
  }
  test::FakeCoding coding_;
  std::shared_ptr<test::FakeLink> link_ = std::make_shared<test::FakeLink>();
  std::unique_ptr<Encoder> encoder_;
  int outputs_ = 0;
};

TEST_F(EncoderTest, SendsParameterSetsBeforeEveryKeyFrameOnly) {
  encoder_->encode(picture(), {});
  coding_.output(true, {9});
  encoder_->encode(picture(), {});
  coding_.output(false, {8});
  EXPECT_EQ(coding_.submitted, (std::vector<bool>{true, false}));
  ASSERT_EQ(link_->sent.size(), 3U);
  EXPECT_EQ(link_->sent[0].payload, (Bytes{0, 4, 0x67, 100, 12, 40, 0, 2, 0x68, 1}));
  EXPECT_EQ(link_->sent[1].payload, (Bytes{9}));
  EXPECT_EQ(link_->sent[2].type, Proto::frame);
  EXPECT_EQ(outputs_, 2);
}

TEST_F(EncoderTest, WhateverTheLinkDropsMakesTheNextFrameAKeyFrame) {
  encoder_->encode(picture(), {});
  link_->accepting = false;
  coding_.output(true);
  EXPECT_TRUE(link_->sent.empty());
  EXPECT_TRUE(encoder_->forceKey());
  link_->accepting = true;
  encoder_->encode(picture(), {});
  coding_.output(true);
  EXPECT_EQ(link_->sent.size(), 2U);
  encoder_->encode(picture(), {});
  link_->accepting = false;
  coding_.output(false);
  encoder_->encode(picture(), {});
  EXPECT_EQ(coding_.submitted, (std::vector<bool>{true, true, false, true}));
}

TEST_F(EncoderTest, NothingComesOfACoderThatCannotBeMade) {
  coding_.failing = true;
  EXPECT_FALSE(Encoder::create(coding_, {64, 48}, 1, link_, {}));
}

}  // namespace
}  // namespace tessaline

#include "open_gsdk/inputs/best_picture_source.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"
#include "tests/open_gsdk/fake_compositor.h"

namespace open_gsdk {
namespace {

using Lines = std::vector<std::string>;

Lines& Logged() {
  static Lines lines;
  return lines;
}

class PictureSourceTest : public ::testing::Test {
 protected:
  PictureSourceTest() {
    monitor_.monitor = ListMonitors().front().name;
    Logged().clear();
    SetLogLevel(static_cast<std::int32_t>(LogLevel::kInfo));
    SetLogCallback([](std::int32_t, const char* text) { Logged().emplace_back(text); });
  }
  ~PictureSourceTest() override {
    SetLogCallback(nullptr);
    Force("");
  }

  static void Force(const char* source) { _putenv_s("OPEN_GSDK_SOURCE", source); }

  SharedCompositor fake_ = std::make_shared<FakeCompositor>();
  VideoSource monitor_;
};

TEST_F(PictureSourceTest, TheCompositorIsTakenWhereItIs) {
  const auto source = OpenPictureSource(FakeSystem(fake_));
  EXPECT_EQ(Logged(), Lines{});
  EXPECT_EQ(source->Grab(monitor_), GrabResult::kNothing);
  EXPECT_EQ(source->Grab(monitor_), GrabResult::kNothing);
  EXPECT_EQ(Logged(), (Lines{"pictures by the compositor's capture"}));
  EXPECT_FALSE(source->hdr());
}

TEST_F(PictureSourceTest, ThatItShowsHdrIsSaid) {
  fake_->light.hdr = true;
  const auto source = OpenPictureSource(FakeSystem(fake_));
  source->Grab(monitor_);
  EXPECT_EQ(Logged(), (Lines{"pictures by the compositor's capture, from HDR"}));
  EXPECT_TRUE(source->hdr());
}

TEST_F(PictureSourceTest, GdiIsTakenWithItsReasonWhereTheCompositorIsNot) {
  fake_->activation = REGDB_E_CLASSNOTREG;
  const auto source = OpenPictureSource(FakeSystem(fake_));
  EXPECT_EQ(source->Grab(monitor_), GrabResult::kPicture);
  EXPECT_EQ(Logged(),
            (Lines{"pictures by GDI: the compositor's capture cannot be had (0x80040154)"}));
  EXPECT_EQ(source->time_ns(), std::nullopt);
  EXPECT_GT(source->image().size.width, 0);
}

TEST_F(PictureSourceTest, AnotherSourceIsChosenForAnew) {
  fake_->supported = false;
  const auto source = OpenPictureSource(FakeSystem(fake_));
  source->Grab(monitor_);
  fake_->supported = true;
  monitor_.cursor = true;
  EXPECT_EQ(source->Grab(monitor_), GrabResult::kNothing);
  EXPECT_EQ(Logged(), (Lines{"pictures by GDI: the compositor's capture cannot be had (0x80070032)",
                             "pictures by the compositor's capture"}));
}

TEST_F(PictureSourceTest, GdiCanBeForced) {
  Force("gdi");
  const auto source = OpenPictureSource(FakeSystem(fake_));
  EXPECT_EQ(source->Grab(monitor_), GrabResult::kPicture);
  EXPECT_EQ(Logged(), (Lines{"pictures by GDI, as OPEN_GSDK_SOURCE says"}));
  EXPECT_EQ(TakeCalls(*fake_), Lines{});
}

TEST_F(PictureSourceTest, TheCompositorCanBeForced) {
  Force("compositor");
  fake_->activation = REGDB_E_CLASSNOTREG;
  const auto source = OpenPictureSource(FakeSystem(fake_));
  try {
    source->Grab(monitor_);
    FAIL() << "no failure";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ErrorCode::kCaptureFailed);
    EXPECT_STREQ(failure.what(), "the compositor's capture cannot be had (0x80040154)");
  }
}

// Of Wine, which has the library of the interface but not its classes.
TEST_F(PictureSourceTest, TheRealSystemHasOneOfBoth) {
  const auto source = OpenPictureSource();
  EXPECT_NE(source->Grab(monitor_), GrabResult::kGone);
  ASSERT_EQ(Logged().size(), 1U);
  EXPECT_EQ(Logged().front().find("pictures by "), 0U) << Logged().front();
  RecordProperty("log", Logged().front());
}

}  // namespace
}  // namespace open_gsdk

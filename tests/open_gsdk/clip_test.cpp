#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/clip_file.h"
#include "open_gsdk/replay/clip_muxer.h"
#include "open_gsdk/replay/h264_units.h"
#include "open_gsdk/replay/packet_ring.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/client.h"
#include "tests/open_gsdk/mp4_boxes.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

std::string Read(const std::string& utf8) {
  std::ifstream file(std::filesystem::path(platform::WideFromUtf8(utf8)), std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

// Real packets of a short recording.
class ClipTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const TestWindow window(L"clip", 320, 200, RGB(255, 0, 0));
    window.Animate();
    client_ = new Client({.tracks = {"Game", "Mic"}});
    client_->RecordWindow(window.number());
    client_->WaitForFrames(45);
    client_->Destroy();
  }
  static void TearDownTestSuite() {
    delete client_;
    client_ = nullptr;
  }

  static Clip RecordedClip() {
    PacketRing ring;
    ring.SetDuration(60'000'000'000);
    for (const SharedPacket& packet : client_->Packets()) {
      EncodedPacket stored = *packet;
      if (stored.IsVideo()) stored.data = UnitsWithLengths(stored.data);
      ring.Push(stored);
    }
    return CutClip(ring.Content());
  }

  // The recorded clip with other stream descriptions.
  template <typename Change>
  static Clip ClipWith(const Change& change) {
    Clip clip = RecordedClip();
    auto streams = std::make_shared<StreamSet>(*clip.streams);
    change(*streams);
    clip.streams = streams;
    return clip;
  }

  static Client* client_;
};

Client* ClipTest::client_ = nullptr;

TEST_F(ClipTest, DumpWritesAnMp4AndGivesItsFigures) {
  const TemporaryPath path("\xc3\xa4\xe4\xb8\xad clip.mp4");
  const gsdk_dump_result result = gsdk_recorder_dump(client_->recorder(), path.utf8().c_str());
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.duration, RecordedClip().duration_ns);
  EXPECT_EQ(result.last_timestamp, RecordedClip().last_timestamp_ns);
  EXPECT_EQ(result.captured_from_hdr, 0);
  const std::string file = Read(path.utf8());
  EXPECT_EQ(file.substr(4, 4), "ftyp");
  EXPECT_NE(file.find("moov"), std::string::npos);
  EXPECT_NE(file.find("Game"), std::string::npos);
  EXPECT_NE(file.find("Mic"), std::string::npos);
  EXPECT_EQ(path.FilesLikeIt(), 1u);
}

TEST_F(ClipTest, DumpToAFolderThatDoesNotExistCannotOpen) {
  const TemporaryPath folder("missing");
  EXPECT_EQ(gsdk_recorder_dump(client_->recorder(), (folder.utf8() + "\\a.mp4").c_str()).status, 3);
  EXPECT_FALSE(folder.exists());
}

TEST_F(ClipTest, DumpWithoutAPathCannotOpen) {
  EXPECT_EQ(gsdk_recorder_dump(client_->recorder(), nullptr).status, 3);
  EXPECT_EQ(gsdk_recorder_dump(client_->recorder(), "").status, 3);
}

TEST_F(ClipTest, AVideoStreamThatCannotBeDescribedIsStatus5) {
  const TemporaryPath path("video.mp4");
  EXPECT_EQ(
      WriteClipFile(ClipWith([](StreamSet& streams) { streams.video.width = 0; }), path.utf8()),
      DumpStatus::kBadVideoStream);
  EXPECT_EQ(WriteClipFile(ClipWith([](StreamSet& streams) { streams.video.extradata.clear(); }),
                          path.utf8()),
            DumpStatus::kBadVideoStream);
  EXPECT_EQ(static_cast<int>(DumpStatus::kBadVideoStream), 5);
  EXPECT_EQ(path.FilesLikeIt(), 0u);
}

TEST_F(ClipTest, AnAudioStreamThatCannotBeDescribedIsStatus4) {
  const TemporaryPath path("audio.mp4");
  EXPECT_EQ(WriteClipFile(ClipWith([](StreamSet& streams) { streams.audio[1].sample_rate = 0; }),
                          path.utf8()),
            DumpStatus::kBadAudioStream);
  EXPECT_EQ(static_cast<int>(DumpStatus::kBadAudioStream), 4);
  EXPECT_EQ(path.FilesLikeIt(), 0u);
}

TEST_F(ClipTest, AFullDiskIsStatus6WhereverItFillsUp) {
  const Clip clip = RecordedClip();
  std::int64_t size = 0;
  ASSERT_EQ(WriteMp4(clip,
                     [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
                       size = std::max(size, position + static_cast<std::int64_t>(bytes.size()));
                       return true;
                     }),
            DumpStatus::kSuccess);
  for (const std::int64_t room : {std::int64_t{0}, size / 2, size - 1}) {
    EXPECT_EQ(WriteMp4(clip,
                       [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
                         return position + static_cast<std::int64_t>(bytes.size()) <= room;
                       }),
              DumpStatus::kCannotWrite)
        << room << " of " << size;
  }
  EXPECT_EQ(static_cast<int>(DumpStatus::kCannotWrite), 6);
}

// The file that the muxer makes, and the blocks in which it does so.
struct WrittenFile {
  std::string bytes;
  std::vector<std::size_t> blocks;
};

WrittenFile WriteInMemory(const Clip& clip) {
  WrittenFile file;
  EXPECT_EQ(WriteMp4(clip,
                     [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
                       const auto begin = static_cast<std::size_t>(position);
                       file.bytes.resize(std::max(file.bytes.size(), begin + bytes.size()));
                       std::copy(bytes.begin(), bytes.end(),
                                 file.bytes.begin() + static_cast<std::ptrdiff_t>(begin));
                       file.blocks.push_back(bytes.size());
                       return true;
                     }),
            DumpStatus::kSuccess);
  return file;
}

TEST_F(ClipTest, TheHeaderIsInFrontOfThePacketsAndNoRoomIsLostBetweenThem) {
  const std::string file = WriteInMemory(RecordedClip()).bytes;
  std::vector<std::string> types;
  std::size_t size = 0;
  for (const Mp4Box& box : Mp4Boxes(file)) {
    types.push_back(box.type);
    if (box.type == "free") {
      EXPECT_TRUE(box.content.empty());
    }
    size += 8 + box.content.size();
  }
  EXPECT_EQ(types, (std::vector<std::string>{"ftyp", "moov", "free", "free", "mdat"}));
  EXPECT_EQ(size, file.size());
}

TEST_F(ClipTest, IsWrittenInLargeBlocks) {
  const WrittenFile file = WriteInMemory(RecordedClip());
  EXPECT_GT(RecordedClip().packets.size(), 100u);
  // The packets, their length, and the header with the file's type.
  EXPECT_LE(file.blocks.size(), file.bytes.size() / kBlockSize + 12);
}

TEST_F(ClipTest, SaysWhenItWasMade) {
  const std::string file = WriteInMemory(RecordedClip()).bytes;
  const auto headers = FindMp4Boxes(file, {"moov", "mvhd"});
  ASSERT_EQ(headers.size(), 1u);
  // Counted in seconds since the beginning of 1904.
  constexpr std::int64_t kFrom1904To1970 = 2'082'844'800;
  const auto made = static_cast<std::int64_t>(Mp4Number(headers[0], 4, 4)) - kFrom1904To1970;
  const std::int64_t now = std::chrono::duration_cast<std::chrono::seconds>(
                               std::chrono::system_clock::now().time_since_epoch())
                               .count();
  EXPECT_LE(made, now);
  EXPECT_GE(made, now - 60);
}

TEST_F(ClipTest, ManyDumpsAtOnceDuringARecordingAllSucceedOrFindTheRecorderGone) {
  const TestWindow window(L"busy", 320, 200, RGB(0, 0, 255));
  window.Animate();
  Client client;
  client.RecordWindow(window.number());
  client.WaitForFrames(10);
  std::atomic<int> done{0};
  std::atomic<bool> destroyed{false};
  std::vector<std::thread> dumpers;
  for (int number = 0; number < 3; ++number) {
    dumpers.emplace_back([&, number] {
      const TemporaryPath path("busy" + std::to_string(number) + ".mp4");
      for (;;) {
        const bool may_be_gone = destroyed;
        const std::int32_t status =
            gsdk_recorder_dump(client.recorder(), path.utf8().c_str()).status;
        if (status == 1) break;
        EXPECT_EQ(status, 0);
        EXPECT_FALSE(may_be_gone);
        EXPECT_EQ(path.FilesLikeIt(), 1u);
        ++done;
      }
    });
  }
  while (done < 6) std::this_thread::yield();
  client.WaitForFrames(2);  // the dumps don't hold the packets up
  gsdk_recorder_destroy(client.recorder());
  destroyed = true;
  for (std::thread& dumper : dumpers) dumper.join();
  client.WaitForFrames(2);  // nor does a recorder that is gone
}

}  // namespace
}  // namespace open_gsdk

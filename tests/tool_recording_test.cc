// The zocam command: making recordings and watching them. Clocks and files that no camera in the
// launcher makes are tried on the tool's own pieces.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "zocam/zocam.hpp"

#include "sim/virtual_host.h"
#include "tests/tool.h"
#include "tools/byte_size.h"
#include "tools/dropped_frames.h"
#include "tools/offset_text.h"
#include "tools/playhead.h"
#include "tools/time_of_day.h"

namespace {

using namespace std::chrono_literals;

constexpr size_t kRecordBytes = 39366;
const std::string kCamera = "-c 6103,fps=50,scene=uniform:300";
const std::string kSilent = "-c 6103,fps=0.01";

// The times of a recording's frames, which are numbered from 1.
std::vector<std::chrono::milliseconds> FramesIn(const std::string& path) {
  std::vector<std::chrono::milliseconds> times;
  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  while (const auto frame = film.NextFrame()) {
    times.push_back(frame->Stamp()->timeOffset);
    EXPECT_EQ(frame->Stamp()->number, times.size());
  }
  return times;
}

// Whether the parts come in this order.
bool HasInOrder(const std::string& text, const std::vector<std::string>& parts) {
  size_t at = 0;
  for (const std::string& part : parts) {
    at = text.find(part, at);
    if (at == std::string::npos) return false;
    at += part.size();
  }
  return true;
}

TEST_F(Tool, RecordsExactlyWhatWasAskedForAndSaysIt) {
  const std::string path = File("a.y4m");
  const Outcome counted = Zocam(kCamera, "record --frames 12 -o " + path);
  EXPECT_EQ(counted.status, 0) << counted.out;
  const auto times = FramesIn(path);
  EXPECT_EQ(times.size(), 12u);
  EXPECT_EQ(counted.out, path + ": 12 frames, " + OffsetText(times.back()) + ", " +
                             ByteSizeText(std::filesystem::file_size(path)) + ", 0 dropped\n");

  const Outcome refused = Zocam(kCamera, "record --frames 2 -o " + path);
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(Has(refused.out, "--overwrite")) << refused.out;
  EXPECT_EQ(FramesIn(path).size(), 12u);
  EXPECT_EQ(Zocam(kCamera, "record --overwrite --max-size 0.2M -o " + path).status, 0);
  EXPECT_LE(std::filesystem::file_size(path), 200000u);
  EXPECT_GT(std::filesystem::file_size(path) + kRecordBytes, 200000u);
  EXPECT_EQ(FramesIn(path).size(), 5u);

  EXPECT_EQ(Zocam(kCamera, "record --overwrite --seconds 0.6 -o " + path).status, 0);
  EXPECT_GT(FramesIn(path).back(), 450ms);
  EXPECT_LT(FramesIn(path).back(), 900ms);
  for (const char* wrong :
       {"--frames 2 --seconds 1", "--until 24:00", "--max-size 5X", "--seconds 0", "--seconds -0",
        "--seconds 300000:0:0", "--frames 0", "--frames -1", "--frames 99999999999999999999999"}) {
    const Outcome usage = Zocam("", "record " + std::string(wrong) + " -o x");
    EXPECT_EQ(usage.status, 2) << wrong;
    EXPECT_LT(usage.out.size(), 200u) << usage.out;
  }
  EXPECT_EQ(
      Zocam(kCamera, "record --overwrite --seconds 277000:0:0 --max-size 0.2M -o " + path).status,
      0);
  EXPECT_EQ(FramesIn(path).size(), 5u) << "a long time was over at once";
}

// Runs a recorder until a test of the shell holds, does then what else is wanted and signals it.
// Not for a fixed time: how long a program takes to start depends on how it was built.
Outcome RecordUntil(const std::string& condition, const std::string& camera,
                    const std::string& arguments, const std::string& then = "sleep 0.3",
                    const std::string& signal = "INT") {
  return Shell("timeout --preserve-status 60 " ZOCAM_SIM " " + camera +
               " -- " ZOCAM_TOOL " record " + arguments + " & recorder=$!; until [ " + condition +
               " ] || ! kill -0 $recorder; do sleep 0.02; done; " + then + "; kill -" + signal +
               " $recorder; wait $recorder");
}

TEST_F(Tool, LeavesAWholeRecordingHoweverItEnds) {
  for (const char* signal : {"INT", "TERM", "HUP"}) {
    std::filesystem::remove(File("s.y4m"));
    const Outcome ended =
        RecordUntil("-s " + File("s.y4m"), kCamera, "-o " + File("s.y4m"), "sleep 0.3", signal);
    EXPECT_EQ(ended.status, 0) << signal << ": " << ended.out;
    const size_t frames = FramesIn(File("s.y4m")).size();
    EXPECT_GT(frames, 1u);
    EXPECT_TRUE(Has(ended.out, std::to_string(frames) + " frames")) << ended.out;
  }
  const Outcome gone = Zocam("-c 6103,fps=50,unplug=0.5", "record -o " + File("u.y4m"));
  EXPECT_EQ(gone.status, 1);
  EXPECT_TRUE(Has(gone.out, "vanished")) << gone.out;
  EXPECT_TRUE(Has(gone.out, std::to_string(FramesIn(File("u.y4m")).size()) + " frames"))
      << gone.out;
  // A limit on file sizes, in units of 512 or 1024 bytes, stands for a full disk.
  const Outcome full = Shell("ulimit -f 400; timeout 10 " ZOCAM_SIM " " + kCamera +
                             " -- " ZOCAM_TOOL " record -o " + File("f.y4m"));
  EXPECT_EQ(full.status, 1);
  EXPECT_TRUE(Has(full.out, "cannot write " + File("f.y4m") + ": File too large; ")) << full.out;
  const size_t frames = FramesIn(File("f.y4m")).size();
  EXPECT_GE(frames, 5u);
  EXPECT_TRUE(Has(full.out, std::to_string(frames) + " frames")) << full.out;
}

TEST_F(Tool, LeavesAWholeRecordingOnADiskThatIsFull) {
  const std::string disk = File("disk");
  std::filesystem::create_directory(disk);
  const std::string mount = "unshare -rm sh -c 'mount -t tmpfs -o size=400k none " + disk + " && ";
  if (Shell(mount + "true'").status != 0) GTEST_SKIP() << "no file systems may be mounted here";
  const Outcome full =
      Shell(mount + "cd " + disk + "; timeout 60 " ZOCAM_SIM " " + kCamera +
            " -- " ZOCAM_TOOL " record -o f.y4m; echo status $?; cp f.y4m " + File("f.y4m") + "'");
  const std::string frames = std::to_string(FramesIn(File("f.y4m")).size());
  EXPECT_EQ(frames, "10");
  EXPECT_TRUE(HasInOrder(full.out, {"cannot write f.y4m: No space left on device; make room",
                                    "safe is f.y4m: " + frames + " frames", "status 1\n"}))
      << full.out;
}

TEST_F(Tool, LeavesAReadableRecordingWhenKilled) {
  const std::string path = File("k.y4m");
  const Outcome killed =
      RecordUntil("-s " + path, kCamera, "-o " + path,
                  "sleep 0.3; kill -KILL $(cat /proc/$recorder/task/$recorder/children)", "0");
  EXPECT_EQ(killed.status, 128 + SIGKILL) << killed.out;
  const size_t frames = FramesIn(path).size();
  EXPECT_GT(frames, 1u);
  const Outcome check = Zocam("", "check " + path);
  EXPECT_TRUE(Has(check.out, path + ": " + std::to_string(frames) + " intact records"))
      << check.out;
  const Outcome again = Zocam(kCamera, "record --frames 1 -o " + path);
  EXPECT_TRUE(Has(again.out, path + " exists; choose another name")) << again.out;
}

#ifdef ZOCAM_STEP_CLOCK
TEST_F(Tool, RecordsOnWhenTheClockIsSet) {
  const std::string path = File("c.y4m"), stepped = File("stepped");
  const auto record = [&](int hours, const std::string& limit) {
    std::filesystem::remove(path);
    std::filesystem::remove(stepped);
    // The launcher itself gets the sanitizer's runtime after what is preloaded.
    return Shell("export ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 ZOCAM_CLOCK_STEP=" +
                 std::to_string(hours * 3600) + " ZOCAM_CLOCK_STEPPED=" + stepped +
                 " LD_PRELOAD=" ZOCAM_STEP_CLOCK "; timeout 60 " ZOCAM_SIM " " + kCamera +
                 " -- " ZOCAM_TOOL " record " + limit + " -o " + path + " & until [ -s " + path +
                 " ] || ! kill -0 $!; do sleep 0.02; done; sleep 0.2; "
                 "touch " +
                 stepped + "; wait $!");
  };
  for (const int hours : {1, -1}) {
    const Outcome ended = record(hours, "--seconds 0.8");
    EXPECT_EQ(ended.status, 0) << ended.out;
    const auto times = FramesIn(path);
    ASSERT_FALSE(times.empty());
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    EXPECT_GT(times.back(), 650ms) << hours;
    EXPECT_LT(times.back(), 1200ms) << hours;
    EXPECT_TRUE(Has(ended.out, path + ": " + std::to_string(times.size()) + " frames, 0:0"))
        << ended.out;
  }
  // A time of day is what the clock on the wall shows.
  const Outcome reached = record(1, "--until $(date -d '+30 minutes' +%H:%M)");
  EXPECT_EQ(reached.status, 0) << reached.out;
  EXPECT_LT(FramesIn(path).back(), 5s);
}
#endif

TEST_F(Tool, RecordsToNothingButAFileOfItsOwn) {
  ASSERT_EQ(Shell("mkfifo " + File("pipe")).status, 0);
  for (const std::string& target :
       {std::string("/dev/full"), File("pipe"), folder_.string(), File("no/such/folder.y4m")}) {
    const Outcome outcome = Zocam(kCamera, "record --overwrite --frames 2 -o " + target);
    EXPECT_EQ(outcome.status, 1) << target;
    EXPECT_TRUE(Has(outcome.out, target)) << outcome.out;
  }
  const Outcome tooSmall = Zocam(kCamera, "record --max-size 20k -o " + File("t.y4m"));
  EXPECT_EQ(tooSmall.status, 1);
  EXPECT_TRUE(Has(tooSmall.out, "no room for a frame")) << tooSmall.out;
  const Outcome none = RecordUntil("-e " + File("n.y4m"), kSilent, "-o " + File("n.y4m"));
  EXPECT_EQ(none.status, 1);
  EXPECT_TRUE(Has(none.out, "nothing was recorded")) << none.out;
  EXPECT_EQ(FileCount(), 1u) << "an empty recording was left";
  const Outcome camera = Zocam("", "record " + File("pipe") + " -o " + File("x.y4m"));
  EXPECT_TRUE(Has(camera.out, "it is no file")) << camera.out;
}

TEST_F(Tool, LosesNeitherWhatWasThereNorWhatItRecorded) {
  const std::string path = File("a.y4m"), other = File("b.y4m");
  ASSERT_EQ(Zocam(kCamera, "record --frames 3 -o " + path).status, 0);
  // What is overwritten later does not show that the recorder waits: long enough for any build.
  EXPECT_EQ(RecordUntil("-e " + path, kSilent, "--overwrite -o " + path, "sleep 3").status, 1);
  EXPECT_EQ(Zocam("", "record " + path + " -o " + other).out,
            "zocam: " + path + " is a recording; this needs a camera\n");
  EXPECT_EQ(FramesIn(path).size(), 3u);
  EXPECT_EQ(FileCount(), 1u);

  // The name belongs to the first recorder, also before its first frame.
  std::filesystem::remove(path);
  const Outcome second =
      RecordUntil("-e " + path, kSilent, "-o " + path,
                  ZOCAM_SIM " " + kCamera + " -- " ZOCAM_TOOL " record --frames 2 -o " + path);
  EXPECT_TRUE(Has(second.out, path + " exists")) << second.out;
  EXPECT_EQ(FileCount(), 0u);

  const Outcome moved = RecordUntil("-s " + path, kCamera, "-o " + path,
                                    "sleep 0.2; mv " + path + " " + other + "; sleep 0.3");
  EXPECT_EQ(moved.status, 1);
  EXPECT_TRUE(Has(moved.out, "was moved")) << moved.out;
  EXPECT_GT(FramesIn(other).size(), 15u);

  std::filesystem::create_hard_link(other, path);
  const auto bytes = std::filesystem::file_size(other);
  for (const std::string& outputs : {"-o " + path, "-o " + File("p") + " --csv " + File("./p")}) {
    const Outcome refused = Zocam("", "snapshot " + other + " " + outputs);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(Has(refused.out, "cannot write ")) << refused.out;
  }
  EXPECT_EQ(std::filesystem::file_size(other), bytes);
}

TEST_F(Tool, PlaysIntoAPipeUpToTheEndOrToTheDamage) {
  const std::string path = File("p.y4m");
  ASSERT_EQ(Zocam(kCamera, "record --frames 12 -o " + path).status, 0);
  for (const std::string& how : {"play --speed 2 " + path, "watch " + path}) {
    const Outcome played = Zocam("", how);
    EXPECT_EQ(played.status, 0);
    EXPECT_TRUE(HasInOrder(played.out, {"frame 1 ", "frame 2 ", "frame 11 ", "frame 12  end"}));
    EXPECT_TRUE(Has(played.out, "centre 26.")) << played.out;
  }
  const Outcome looped = Zocam("", "play --speed 0 --loop --steady --frames 26 " + path);
  EXPECT_EQ(looped.status, 0);
  EXPECT_TRUE(HasInOrder(looped.out, {"frame 12 ", "frame 1 ", "frame 12 ", "frame 2 "}));
  const std::string later = OffsetText(FramesIn(path)[6]);
  const Outcome part = Zocam("", "play --speed 0 --from " + later + " " + path);
  EXPECT_FALSE(Has(part.out, "frame 6 "));
  EXPECT_TRUE(HasInOrder(part.out, {"frame 7 ", "frame 12  end"}));

  std::fstream(path, std::ios::in | std::ios::out)
      .seekp(std::filesystem::file_size(path) - 2 * kRecordBytes)
      .write("DAMAGE", 6);
  const Outcome damaged = Zocam("", "play --speed 0 " + path);
  EXPECT_EQ(damaged.status, 1);
  EXPECT_TRUE(HasInOrder(damaged.out, {"frame 10  damaged", "damaged after", "zocam check"}));

  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  Playhead playhead(film);
  const auto at = [&] { return playhead.Stamp().number; };
  while (playhead.Forward()) continue;
  EXPECT_EQ(at(), 10u);
  EXPECT_TRUE(playhead.Back());
  EXPECT_EQ(at(), 9u);
  EXPECT_FALSE(playhead.Damage());
  playhead.GoTo(0ms);
  EXPECT_EQ(at(), 1u);
  EXPECT_TRUE(playhead.Forward());
  playhead.GoToEnd();
  const uint32_t end = at();
  EXPECT_EQ(playhead.Damage().has_value(), end == 10u) << end;
  playhead.Back();
  playhead.GoTo(playhead.Stamp().timeOffset + 10s);
  EXPECT_EQ(at(), end);
  playhead.GoTo(0ms);
  EXPECT_EQ(at(), 1u);
  EXPECT_TRUE(playhead.Gap());

  EXPECT_EQ(Zocam("", "play --speed nan " + path).status, 2);
  for (const std::string& noFile : {std::string("/dev/zero"), folder_.string()})
    EXPECT_TRUE(Has(Zocam("", "play " + noFile).out, noFile + ": it is no file"));
}

TEST_F(Tool, ObeysKeysWhilePlayingInATerminal) {
  const std::string path = File("k.y4m");
  ASSERT_EQ(Zocam(kCamera, "record --frames 12 -o " + path).status, 0);
  const auto play = [&](const std::string& keys) {
    return Shell("{ sleep 0.2; printf '" + keys + "'; sleep 1; } | timeout 20 script -qec '" +
                 ZOCAM_TOOL " play --speed 0.1 " + path + "' /dev/null");
  };
  // Pause, start, two on, one back with an arrow, the end, one back, two plays on, the
  // end, and again.
  const Outcome outcome = play(R"( 0..\033[D\033[4~,[\033OC+ \033[4~ q)");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(HasInOrder(
      outcome.out,
      {"\x1b[?1049h", "frame 1  paused", "frame 2  paused", "frame 3  paused", "frame 2  paused",
       "frame 12  end", "frame 11  paused", "frame 1  paused", "frame 2  paused", "frame 2  x0.2",
       "frame 12  end", "frame 1  x0.2", "\x1b[?1049l"}))
      << outcome.out;
}

// Written in this process: frames with equal times, and a second start in the middle.
TEST_F(Tool, StepsBackThroughEqualTimesAndRestarts) {
  zosim::Host().Reset();
  const auto camera = zosim::Host().PlugCamera();
  const std::string path = File("b.y4m");
  {
    zocam::Device device = zocam::Device::OpenNode(camera->DevicePath());
    std::vector<uint8_t> raw(device.RawFrameBytes());
    raw[2 * device.Width() * device.Height() + 1] = device.TelemetryRevision();
    zocam::Writer writer(device, path, 259, 30);
    for (int k = 0; k < 30; ++k) {
      if (k == 15) writer.Restart();
      if (k % 5 == 0) std::this_thread::sleep_for(5ms);
      writer.Add(raw);
    }
    writer.Finish();
  }
  zosim::Host().Reset();
  zocam::Recording film = zocam::Recording::OpenPassive(path);
  film.StartQueue();
  Playhead playhead(film);
  std::vector<std::string> seen;
  const auto stamp = [&] {
    return std::to_string(playhead.Stamp().number) + " " + DateTimeText(playhead.Stamp().dateTime);
  };
  do seen.push_back(stamp());
  while (playhead.Forward());
  ASSERT_EQ(seen.size(), 30u);
  for (size_t k = 29; k-- > 0;) {
    ASSERT_TRUE(playhead.Back()) << k;
    ASSERT_EQ(stamp(), seen[k]);
  }
  EXPECT_FALSE(playhead.Back());
  EXPECT_EQ(stamp(), seen[0]);
  ASSERT_TRUE(playhead.Forward()) << "nothing was lost by looking for a frame before the first";
  EXPECT_EQ(stamp(), seen[1]);
  playhead.GoToEnd();
  EXPECT_EQ(stamp(), seen[29]);
  EXPECT_FALSE(playhead.Gap());
}

TEST(DroppedFramesTest, CountsGapsOfTheCamerasClockAndNoRestart) {
  DroppedFrames counter(10.0);
  const auto begin = DroppedFrames::Clock::now();
  const auto count = [&](uint32_t cameraMs, std::chrono::milliseconds host) {
    counter.Count(zocam::Telemetry::Milliseconds(cameraMs), begin + host);
    return counter.Total();
  };
  EXPECT_EQ(count(0xFFFFFF00, 0ms), 0u);
  EXPECT_EQ(count(0xFFFFFF00 + 100, 100ms), 0u);
  EXPECT_EQ(count(0xFFFFFF00 + 190, 200ms), 0u) << "early is not dropped";
  EXPECT_EQ(count(144, 400ms), 1u) << "across the clock's wrap";
  EXPECT_EQ(count(70144, 70400ms), 700u);
  EXPECT_EQ(count(4000, 70500ms), 700u) << "the camera has restarted";
  EXPECT_EQ(count(4300, 70800ms), 702u);
}

TEST(RecordingLimits, AreReadAsPeopleWriteThem) {
  EXPECT_EQ(ParseByteSize("1.5G"), 1500000000u);
  EXPECT_EQ(ParseByteSize("700"), 700u);
  for (const char* text : {"", "G", "1GB", "-1M", "0", "1e30", "nan", "1 M"})
    EXPECT_FALSE(ParseByteSize(text)) << text;
  for (const char* text :
       {"", ":", "7", "7:5", "24:00", "12:60", "-1:00", "12:-0", "1:2:3", "12:30pm"})
    EXPECT_FALSE(ParseTimeOfDay(text)) << text;

  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  const std::time_t evening = 1792872000;  // 2026-10-24 22:00, the night the clocks go back
  EXPECT_EQ(NextTime({23, 5}, evening) - evening, 65 * 60);
  EXPECT_EQ(NextTime({7, 30}, evening) - evening, (9 * 60 + 30 + 60) * 60);
  EXPECT_EQ(NextTime({22, 0}, evening) - evening, 25 * 3600);
  unsetenv("TZ");
  tzset();
}

}  // namespace

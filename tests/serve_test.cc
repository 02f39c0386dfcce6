// zocam serve, as far as it can be tried without a network: who may ask, which names lead to files,
// what goes over the wire.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/advice.h"
#include "tools/serve/access.h"
#include "tools/serve/recordings_folder.h"
#include "tools/serve/served_frame.h"
#include "tools/serve/source_state.h"

namespace {

using serve::AccessRules;
using serve::Credentials;
using serve::Json;
using serve::Verdict;

TEST(ServeAccess, IsForThisMachineAloneWithoutAToken) {
  const AccessRules rules("");
  for (const char* host : {"localhost:8470", "127.0.0.1", "127.0.0.1:80", "[::1]:8470"})
    EXPECT_EQ(rules.Judge({.host = host}), Verdict::kAllowed) << host;
  for (const char* host : {"", "example.org", "127.0.0.1.example.org:8470", "192.168.0.2:8470",
                           "[::2]", "localhost.example.org"})
    EXPECT_EQ(rules.Judge({.host = host}), Verdict::kForeignHost) << host;
  EXPECT_EQ(rules.Judge({.host = "localhost:8470", .origin = "http://localhost:8470"}),
            Verdict::kAllowed);
  for (const char* origin : {"http://localhost", "http://example.org", "null", "localhost:8470",
                             "http://localhost:8470.example.org"})
    EXPECT_EQ(rules.Judge({.host = "localhost:8470", .origin = origin}), Verdict::kForeignOrigin)
        << origin;
}

TEST(ServeAccess, NeedsTheTokenWhereThereIsOne) {
  const AccessRules rules("sesame");
  const auto judge = [&](Credentials credentials) {
    credentials.host = "camera.lan:8470";
    return rules.Judge(credentials);
  };
  EXPECT_EQ(judge({}), Verdict::kNoToken);
  EXPECT_EQ(judge({.authorization = "Bearer sesame"}), Verdict::kAllowed);
  EXPECT_EQ(judge({.authorization = "Bearer sesam"}), Verdict::kWrongToken);
  EXPECT_EQ(judge({.authorization = "Bearer sesamesesame"}), Verdict::kWrongToken);
  EXPECT_EQ(judge({.queryToken = "sesame"}), Verdict::kAllowed);
  EXPECT_EQ(judge({.cookie = "a=b; zocam_token=sesame"}), Verdict::kAllowed);
  EXPECT_EQ(judge({.cookie = "my_zocam_token=sesame"}), Verdict::kNoToken);
  EXPECT_EQ(judge({.origin = "http://example.org", .queryToken = "sesame"}),
            Verdict::kForeignOrigin);
  EXPECT_EQ(rules.JudgeOrigin({.host = "camera.lan:8470"}), Verdict::kAllowed);
}

TEST(ServeAccess, ReadsAddresses) {
  EXPECT_EQ(serve::PathOf("/a%20b?x=1"), "/a b");
  EXPECT_EQ(serve::PathOf("/a%2"), "");
  EXPECT_EQ(serve::PathOf("/a%00b"), "");
  EXPECT_EQ(serve::QueryValue("/a?range=20%3A30&token=x", "range"), "20:30");
  EXPECT_EQ(serve::QueryValue("/a?range=20%3A30&token=x", "token"), "x");
  EXPECT_EQ(serve::QueryValue("/a", "token"), "");
  EXPECT_EQ(serve::QueryValue("", "token"), "");
}

TEST(ServeRecordings, OpensNothingButPlainFilesOfItsFolder) {
  namespace fs = std::filesystem;
  std::string folder = testing::TempDir() + "serve-XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ofstream(folder + "/film.y4m") << "no recording";
  std::ofstream(folder + "/other.txt") << "x";
  fs::create_symlink("/etc/passwd", folder + "/link.y4m");
  fs::create_directory(folder + "/folder.y4m");
  serve::RecordingsFolder recordings(folder);
  EXPECT_EQ(recordings.PathOf("film.y4m"), folder + "/film.y4m");
  for (const char* name : {"other.txt", "link.y4m", "folder.y4m", "none.y4m", "../film.y4m", ".y4m",
                           ".film.y4m", "a/film.y4m", "film.y4m/", "", "..", "film.y4m\n"})
    EXPECT_EQ(recordings.PathOf(name), std::nullopt) << name;
  const Json list = recordings.List();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0]["damaged"], true);
  EXPECT_TRUE(recordings.Thumbnail("film.y4m").empty());

  std::string name = "../x.y4m";
  EXPECT_THROW(recordings.PathForNew(&name, "42"), ToolError);
  name = "";
  EXPECT_EQ(recordings.PathForNew(&name, "42").parent_path(), folder);
  EXPECT_TRUE(serve::IsRecordingName(name)) << name;
  EXPECT_THROW(serve::RecordingsFolder("/no/such/folder"), ToolError);
  fs::remove_all(folder);
}

serve::ServedFrame Frame() {
  serve::ServedFrame frame;
  frame.number = 7;
  frame.dropped = 2;
  frame.timeMs = 1.5;
  frame.width = 3;
  frame.height = 2;
  frame.resolution = 100;
  frame.values = {29315, 29415, 29515, 29615, 29715, 29815};
  return frame;
}

TEST(ServeFrames, TellTheirSizeAndTime) {
  const auto header = serve::FrameHeader(Frame(), 5);
  const auto word = [&](size_t at) { return header[at] | header[at + 1] << 8; };
  EXPECT_EQ(std::memcmp(header.data(), "ZOCF", 4), 0);
  EXPECT_EQ(word(4), 1);
  EXPECT_EQ(word(6), 48);
  EXPECT_EQ(word(8), 7);
  EXPECT_EQ(word(12), 3);
  EXPECT_EQ(word(14), 2);
  EXPECT_EQ(word(16), 100);
  EXPECT_EQ(word(20), 2);
  double time = 0;
  std::memcpy(&time, header.data() + 24, sizeof time);
  EXPECT_EQ(time, 1.5);
  EXPECT_EQ(word(40), 5);
}

TEST(ServeFrames, AreMeasuredInSpots) {
  serve::SpotList spots;
  spots.Set(Json::parse(R"([{"name": "a", "x": 1, "y": 0, "width": 2, "height": 2},
                            {"x": 0, "y": 1}])"),
            3, 2);
  const Json measured = spots.Measure(std::make_shared<serve::ServedFrame>(Frame()));
  EXPECT_DOUBLE_EQ(measured[0]["min"], 21.0);
  EXPECT_DOUBLE_EQ(measured[0]["max"], 25.0);
  EXPECT_DOUBLE_EQ(measured[0]["mean"], 23.0);
  EXPECT_EQ(measured[0]["hottest"], Json({2, 1}));
  EXPECT_EQ(measured[0]["coldest"], Json({1, 0}));
  EXPECT_DOUBLE_EQ(measured[1]["mean"], 23.0);
  for (const char* wrong :
       {R"({})", R"([{"x": 3, "y": 0}])", R"([{"x": 0, "y": 0, "width": 4}])",
        R"([{"x": -1, "y": 0}])", R"([{"x": 0.5, "y": 0}])", R"([{"x": 0, "y": 0, "height": 0}])",
        R"([1])", R"([{"x": 1}])", R"([{"x": 0, "y": 0, "name": 3}])", R"([{"x": 1e30, "y": 0}])",
        R"([{"x": 18446744073709551615, "y": 0}])"})
    EXPECT_THROW(spots.Set(Json::parse(wrong), 3, 2), ToolError) << wrong;
  EXPECT_EQ(spots.Describe().size(), 2u) << "a wrong list changes nothing";
}

}  // namespace

// The installed dmtool: every command, and every error (one "dmtool: " line on
// standard error, exit status 1, nothing on standard output, map unchanged).
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/datamap.h"
#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace {

using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::readFile;

const char kCatalog[] =
    "# sample\n"
    "reading.1sec.freq flt64 60.01\n"
    "dev.designation string64 Main feeder\n"
    "sys.enumeration.hookup uint16 3\n"
    "reading.time.ltc ts8 2022-10-05 19:03:30\n"
    "flag boolean true\n";

class DmtoolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    map_ = dir_.file("datamap");
    catalog_ = dir_.file("meter.catalog");
    testsupport::writeFile(catalog_, kCatalog);
    ProcessResult created = dmtool({"create", catalog_});
    ASSERT_EQ(0, created.exitCode) << created.err;
  }

  ProcessResult dmtool(std::vector<std::string> args, const std::string& stdinText = "") {
    args.insert(args.begin(), testsupport::stagedProgram("bin/dmtool"));
    ProcessOptions options;
    options.env.push_back("DATAMAP_FILE=" + map_);
    options.stdinText = stdinText;
    return testsupport::runProcess(args, options);
  }

  // Runs a command that must fail: exit 1, exactly one line "dmtool: <message>\n"
  // on standard error, nothing on standard output, the map file unchanged.
  void expectError(const std::vector<std::string>& args, const std::string& message,
                   const std::string& stdinText = "") {
    std::string before = readFile(map_);
    ProcessResult result = dmtool(args, stdinText);
    EXPECT_EQ(1, result.exitCode) << args[0];
    EXPECT_EQ("dmtool: " + message + "\n", result.err) << args[0];
    EXPECT_EQ("", result.out) << args[0];
    EXPECT_TRUE(before == readFile(map_)) << "map changed by " << args[0];
  }

  std::string get(const std::string& key) {
    ProcessResult result = dmtool({"get", key});
    EXPECT_EQ(0, result.exitCode) << result.err;
    return result.out;
  }

  testsupport::TempDir dir_;
  std::string map_;
  std::string catalog_;
};

TEST_F(DmtoolTest, ListShowsIndexTypeKey) {
  ProcessResult result = dmtool({"list"});
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(
      "0 18 reading.1sec.freq\n"
      "1 20 dev.designation\n"
      "2 2 sys.enumeration.hookup\n"
      "3 7 reading.time.ltc\n"
      "4 24 flag\n",
      result.out);
  EXPECT_EQ("", result.err);
}

TEST_F(DmtoolTest, GetPrintsTheTextSetAccepts) {
  EXPECT_EQ("60.01\n", get("reading.1sec.freq"));
  EXPECT_EQ("Main feeder\n", get("dev.designation"));
  EXPECT_EQ("3\n", get("sys.enumeration.hookup"));
  EXPECT_EQ("2022-10-05 19:03:30\n", get("reading.time.ltc"));
  EXPECT_EQ("1\n", get("flag"));
}

TEST_F(DmtoolTest, SetSeveralPairsAndReadThemBack) {
  ProcessResult result = dmtool({"set", "reading.1sec.freq", "49.5", "dev.designation",
                                 "Feeder \"B\" / west", "reading.time.ltc",
                                 "2023-01-02 03:04:05", "sys.enumeration.hookup", "0x2"});
  ASSERT_EQ(0, result.exitCode) << result.err;
  EXPECT_EQ("", result.out);
  EXPECT_EQ("", result.err);
  EXPECT_EQ("49.5\n", get("reading.1sec.freq"));
  EXPECT_EQ("Feeder \"B\" / west\n", get("dev.designation"));
  EXPECT_EQ("2023-01-02 03:04:05\n", get("reading.time.ltc"));
  EXPECT_EQ("2\n", get("sys.enumeration.hookup"));
}

TEST_F(DmtoolTest, MapOptionOverridesTheEnvironment) {
  std::string other = dir_.file("other.map");
  std::vector<std::string> args = {testsupport::stagedProgram("bin/dmtool"), "--map", other,
                                   "create", catalog_};
  ProcessOptions options;
  options.env.push_back("DATAMAP_FILE=" + dir_.file("not-this-one"));
  ASSERT_EQ(0, testsupport::runProcess(args, options).exitCode);
  args = {testsupport::stagedProgram("bin/dmtool"), "--map", other, "set", "flag", "false"};
  ASSERT_EQ(0, testsupport::runProcess(args, options).exitCode);
  args = {testsupport::stagedProgram("bin/dmtool"), "--map", other, "get", "flag"};
  EXPECT_EQ("0\n", testsupport::runProcess(args, options).out);
  EXPECT_FALSE(testsupport::fileExists(dir_.file("not-this-one")));
  EXPECT_EQ("1\n", get("flag"));
}

TEST_F(DmtoolTest, FailInjectsAndClears) {
  ASSERT_EQ(0, dmtool({"fail", "reading.1sec.freq", "-9"}).exitCode);
  setenv("DATAMAP_FILE", map_.c_str(), 1);
  DM_SYS_DATA_BLOK_USER dm = {nullptr};
  ASSERT_EQ(0, dm_open_map(&dm));
  unsigned int index = 0, size = 0, type = 0;
  ASSERT_EQ(0, dm_get_info(&dm, "reading.1sec.freq", &index, &size, &type));
  double value = 0;
  EXPECT_EQ(-9, dm_read_flt64(&dm, index, &value, 0, nullptr));
  ASSERT_EQ(0, dmtool({"fail", "reading.1sec.freq", "0"}).exitCode);
  EXPECT_EQ(0, dm_read_flt64(&dm, index, &value, 0, nullptr));
  EXPECT_EQ(60.01, value);
  dm_close_map(&dm);
  unsetenv("DATAMAP_FILE");
}

TEST_F(DmtoolTest, BlocksRoundTripRawBytes) {
  std::string bytes("\x00\x01\xff\n\x7f", 5);
  ProcessResult written = dmtool({"write-block", "2", "59904"}, bytes);
  ASSERT_EQ(0, written.exitCode) << written.err;
  ProcessResult read = dmtool({"read-block", "2", "59903", "7"});
  ASSERT_EQ(0, read.exitCode) << read.err;
  EXPECT_EQ(std::string("\x00\x00\x01\xff\n\x7f\x00", 7), read.out);
  ASSERT_EQ(0, dmtool({"write-block", "19", "0x1FFFF"}, "z").exitCode);
  EXPECT_EQ("z", dmtool({"read-block", "19", "131071", "1"}).out);
  EXPECT_EQ("", dmtool({"read-block", "18", "0", "0"}).out);
}

TEST_F(DmtoolTest, CreateReplacesTheMap) {
  testsupport::writeFile(catalog_, "only.key sint32 -5\n");
  ASSERT_EQ(0, dmtool({"create", catalog_}).exitCode);
  EXPECT_EQ("0 3 only.key\n", dmtool({"list"}).out);
  EXPECT_EQ("-5\n", get("only.key"));
}

TEST_F(DmtoolTest, EveryErrorIsOneLineAndChangesNothing) {
  std::string bad = dir_.file("bad.catalog");
  testsupport::writeFile(bad, "a flt64 1\n\nb uint16 x\n");
  expectError({"create", bad},
              bad + ":3: bad value \"x\" for key \"b\": not an integer (decimal or 0x-hex)");
  expectError({"create", dir_.file("none")}, dir_.file("none") + ": No such file or directory");
  expectError({"create"}, "usage: create CATALOG");
  expectError({"set", "flag", "1", "nope", "2"}, "unknown key \"nope\"");
  expectError({"set", "flag", "0", "sys.enumeration.hookup", "70000"},
              "bad value \"70000\" for key \"sys.enumeration.hookup\": out of range for uint16");
  expectError({"set", "flag"}, "usage: set KEY VALUE [KEY VALUE]...");
  expectError({"set"}, "usage: set KEY VALUE [KEY VALUE]...");
  expectError({"set", "reading.time.ltc", "2022-10-05"},
              "bad value \"2022-10-05\" for key \"reading.time.ltc\": not a timestamp "
              "(CCYY-MM-DD hh:mm:ss)");
  expectError({"get", "nope"}, "unknown key \"nope\"");
  expectError({"get"}, "usage: get KEY");
  expectError({"fail", "flag", "5"}, "bad CODE \"5\": a negative number, or 0 to clear");
  expectError({"fail", "flag", "x"}, "bad CODE \"x\": a negative number, or 0 to clear");
  expectError({"fail", "nope", "-1"}, "unknown key \"nope\"");
  expectError({"write-block", "3", "0"}, "bad BLOCK \"3\": 1, 2, 18 or 19", "abc");
  expectError({"write-block", "1", "131070"},
              "offset 131070 + length 3 exceeds the block size 131072", "abc");
  expectError({"write-block", "1", "-1"}, "bad OFFSET \"-1\": a decimal or 0x-hex number", "a");
  expectError({"write-block", "1"}, "usage: write-block BLOCK OFFSET");
  expectError({"read-block", "2", "0", "131073"},
              "offset 0 + length 131073 exceeds the block size 131072");
  expectError({"read-block", "2", "0", "ten"}, "bad LENGTH \"ten\": a decimal or 0x-hex number");
  expectError({"read-block", "2", "0"}, "usage: read-block BLOCK OFFSET LENGTH");
  expectError({"list", "extra"}, "usage: list");
  expectError({"--map"}, "--map needs a PATH");
  EXPECT_EQ("60.01\n", get("reading.1sec.freq"));
  EXPECT_EQ("1\n", get("flag"));
}

TEST_F(DmtoolTest, MissingOrInvalidMap) {
  std::string missing = dir_.file("missing.map");
  ProcessResult result = dmtool({"--map", missing, "get", "flag"});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ("dmtool: " + missing + ": No such file or directory\n", result.err);
  testsupport::writeFile(missing, "not a map");
  result = dmtool({"--map", missing, "list"});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ("dmtool: " + missing + ": not a valid datamap file\n", result.err);
  EXPECT_EQ("", result.out);
}

TEST_F(DmtoolTest, UsageOnNoOrUnknownCommand) {
  ProcessResult result = dmtool({});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ(0u, result.err.find("usage: dmtool [--map PATH] COMMAND ...\n"));
  EXPECT_EQ("", result.out);
  result = dmtool({"frobnicate"});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ(0u, result.err.find("dmtool: unknown command \"frobnicate\"\nusage: dmtool"));
  result = dmtool({"--help"});
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(0u, result.out.find("usage: dmtool [--map PATH] COMMAND ...\n"));
}

}  // namespace

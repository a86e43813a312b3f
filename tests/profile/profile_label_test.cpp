// The device profile label document written from hand-built settings files,
// without a datamap (every limit label empty), and its error paths.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "profile/ProfileLabel.h"
#include "tests/profile/profile_helpers.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace {

using profiletest::ExpectedLabels;
using profiletest::SettingsImage;
using testsupport::readFile;

// 32 empty limit labels, as the document shows them when no datamap exists.
const char kNoLimits[] =
    "\"limit_label\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\","
    "\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\","
    "\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\","
    "\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"]\n";

class ProfileLabelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ProfileLabel::resetLimitTableForTesting();
    setenv("DATAMAP_FILE", dir_.file("no-datamap").c_str(), 1);
    unsetenv("LOG_ITEM_CATALOG");
    settingsPath_ = dir_.file("kv7720.kps");
    outputPath_ = dir_.file("device_profile_label.json");
  }
  void TearDown() override {
    unsetenv("DATAMAP_FILE");
    ProfileLabel::resetLimitTableForTesting();
  }

  int run() { return ProfileLabel::print_profile_label(settingsPath_.c_str(), outputPath_.c_str()); }

  testsupport::TempDir dir_;
  std::string settingsPath_;
  std::string outputPath_;
};

off_t fileSize(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return -1;
  return st.st_size;
}

TEST_F(ProfileLabelTest, WritesEveryLabelCleanedAndEscaped) {
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\x01");
  settings.putLabel(profiletest::accumulatorLabel(0), "Acc One");
  settings.putLabel(profiletest::accumulatorLabel(1), "ABCDEFGHIJKLMNOP");
  settings.putLabel(profiletest::accumulatorLabel(2), "");
  settings.putLabel(profiletest::accumulatorLabel(3), "Say \"hi\"");
  settings.putLabel(profiletest::accumulatorLabel(4), "C:\\meter\\kWh");
  settings.putLabel(profiletest::accumulatorLabel(5), "  Lead blanks");
  settings.putLabel(profiletest::accumulatorLabel(6), "Mid  blank");
  settings.putLabel(profiletest::accumulatorLabel(7), "kVARh Lag");
  settings.putLabel(profiletest::aggregatorLabel(0), "Aggr 1");
  settings.putLabel(profiletest::aggregatorLabel(1), "Aggr 2 16 chars!");
  settings.putLabel(profiletest::aggregatorLabel(2), "X");
  // Aggregator 3 stays all zero.
  settings.putLabel(profiletest::inputNameLabel(0), "Breaker 52a");
  for (int i = 1; i < 7; ++i) {
    settings.putLabel(profiletest::inputNameLabel(i), "Input " + std::to_string(i + 1));
  }
  for (int i = 0; i < 7; ++i) {
    settings.putLabel(profiletest::inputOpenLabel(i), "Open");
    settings.putLabel(profiletest::inputShortedLabel(i), "Closed");
  }
  // Digital input 8 stays all zero.
  settings.save(settingsPath_);

  testsupport::StreamCapture err(2);
  EXPECT_EQ(0, run());
  EXPECT_EQ("", err.finish());
  const std::string expected = std::string(
      "{\n"
      "\"version\":{\t\"major\":0,\t\"minor\":2,\t\"micro\":0},\n"
      "\"Q14_Whr_label\":\"Del Wh\",\"Q23_Whr_label\":\"Rec Wh\",\n"
      "\"accumulators_label\":[\"Acc One\",\"ABCDEFGHIJKLMNOP\",\" \",\"Say \\\"hi\\\"\","
      "\"C:\\\\meter\\\\kWh\",\"  Lead blanks\",\"Mid  blank\",\"kVARh Lag\"],\n"
      "\"aggregators_label\":[\"Aggr 1\",\"Aggr 2 16 chars!\",\"X\",\"\"],\n"
      "\"digital_input_name_label\":[\"Breaker 52a\",\"Input 2\",\"Input 3\",\"Input 4\","
      "\"Input 5\",\"Input 6\",\"Input 7\",\"\"],\n"
      "\"digital_input_open_label\":[\"Open\",\"Open\",\"Open\",\"Open\",\"Open\",\"Open\","
      "\"Open\",\"\"],\n"
      "\"digital_input_shorted_label\":[\"Closed\",\"Closed\",\"Closed\",\"Closed\",\"Closed\","
      "\"Closed\",\"Closed\",\"\"],\n") +
      kNoLimits + "}\n";
  EXPECT_EQ(expected, readFile(outputPath_));
}

TEST_F(ProfileLabelTest, DirectionFlagZeroSwapsDeliveredAndReceived) {
  SettingsImage settings;
  settings.putLabel(profiletest::accumulatorLabel(0), "Energy");
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  const std::string expected = std::string(
      "{\n"
      "\"version\":{\t\"major\":0,\t\"minor\":2,\t\"micro\":0},\n"
      "\"Q14_Whr_label\":\"Rec Wh\",\"Q23_Whr_label\":\"Del Wh\",\n"
      "\"accumulators_label\":[\"Energy\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"],\n"
      "\"aggregators_label\":[\"\",\"\",\"\",\"\"],\n"
      "\"digital_input_name_label\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"],\n"
      "\"digital_input_open_label\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"],\n"
      "\"digital_input_shorted_label\":[\"\",\"\",\"\",\"\",\"\",\"\",\"\",\"\"],\n") +
      kNoLimits + "}\n";
  EXPECT_EQ(expected, readFile(outputPath_));
}

TEST_F(ProfileLabelTest, AnyNonZeroDirectionFlagMeansDelivered) {
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\xff");
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  ExpectedLabels labels;
  labels.delivered = true;
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
  EXPECT_NE(std::string::npos,
            readFile(outputPath_).find("\"Q14_Whr_label\":\"Del Wh\",\"Q23_Whr_label\":\"Rec Wh\",\n"));
}

TEST_F(ProfileLabelTest, BlankTrimmingStopsAtTheFirstNonBlankFromTheEnd) {
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\x01");
  // Blanks followed by zeros: the trim meets a zero first and keeps the blanks.
  settings.put(profiletest::accumulatorLabel(0), std::string("AB  ") + std::string(12, '\0'));
  // A zero first byte makes the label empty whatever follows.
  settings.put(profiletest::accumulatorLabel(1), std::string("\0Hidden text    ", 16));
  // A leading blank is kept; 8 letters and 8 blanks print as the letters.
  settings.putLabel(profiletest::accumulatorLabel(2), " A");
  settings.putLabel(profiletest::accumulatorLabel(3), "ABCDEFGH");
  // A label ending in a non-blank is printed whole, inner blanks included.
  settings.put(profiletest::accumulatorLabel(4), "Ends with x    y");
  // Control bytes are escaped; bytes from 0x80 pass unchanged.
  settings.putLabel(profiletest::accumulatorLabel(5), "Tab\there\x01");
  settings.putLabel(profiletest::accumulatorLabel(6), "Caf\xc3\xa9 / 2");
  // Sixteen blanks: the first byte is never trimmed.
  settings.put(profiletest::accumulatorLabel(7), std::string(16, ' '));
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  ExpectedLabels labels;
  labels.accumulators = {"AB  ",  "",     " A", "ABCDEFGH", "Ends with x    y",
                         "Tab\\there\\u0001", "Caf\xc3\xa9 / 2", " "};
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, LabelsEndAtTheirSixteenthByte) {
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\x01");
  // Each label is followed directly by the next one: no terminator in between.
  settings.put(profiletest::aggregatorLabel(0),
               "0123456789abcdefFEDCBA9876543210ghijklmnopqrstuvWXYZ-+*/=!?@#$%^");
  settings.put(profiletest::inputNameLabel(3), "Name  of input 4");
  settings.put(profiletest::inputOpenLabel(3), "Open\"\\ of input4");
  settings.put(profiletest::inputShortedLabel(3), "Shorted input  4");
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  ExpectedLabels labels;
  labels.aggregators = {"0123456789abcdef", "FEDCBA9876543210", "ghijklmnopqrstuv",
                        "WXYZ-+*/=!?@#$%^"};
  labels.inputNames[3] = "Name  of input 4";
  labels.inputOpen[3] = "Open\\\"\\\\ of input4";
  labels.inputShorted[3] = "Shorted input  4";
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, ShortSettingsFileIsExtendedAndItsMissingLabelsAreEmpty) {
  SettingsImage settings(1000);  // ends inside digital input record 1
  settings.putLabel(profiletest::inputNameLabel(0), "Pump");
  settings.putLabel(profiletest::inputOpenLabel(0), "Stopped");
  settings.putLabel(profiletest::inputShortedLabel(0), "Running");
  settings.putLabel(profiletest::inputNameLabel(1), "Fan");
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  EXPECT_EQ(32784, fileSize(settingsPath_));
  ExpectedLabels labels;
  labels.delivered = false;  // the flag lies beyond the old end: zero
  labels.inputNames[0] = "Pump";
  labels.inputOpen[0] = "Stopped";
  labels.inputShorted[0] = "Running";
  labels.inputNames[1] = "Fan";
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
  // The old bytes stay; the new ones are zero.
  std::string after = readFile(settingsPath_);
  EXPECT_EQ(settings.bytes(), after.substr(0, 1000));
  EXPECT_EQ(std::string(32784 - 1000, '\0'), after.substr(1000));
}

TEST_F(ProfileLabelTest, EmptySettingsFileGivesAnAllEmptyDocument) {
  testsupport::writeFile(settingsPath_, "");
  ASSERT_EQ(0, run());
  EXPECT_EQ(32784, fileSize(settingsPath_));
  ExpectedLabels labels;
  labels.delivered = false;
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, LongSettingsFileIsCutAndFullSizeFileIsUnchanged) {
  SettingsImage settings(40000);
  settings.put(profiletest::kDirectionFlag, "\x02");
  settings.putLabel(profiletest::aggregatorLabel(3), "Last aggr");
  settings.put(39000, "tail beyond the record");
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  EXPECT_EQ(32784, fileSize(settingsPath_));
  EXPECT_EQ(settings.bytes().substr(0, 32784), readFile(settingsPath_));
  ExpectedLabels labels;
  labels.aggregators[3] = "Last aggr";
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, ExistingDocumentIsReplacedWhole) {
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\x01");
  settings.save(settingsPath_);
  testsupport::writeFile(outputPath_, std::string(100000, 'z'));
  ASSERT_EQ(0, run());
  EXPECT_EQ(profiletest::expectedDocument(ExpectedLabels()), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, MissingSettingsFileIsReportedAtOnceAndWritesNothing) {
  testsupport::StreamCapture err(2);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(-1, run());
  auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ("Cannot open file " + settingsPath_ + "\n", err.finish());
  EXPECT_LT(elapsed, std::chrono::milliseconds(900));  // ENOENT is not retried
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
  EXPECT_FALSE(testsupport::fileExists(settingsPath_));
}

TEST_F(ProfileLabelTest, OtherOpenErrorsAreRetriedFiveTimesInAll) {
  testsupport::makeDirs(settingsPath_);  // opening a directory read-write fails (EISDIR)
  testsupport::StreamCapture err(2);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(-1, run());
  auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ("Cannot open file " + settingsPath_ + "\n", err.finish());
  // Five opens with a one-second wait between two of them.
  EXPECT_GE(elapsed, std::chrono::milliseconds(3900));
  EXPECT_LT(elapsed, std::chrono::milliseconds(4900));
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
}

TEST_F(ProfileLabelTest, SettingsFileThatBecomesReadableDuringRetriesIsUsed) {
  testsupport::makeDirs(settingsPath_);
  SettingsImage settings;
  settings.put(profiletest::kDirectionFlag, "\x01");
  settings.putLabel(profiletest::accumulatorLabel(0), "Late");
  std::thread replacer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    rmdir(settingsPath_.c_str());
    std::string temp = dir_.file("settings.tmp");
    settings.save(temp);
    rename(temp.c_str(), settingsPath_.c_str());
  });
  testsupport::StreamCapture err(2);
  auto start = std::chrono::steady_clock::now();
  int status = run();
  auto elapsed = std::chrono::steady_clock::now() - start;
  replacer.join();
  EXPECT_EQ(0, status);
  EXPECT_EQ("", err.finish());
  EXPECT_GE(elapsed, std::chrono::milliseconds(1500));
  ExpectedLabels labels;
  labels.accumulators[0] = "Late";
  EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
}

TEST_F(ProfileLabelTest, SettingsThatCannotBeMappedReturnMinusTwo) {
  ASSERT_EQ(0, mkfifo(settingsPath_.c_str(), 0600));
  testsupport::StreamCapture err(2);
  EXPECT_EQ(-2, run());
  EXPECT_EQ("Failed to mmap\n", err.finish());
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
}

TEST_F(ProfileLabelTest, MissingOutputDirectoryIsSkippedSilently) {
  SettingsImage settings;
  settings.save(settingsPath_);
  outputPath_ = dir_.file("no-such-dir/device_profile_label.json");
  testsupport::StreamCapture err(2);
  EXPECT_EQ(0, run());
  EXPECT_EQ("", err.finish());
  EXPECT_FALSE(testsupport::fileExists(outputPath_));
  EXPECT_FALSE(testsupport::fileExists(dir_.file("no-such-dir")));
  EXPECT_EQ(32784, fileSize(settingsPath_));
}

TEST_F(ProfileLabelTest, RegularFileInPlaceOfTheOutputDirectoryIsSkipped) {
  SettingsImage settings;
  settings.save(settingsPath_);
  testsupport::writeFile(dir_.file("json"), "not a directory");
  outputPath_ = dir_.file("json/device_profile_label.json");
  testsupport::StreamCapture err(2);
  EXPECT_EQ(0, run());
  EXPECT_EQ("", err.finish());
  EXPECT_EQ("not a directory", readFile(dir_.file("json")));
}

TEST_F(ProfileLabelTest, DocumentTakesTheOwnerOfItsDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "changing owners needs root";
  SettingsImage settings;
  settings.save(settingsPath_);
  std::string jsonDir = dir_.file("json");
  testsupport::makeDirs(jsonDir);
  ASSERT_EQ(0, chown(jsonDir.c_str(), 4242, 4343));
  outputPath_ = jsonDir + "/device_profile_label.json";
  ASSERT_EQ(0, run());
  struct stat st;
  ASSERT_EQ(0, stat(outputPath_.c_str(), &st));
  EXPECT_EQ(4242u, st.st_uid);
  EXPECT_EQ(4343u, st.st_gid);
}

TEST_F(ProfileLabelTest, WithoutADatamapTheLimitTableStaysUnfilled) {
  SettingsImage settings;
  settings.save(settingsPath_);
  ASSERT_EQ(0, run());
  EXPECT_FALSE(ProfileLabel::print_profile_label_initialized);
  EXPECT_NE(std::string::npos, readFile(outputPath_).find(kNoLimits));
  EXPECT_GT(0, ProfileLabel::print_profile_label_initialization());
  EXPECT_FALSE(ProfileLabel::print_profile_label_initialized);
}

}  // namespace

// The version block, its helpers and the command-line help texts.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "daemon/AppUsage.h"
#include "daemon/VersionInformation.h"
#include "tests/daemon/shape_helpers.h"
#include "tests/daemon/usage_text.h"
#include "tests/support/StreamCapture.h"

namespace {

std::string record(int index) {
  return std::string(version_information_resource[index],
                     strnlen(version_information_resource[index], kVersionRecordSize));
}

TEST(VersionRecord, NineRecordsOfSixtyFourBytes) {
  EXPECT_EQ(9u * 64u, sizeof version_information_resource);
}

TEST(VersionRecord, FixedRecordsInOrder) {
  EXPECT_EQ("VER_VersionInformation=1.0\n", record(0));
  EXPECT_EQ(0, record(1).compare(0, 12, "VER_Company="));
  EXPECT_EQ(0, record(2).compare(0, 14, "VER_Copyright="));
  EXPECT_EQ(0, record(3).compare(0, 12, "VER_Product="));
  EXPECT_EQ("VER_ProductVersion=1.0\n", record(4));
  EXPECT_EQ("VER_File=livedata_update\n", record(5));
  EXPECT_EQ(0, record(6).compare(0, 13, "VER_FileDate="));
  EXPECT_EQ(0, record(7).compare(0, 16, "VER_FileVersion="));
  EXPECT_EQ("VER_FileDescription=Web Data Updater Live Data Update\n", record(8));
}

TEST(VersionRecord, EveryRecordEndsWithLineFeedAndZeroPadding) {
  for (int i = 0; i < kVersionRecordCount; ++i) {
    std::string text = record(i);
    ASSERT_FALSE(text.empty()) << i;
    EXPECT_EQ('\n', text.back()) << i;
    EXPECT_LT(text.size(), 64u) << i;
    for (size_t j = text.size(); j < 64; ++j) EXPECT_EQ('\0', version_information_resource[i][j]);
    // The values that start-up copies into 36-byte globals stay shorter than that.
    EXPECT_LT(text.size() - text.find('=') - 2, 36u) << i;
  }
}

TEST(VersionRecord, FileDateIsCompilerDateTimeAndBuildKind) {
  EXPECT_TRUE(daemontest::matchesShape(record(6), "VER_FileDate=" + daemontest::dateShape() + "\n"))
      << record(6);
  const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  std::string month = record(6).substr(13, 3);
  size_t at = months.find(month);
  EXPECT_TRUE(at != std::string::npos && at % 3 == 0) << month;
  // Same as the compiler's own date and time for this file's build.
  EXPECT_EQ(std::string(__DATE__).substr(7, 4), record(6).substr(20, 4));
}

TEST(VersionRecord, FileVersionHasItsShape) {
  EXPECT_TRUE(
      daemontest::matchesShape(record(7), "VER_FileVersion=" + daemontest::versionShape() + "\n"))
      << record(7);
}

TEST(Shape, MatchesOnlyItsShape) {
  EXPECT_TRUE(daemontest::matchesShape("Oct  5 2022 19:03:30 (Release)", "^%% ~# #### ##:##:## (Release)"));
  EXPECT_TRUE(daemontest::matchesShape("Oct 15 2022", "^%% ~# ####"));
  EXPECT_FALSE(daemontest::matchesShape("Oct  5 2022 19:03:30 (Release)", "^%% ~# #### ##:##:## (Debug)"));
  EXPECT_FALSE(daemontest::matchesShape("oct  5", "^%% ~#"));
  EXPECT_FALSE(daemontest::matchesShape("Oct x5", "^%% ~#"));
  EXPECT_TRUE(daemontest::matchesShape("VER_a", "VER_a"));
  EXPECT_FALSE(daemontest::matchesShape("12", "#"));
}

TEST(VersionRecord, FileVersionSpellsTheFileDate) {
  std::string date = record(6).substr(13);  // "Mmm dd yyyy hh:mm:ss (Kind)\n"
  const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  int month = static_cast<int>(months.find(date.substr(0, 3))) / 3 + 1;
  int day = atoi(date.substr(4, 2).c_str());
  char expected[64];
  snprintf(expected, sizeof expected, "VER_FileVersion=0005.0001.%s%02d%02d.%s%s%s\n",
           date.substr(9, 2).c_str(), month, day, date.substr(12, 2).c_str(),
           date.substr(15, 2).c_str(), date.substr(18, 2).c_str());
  EXPECT_EQ(expected, record(7));
}

TEST(VersionRecord, RemoveTerminatorDropsTheLastCharacterWhateverItIs) {
  char buffer[64];
  EXPECT_EQ(buffer, VI_VALUE_RemoveTerminator("1.0\n", buffer));
  EXPECT_STREQ("1.0", buffer);
  VI_VALUE_RemoveTerminator("abc", buffer);
  EXPECT_STREQ("ab", buffer);
  VI_VALUE_RemoveTerminator("", buffer);
  EXPECT_STREQ("", buffer);
}

TEST(VersionRecord, RemoveTerminatorCopiesAtMostSixtyFourBytes) {
  std::string longValue(100, 'x');
  char buffer[80];
  memset(buffer, 'y', sizeof buffer);
  VI_VALUE_RemoveTerminator(longValue.c_str(), buffer);
  EXPECT_EQ('y', buffer[64]);
  EXPECT_EQ(std::string(63, 'x'), std::string(buffer));
}

TEST(VersionRecord, RecordValueIsTheTextAfterTheEqualsSign) {
  char buffer[64];
  EXPECT_STREQ("livedata_update", VI_record_value(kVerFile, buffer));
  EXPECT_EQ(record(7).substr(16, record(7).size() - 17), VI_record_value(kVerFileVersion, buffer));
}

TEST(VersionRecord, PrintShowsBothRawRecordsAndAnEmptyLine) {
  testsupport::StreamCapture out(1);
  VI_print_FileVersion_FileDate();
  EXPECT_EQ(record(7) + record(6) + "\n", out.finish());
}

TEST(Usage, FullHelpText) {
  testsupport::StreamCapture out(1);
  print_out_app_usage_help(stdout, "/opt/sbin/livedata_update");
  EXPECT_EQ(daemontest::usageText("/opt/sbin/livedata_update"), out.finish());
}

TEST(Usage, HelpGoesToTheGivenStream) {
  testsupport::StreamCapture err(2);
  testsupport::StreamCapture out(1);
  print_out_app_usage_help(stderr, "ldu");
  EXPECT_EQ("", out.finish());
  EXPECT_EQ(0u, err.finish().find("Usage: ldu [options]\noptions:\n"));
}

TEST(Usage, ShortUsageFollowsTheVersionBlock) {
  testsupport::StreamCapture out(1);
  print_out_app_short_usage("./livedata_update");
  EXPECT_EQ(record(7) + record(6) + "\nUsage: ./livedata_update -p pidfile \n", out.finish());
}

TEST(Usage, VersionLine) {
  testsupport::StreamCapture out(1);
  print_out_app_version();
  std::string fileVersion = record(7).substr(16);
  fileVersion.pop_back();
  std::string fileDate = record(6).substr(13);
  fileDate.pop_back();
  EXPECT_EQ("version: " + fileVersion + " built on " + fileDate + "\n", out.finish());
}

}  // namespace

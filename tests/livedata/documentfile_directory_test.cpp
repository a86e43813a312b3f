// DocumentFile keeps its directory open from one cycle to the next and still
// writes each cycle's document into the directory found at the path then: a
// directory removed is a silent skip, one recreated (or swapped in by rename)
// gets the very next cycle's document, one renamed away gets nothing more.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "livedata/DocumentFile.h"
#include "livedata/RuntimeLog.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

class DocumentDirectory : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::makeDirs(json_);
    setenv("ZUL_LOG_FILE", logPath_.c_str(), 1);
    open_zul_log(&channel_, "livedata_update_runtime", 3, 152);
    set_runtime_log_channel(&channel_);
  }
  void TearDown() override {
    set_runtime_log_channel(nullptr);
    unsetenv("ZUL_LOG_FILE");
  }
  // One cycle: false when the document was skipped at open().
  bool cycle(const std::string& text) {
    if (!doc_.open(path_.c_str())) return false;
    doc_.append(text.c_str());
    doc_.close();
    return true;
  }
  std::string logText() { return testsupport::readFileOrEmpty(logPath_); }

  TempDir dir_;
  std::string json_ = dir_.file("json");
  std::string path_ = json_ + "/polling_data.json";
  std::string logPath_ = dir_.file("log.txt");
  ZUL_LOG_CHANNEL channel_ = {};
  DocumentFile doc_;
};

TEST_F(DocumentDirectory, RemovedIsSkippedSilentlyAndRecreatedIsWrittenInTheNextCycle) {
  ASSERT_TRUE(cycle("1\n"));
  testsupport::removeTree(json_);
  EXPECT_FALSE(cycle("2\n"));
  EXPECT_FALSE(cycle("3\n"));
  EXPECT_FALSE(testsupport::fileExists(json_));
  testsupport::makeDirs(json_);
  ASSERT_TRUE(cycle("4\n"));
  EXPECT_EQ("4\n", testsupport::readFile(path_));
  EXPECT_FALSE(doc_.isFailing());
  EXPECT_EQ("", logText());
}

TEST_F(DocumentDirectory, RemovedAndRecreatedBetweenTwoCyclesIsWrittenAtOnce) {
  ASSERT_TRUE(cycle("1\n"));
  testsupport::removeTree(json_);
  testsupport::makeDirs(json_);
  ASSERT_TRUE(cycle("2\n"));
  EXPECT_EQ("2\n", testsupport::readFile(path_));
  EXPECT_EQ("", logText());
}

TEST_F(DocumentDirectory, RenamedAwayGetsNothingMoreAndANewOneAtThePathGetsTheDocument) {
  ASSERT_TRUE(cycle("1\n"));
  const std::string old = dir_.file("json.old");
  ASSERT_EQ(0, rename(json_.c_str(), old.c_str()));
  EXPECT_FALSE(cycle("2\n"));
  testsupport::makeDirs(json_);
  ASSERT_TRUE(cycle("3\n"));
  EXPECT_EQ("3\n", testsupport::readFile(path_));
  EXPECT_EQ("1\n", testsupport::readFile(old + "/polling_data.json"));
  EXPECT_EQ("", logText());
}

TEST_F(DocumentDirectory, AnotherDirectoryRenamedOntoThePathGetsTheNextDocument) {
  ASSERT_TRUE(cycle("1\n"));
  const std::string next = dir_.file("json.next");
  testsupport::makeDirs(next);
  testsupport::removeTree(json_);
  ASSERT_EQ(0, rename(next.c_str(), json_.c_str()));
  ASSERT_TRUE(cycle("2\n"));
  EXPECT_EQ("2\n", testsupport::readFile(path_));
}

}  // namespace

// DocumentFile: one document rewritten whole per cycle, skipped when unopenable,
// never blocked by what stands at its path, and its write failures logged once.
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "livedata/DocumentFile.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "livedata/RuntimeLog.h"
#include "tests/support/RuntimeLogScope.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

// One whole cycle of doc: opened at path, text appended, closed; false when
// the document did not open.
bool writeDocumentCycle(DocumentFile& doc, const std::string& path, const std::string& text) {
  if (!doc.open(path.c_str())) return false;
  doc.append(text.c_str());
  doc.close();
  return true;
}

// The path of a.json in dir, written with text before the test's document.
std::string existingDocument(const TempDir& dir, const std::string& text) {
  testsupport::writeFile(dir.file("a.json"), text);
  return dir.file("a.json");
}

TEST(DocumentFile, WritesFormattedAndAppendedText) {
  TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  EXPECT_TRUE(doc.isOpen());
  doc.printf("{\n\"v\":%u,\t\"f\":\"%.3f V\",\n", 7u, 1.5);
  doc.append("\"s\":\"x\"");
  doc.append(",\n\"t\":\"abcdef", 8);
  doc.append("\"\n}\n");
  EXPECT_EQ("{\n\"v\":7,\t\"f\":\"1.500 V\",\n\"s\":\"x\",\n\"t\":\"a\"\n}\n", doc.text());
  doc.close();
  EXPECT_FALSE(doc.isOpen());
  EXPECT_EQ("{\n\"v\":7,\t\"f\":\"1.500 V\",\n\"s\":\"x\",\n\"t\":\"a\"\n}\n",
            testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, NewFileAppearsWholeAtClose) {
  TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.append("text");
  EXPECT_FALSE(testsupport::fileExists(dir.file("a.json")));
  doc.close();
  EXPECT_EQ("text", testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, SymlinkAtThePathIsReplacedAndItsTargetKept) {
  TempDir dir;
  testsupport::writeFile(dir.file("target"), "target text\n");
  ASSERT_EQ(0, symlink(dir.file("target").c_str(), dir.file("a.json").c_str()));
  DocumentFile doc;
  ASSERT_TRUE(writeDocumentCycle(doc, dir.file("a.json"), "doc\n"));
  struct stat status;
  ASSERT_EQ(0, lstat(dir.file("a.json").c_str(), &status));
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(0644u, status.st_mode & 07777);
  EXPECT_EQ("doc\n", testsupport::readFile(dir.file("a.json")));
  EXPECT_EQ("target text\n", testsupport::readFile(dir.file("target")));
}

TEST(DocumentFile, ReaderHoldingTheOldDocumentKeepsItWhole) {
  TempDir dir;
  const std::string path = existingDocument(dir, "{\"old\":1}\n");
  FILE* reader = fopen(path.c_str(), "r");
  ASSERT_NE(nullptr, reader);
  DocumentFile doc;
  ASSERT_TRUE(writeDocumentCycle(doc, path, "{}\n"));
  char line[64] = {};
  ASSERT_NE(nullptr, fgets(line, sizeof line, reader));
  fclose(reader);
  EXPECT_STREQ("{\"old\":1}\n", line);
  EXPECT_EQ("{}\n", testsupport::readFile(path));
}

TEST(DocumentFile, UnwritableDirectoryIsSkipped) {
  if (geteuid() == 0) GTEST_SKIP() << "root writes into any directory";
  TempDir dir;
  testsupport::makeDirs(dir.file("ro"));
  ASSERT_EQ(0, chmod(dir.file("ro").c_str(), 0555));
  DocumentFile doc;
  EXPECT_FALSE(doc.open(dir.file("ro/a.json").c_str()));
  chmod(dir.file("ro").c_str(), 0755);
}

TEST(DocumentFile, PreviousTextStaysUntilClose) {
  TempDir dir;
  const std::string path = existingDocument(dir, "{\"old\":1}\n");
  DocumentFile doc;
  ASSERT_TRUE(doc.open(path.c_str()));
  doc.append("{\"new\":2}\n");
  EXPECT_EQ("{\"old\":1}\n", testsupport::readFile(path));
  doc.close();
  EXPECT_EQ("{\"new\":2}\n", testsupport::readFile(path));
}

TEST(DocumentFile, DocumentLeftOpenKeepsItsPreviousText) {
  TempDir dir;
  const std::string path = existingDocument(dir, "previous\n");
  {
    DocumentFile doc;
    ASSERT_TRUE(doc.open(path.c_str()));
    doc.append("never written");
  }
  EXPECT_EQ("previous\n", testsupport::readFile(path));
}

TEST(DocumentFile, FifoAtThePathIsSkippedWithoutBlocking) {
  TempDir dir;
  std::string path = dir.file("a.json");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  DocumentFile doc;
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(doc.open(path.c_str()));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_FALSE(doc.isOpen());
  doc.append("ignored");
  doc.close();
  struct stat status;
  ASSERT_EQ(0, lstat(path.c_str(), &status));
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST(DocumentFile, DirectoryAtThePathIsSkipped) {
  TempDir dir;
  testsupport::makeDirs(dir.file("a.json"));
  DocumentFile doc;
  EXPECT_FALSE(doc.open(dir.file("a.json").c_str()));
  EXPECT_FALSE(doc.isOpen());
}

TEST(DocumentFile, DeviceAtThePathIsSkippedAndLeftAlone) {
  DocumentFile doc;
  EXPECT_FALSE(doc.open("/dev/null"));
  EXPECT_FALSE(doc.isOpen());
}

// Writes beyond a file-size limit fail with EFBIG (SIGXFSZ ignored): a stand-in
// for a full disk that needs no mount. The limit also holds for the log file,
// which stays far below it.
class DocumentWriteFailure : public ::testing::Test {
 protected:
  void SetUp() override {
    previousHandler_ = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &saved_));
  }
  void TearDown() override {
    setrlimit(RLIMIT_FSIZE, &saved_);
    signal(SIGXFSZ, previousHandler_);
  }
  void limitFileSize(rlim_t bytes) {
    struct rlimit limit = saved_;
    limit.rlim_cur = bytes;
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
  }
  void liftLimit() { ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &saved_)); }
  void writeCycle(DocumentFile& doc, const std::string& text) { writeCycleAt(doc, docPath_, text); }
  void writeCycleAt(DocumentFile& doc, const std::string& path, const std::string& text) {
    ASSERT_TRUE(writeDocumentCycle(doc, path, text));
  }
  std::string logText() { return log_.text(); }

  TempDir dir_;
  std::string docPath_ = dir_.file("a.json");
  testsupport::RuntimeLogScope log_{dir_.file("log.txt"), "livedata_update_runtime"};
  struct rlimit saved_ = {};
  void (*previousHandler_)(int) = SIG_DFL;
};

TEST_F(DocumentWriteFailure, LoggedOnceWhenFailingStartsAndOnceWhenItEnds) {
  DocumentFile doc;
  std::string big(100000, 'b');
  limitFileSize(65536);
  writeCycle(doc, big);
  EXPECT_TRUE(doc.isFailing());
  writeCycle(doc, big);
  writeCycle(doc, big);
  const std::string failed = "livedata_update_runtime <3>: DocumentFile write failed, error=" +
                             std::to_string(EFBIG) + " EFBIG, previous document kept: " + docPath_ + "\n";
  EXPECT_EQ(failed, logText());
  liftLimit();
  writeCycle(doc, big);
  EXPECT_FALSE(doc.isFailing());
  EXPECT_EQ(big, testsupport::readFile(docPath_));
  writeCycle(doc, "small\n");
  EXPECT_EQ(failed + "livedata_update_runtime <3>: DocumentFile written again: " + docPath_ + "\n",
            logText());
  EXPECT_EQ("small\n", testsupport::readFile(docPath_));
}

TEST_F(DocumentWriteFailure, SuccessfulWritesLogNothing) {
  DocumentFile doc;
  writeCycle(doc, "one\n");
  writeCycle(doc, "two\n");
  EXPECT_FALSE(doc.isFailing());
  EXPECT_EQ("", logText());
}

TEST_F(DocumentWriteFailure, DirectoryRemovedDuringTheWriteSkipsTheCycleSilently) {
  const std::string folder = dir_.file("out");
  testsupport::makeDirs(folder);
  const std::string path = folder + "/a.json";
  DocumentFile doc;
  ASSERT_TRUE(doc.open(path.c_str()));
  doc.append("lost\n");
  testsupport::removeTree(folder);
  doc.close();
  EXPECT_FALSE(doc.isFailing());
  EXPECT_EQ("", logText());
  testsupport::makeDirs(folder);
  writeCycleAt(doc, path, "back\n");
  EXPECT_EQ("back\n", testsupport::readFile(path));
  EXPECT_EQ("", logText());
}

TEST(DocumentFile, ReopeningTruncates) {
  TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.append(std::string(5000, 'x').c_str());
  doc.close();
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  EXPECT_EQ("", doc.text());
  doc.append("short\n");
  doc.close();
  EXPECT_EQ("short\n", testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, LongFormattedLineIsKeptWhole) {
  TempDir dir;
  DocumentFile doc;
  std::string big(3000, 'q');
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.printf("<%s>%d", big.c_str(), 42);
  doc.close();
  EXPECT_EQ("<" + big + ">42", testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, TimestampFollowsTheGlobalLayout) {
  TempDir dir;
  DocumentFile doc;
  ZUL_TIMESTAMP_8B_STRUCT ts = {20, 22, 10, 5, 19, 3, 30, 0};
  int saved = timestamp_print_out_format;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  timestamp_print_out_format = 0;
  doc.timestamp(ts);
  doc.append("|");
  timestamp_print_out_format = 1;
  doc.timestamp(ts);
  timestamp_print_out_format = saved;
  doc.close();
  EXPECT_EQ("2022-10-05 19:03:30|10/05/2022 19:03:30", testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, UnopenablePathIsSkipped) {
  TempDir dir;
  DocumentFile doc;
  std::string path = dir.file("missing/dir/a.json");
  EXPECT_FALSE(doc.open(path.c_str()));
  EXPECT_FALSE(doc.isOpen());
  doc.append("ignored");
  doc.close();  // nothing to do
  EXPECT_FALSE(testsupport::fileExists(path));
}

TEST(DocumentFile, ExistingFileKeepsNothingOfItsOldText) {
  TempDir dir;
  testsupport::writeFile(dir.file("a.json"), "old old old old\n");
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.append("new\n");
  doc.close();
  EXPECT_EQ("new\n", testsupport::readFile(dir.file("a.json")));
}

TEST(DocumentFile, FileGetsItsDirectorysOwner) {
  TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.close();
  struct stat file, parent;
  ASSERT_EQ(0, stat(dir.file("a.json").c_str(), &file));
  ASSERT_EQ(0, stat(dir.path().c_str(), &parent));
  EXPECT_EQ(parent.st_uid, file.st_uid);
  EXPECT_EQ(parent.st_gid, file.st_gid);
}

}  // namespace

namespace {

TEST(JsonDirectoryTest, IsTheWebServersJsonDirectory) {
  EXPECT_STREQ("/home/korvo.web/lighttpd/www/htdocs/common_ui/json/", kJsonDirectory);
}

}  // namespace

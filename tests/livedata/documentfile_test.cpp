// DocumentFile: one document rewritten whole per cycle, skipped when unopenable.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "livedata/DocumentFile.h"
#include "livedata/Globals.h"
#include "livedata/JsonDirectory.h"
#include "tests/support/TempDir.h"

using testsupport::TempDir;

namespace {

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

TEST(DocumentFile, NothingIsWrittenBeforeClose) {
  TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.append("text");
  // "w+": created and empty right away.
  EXPECT_EQ("", testsupport::readFile(dir.file("a.json")));
  doc.close();
  EXPECT_EQ("text", testsupport::readFile(dir.file("a.json")));
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

// The host log exporter: the log item catalogue shipped as data and embedded
// into the platform library, lookups by item and sub id, the LOG_ITEM_CATALOG
// replacement file, and the limit record filler.
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "hoststore/LogItemCatalog.h"
#include "platform/logexporter.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace {

class LogExporterTest : public ::testing::Test {
 protected:
  void SetUp() override { unsetenv("LOG_ITEM_CATALOG"); }
  void TearDown() override { unsetenv("LOG_ITEM_CATALOG"); }
  testsupport::TempDir dir_;
};

// Looks up an item and checks the whole record: ids, zero padding after the name.
void expectItem(unsigned short id, unsigned char subId, const std::string& name) {
  LOG_ITEM_INFO info;
  memset(&info, 0x5A, sizeof(info));
  ASSERT_LE(0, getLogItemInfo_map(id, subId, &info)) << id << " " << int(subId);
  EXPECT_EQ(id, info.item_id);
  EXPECT_EQ(subId, info.sub_id);
  EXPECT_EQ(0, info.reserved);
  EXPECT_EQ(name + std::string(80 - name.size(), '\0'), std::string(info.name, 80));
}

void expectUnknown(unsigned short id, unsigned char subId) {
  LOG_ITEM_INFO info;
  memset(&info, 0x5A, sizeof(info));
  LOG_ITEM_INFO before = info;
  EXPECT_GT(0, getLogItemInfo_map(id, subId, &info)) << id << " " << int(subId);
  EXPECT_EQ(0, memcmp(&before, &info, sizeof(info)));
}

TEST_F(LogExporterTest, EmbeddedCatalogueEqualsTheDataFile) {
  EXPECT_EQ(testsupport::readFile(testsupport::sourcePath("data/log_items.catalog")),
            std::string(dmhost::kEmbeddedLogItemCatalog));
}

TEST_F(LogExporterTest, ShippedCatalogueParses) {
  dmhost::LogItemCatalog catalog;
  ASSERT_TRUE(testsupport::IsOk(
      catalog.parse(testsupport::readFile(testsupport::sourcePath("data/log_items.catalog")),
                    "log_items.catalog")));
  EXPECT_LE(50u, catalog.items().size());
}

TEST_F(LogExporterTest, KnowsTheMetersQuantities) {
  expectItem(1, 1, "Volts AN");
  expectItem(1, 2, "Volts BN");
  expectItem(1, 3, "Volts CN");
  expectItem(2, 1, "Volts AB");
  expectItem(3, 1, "Amps A");
  expectItem(3, 4, "Amps N");
  expectItem(4, 5, "Watts Total");
  expectItem(5, 5, "VARs Total");
  expectItem(6, 5, "VA Total");
  expectItem(7, 5, "PF Total");
  expectItem(8, 1, "Frequency");
  expectItem(9, 1, "Volts AN %THD");
  expectItem(10, 1, "Amps A %THD");
  expectItem(11, 1, "Pst AN");
  expectItem(12, 3, "Plt CN");
}

TEST_F(LogExporterTest, UnknownItemsFailAndLeaveTheRecordAlone) {
  expectUnknown(0, 0);
  expectUnknown(0, 1);
  expectUnknown(1, 0);
  expectUnknown(1, 99);
  expectUnknown(999, 1);
  expectUnknown(0xFFFF, 1);
  EXPECT_GT(0, getLogItemInfo_map(1, 1, nullptr));
}

TEST_F(LogExporterTest, ReplacementCatalogueFromTheEnvironment) {
  std::string path = dir_.file("items.catalog");
  testsupport::writeFile(path, "# two items\n\n7 0 Custom zero\r\n65534 255 Last one\n");
  setenv("LOG_ITEM_CATALOG", path.c_str(), 1);
  expectItem(7, 0, "Custom zero");
  expectItem(65534, 255, "Last one");
  expectUnknown(1, 1);  // the shipped items are not consulted
  unsetenv("LOG_ITEM_CATALOG");
  expectItem(1, 1, "Volts AN");
  setenv("LOG_ITEM_CATALOG", "", 1);  // empty: the shipped catalogue
  expectItem(1, 1, "Volts AN");
}

TEST_F(LogExporterTest, UnreadableReplacementIsReportedOnceAndFindsNothing) {
  std::string path = dir_.file("missing.catalog");
  setenv("LOG_ITEM_CATALOG", path.c_str(), 1);
  testsupport::StreamCapture err(2);
  expectUnknown(1, 1);
  expectUnknown(8, 1);
  EXPECT_EQ("log item catalogue " + path + ": cannot read the file\n", err.finish());
}

TEST_F(LogExporterTest, MalformedReplacementNamesFileAndLine) {
  std::string path = dir_.file("bad.catalog");
  testsupport::writeFile(path, "# comment\n1 1 Volts AN\n2 x Volts AB\n");
  setenv("LOG_ITEM_CATALOG", path.c_str(), 1);
  testsupport::StreamCapture err(2);
  expectUnknown(1, 1);
  EXPECT_EQ("log item catalogue " + path + ":3: sub id must be a decimal number 0..255\n",
            err.finish());
}

TEST(LogItemCatalogTest, RejectsBadLines) {
  struct Case {
    const char* text;
    const char* error;
  } cases[] = {
      {"0 1 Zero id\n", "t:1: item id must be a decimal number 1..65534"},
      {"65535 1 No item\n", "t:1: item id must be a decimal number 1..65534"},
      {"x 1 Name\n", "t:1: item id must be a decimal number 1..65534"},
      {"1\t1 Name\n", "t:1: expected a blank after the item id"},
      {"1 256 Name\n", "t:1: sub id must be a decimal number 0..255"},
      {"1 1\n", "t:1: expected a blank and a name after the sub id"},
      {"1 1 \n", "t:1: expected a blank and a name after the sub id"},
      {"1 1x\n", "t:1: expected a blank and a name after the sub id"},
      {"\n#\n1 1 A\n1 1 B\n", "t:4: item 1 1 listed twice"},
  };
  for (const Case& c : cases) {
    dmhost::LogItemCatalog catalog;
    EXPECT_EQ(c.error, catalog.parse(c.text, "t").message()) << c.text;
    EXPECT_TRUE(catalog.items().empty());
  }
}

TEST(LogItemCatalogTest, NamesUpToSeventyNineBytesKeepEveryByte) {
  dmhost::LogItemCatalog catalog;
  std::string longest(79, 'n');
  ASSERT_TRUE(testsupport::IsOk(catalog.parse("3 2 " + longest + "\n4 1  two  blanks  ", "t")));
  ASSERT_NE(nullptr, catalog.find(3, 2));
  EXPECT_EQ(longest, catalog.find(3, 2)->name);
  ASSERT_NE(nullptr, catalog.find(4, 1));
  EXPECT_EQ(" two  blanks  ", catalog.find(4, 1)->name);
  EXPECT_EQ(nullptr, catalog.find(3, 1));
  EXPECT_EQ("t:1: name longer than 79 bytes",
            catalog.parse("3 2 " + longest + "n\n", "t").message());
  EXPECT_EQ("t:1: name holds a NUL byte",
            catalog.parse(std::string("3 2 a\0b\n", 8), "t").message());
}

// Limit records: the name at names + 80 * i goes to byte 24, nothing else moves.
class LimitRecordTest : public ::testing::Test {
 protected:
  LimitRecordTest() : names_(80 * 32, '\0') { memset(record_, 0xEE, sizeof(record_)); }
  void setName(int i, const std::string& bytes) { names_.replace(80 * i, bytes.size(), bytes); }
  std::string record() const { return std::string(reinterpret_cast<const char*>(record_), 104); }

  std::string names_;
  unsigned char record_[104];
};

TEST_F(LimitRecordTest, CopiesTheNameToByteTwentyFour) {
  setName(4, "Volts AN");
  setName(5, "Amps A");
  EXPECT_EQ(0, query_limit_alarm_item_info(5, names_.data(), record_));
  EXPECT_EQ(std::string(24, '\xEE') + "Amps A" + std::string(1, '\0') + std::string(73, '\xEE'),
            record());
}

TEST_F(LimitRecordTest, LongNamesAreCutToSeventyNineBytes) {
  setName(31, std::string(80, 'Q'));
  EXPECT_EQ(0, query_limit_alarm_item_info(31, names_.data(), record_));
  EXPECT_EQ(std::string(24, '\xEE') + std::string(79, 'Q') + std::string(1, '\0'), record());
}

TEST_F(LimitRecordTest, EmptyNameGivesAnEmptyLabel) {
  EXPECT_EQ(0, query_limit_alarm_item_info(0, names_.data(), record_));
  EXPECT_EQ(std::string(24, '\xEE') + std::string(1, '\0') + std::string(79, '\xEE'), record());
}

TEST_F(LimitRecordTest, RefusesLimitsOutsideTheTable) {
  const std::string before = record();
  EXPECT_GT(0, query_limit_alarm_item_info(-1, names_.data(), record_));
  EXPECT_GT(0, query_limit_alarm_item_info(32, names_.data(), record_));
  EXPECT_GT(0, query_limit_alarm_item_info(0, nullptr, record_));
  EXPECT_GT(0, query_limit_alarm_item_info(0, names_.data(), nullptr));
  EXPECT_EQ(before, record());
}

TEST(LimitRecordLayoutTest, RecordIsOneHundredFourBytesWithTheLabelAtTwentyFour) {
  EXPECT_EQ(104u, sizeof(LIMIT_ALARM_CONFIG_ITEM_INFO));
  EXPECT_EQ(24u, offsetof(LIMIT_ALARM_CONFIG_ITEM_INFO, label));
  EXPECT_EQ(80u, sizeof(LOG_ITEM_INFO::name));
}

}  // namespace

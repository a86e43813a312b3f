// Limit labels of the device profile label document, read through a real host
// datamap: log item ids in user block 18, names in user block 19, and the log
// item catalogue.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "profile/ProfileLabel.h"
#include "tests/profile/profile_helpers.h"
#include "tests/support/MapFixture.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace {

using profiletest::ExpectedLabels;
using profiletest::SettingsImage;
using testsupport::readFile;

class ProfileLimitsTest : public ::testing::Test {
 protected:
  ProfileLimitsTest() : map_("sys.enumeration.hookup uint16 0\n") {}

  void SetUp() override {
    ProfileLabel::resetLimitTableForTesting();
    unsetenv("LOG_ITEM_CATALOG");
    settingsPath_ = dir_.file("kv7720.kps");
    outputPath_ = dir_.file("device_profile_label.json");
    SettingsImage settings;
    settings.put(profiletest::kDirectionFlag, "\x01");
    settings.save(settingsPath_);
  }
  void TearDown() override {
    unsetenv("LOG_ITEM_CATALOG");
    ProfileLabel::resetLimitTableForTesting();
  }

  int run() { return ProfileLabel::print_profile_label(settingsPath_.c_str(), outputPath_.c_str()); }

  // Expects the written document to hold the given limit labels (by slot,
  // already escaped) and every other label empty.
  void expectLimitLabels(const std::map<int, std::string>& limits) {
    ExpectedLabels labels;
    for (const auto& [slot, text] : limits) labels.limits[slot] = text;
    EXPECT_EQ(profiletest::expectedDocument(labels), readFile(outputPath_));
  }

  // Limit i watches log item (id, subId): native 16-bit id, 8-bit sub id.
  void setLimitItem(int i, uint16_t id, uint8_t subId) {
    map_.writeBlock(18, profiletest::kLimitIds + 2 * static_cast<size_t>(i), &id, sizeof(id));
    map_.writeBlock(18, profiletest::kLimitSubIds + static_cast<size_t>(i), &subId, 1);
  }
  // Bit i of the native 32-bit word, counted from the most significant bit.
  void setEnabled(uint32_t word) {
    map_.writeBlock(18, profiletest::kLimitEnableWord, &word, sizeof(word));
  }
  // The 80-byte name slot of limit i in block 19.
  void setNameSlot(int i, const std::string& bytes) {
    map_.writeBlock(19, profiletest::kLimitNames + 80 * static_cast<size_t>(i), bytes);
  }
  std::string nameSlot(int i) {
    std::string bytes;
    EXPECT_TRUE(testsupport::IsOk(map_.writer().readBlock(
        19, profiletest::kLimitNames + 80 * static_cast<size_t>(i), 80, &bytes)));
    return bytes;
  }

  testsupport::TempDir dir_;
  testsupport::MapFixture map_;
  std::string settingsPath_;
  std::string outputPath_;
};

std::string padded(const std::string& name) { return name + std::string(80 - name.size(), '\0'); }

TEST_F(ProfileLimitsTest, EnabledLimitsShowTheirLogItemNames) {
  setLimitItem(0, 1, 1);        // Volts AN, enabled
  setLimitItem(1, 8, 1);        // Frequency, enabled
  setLimitItem(2, 3, 4);        // Amps N, disabled
  setLimitItem(3, 999, 1);      // unknown item, enabled: keeps the earlier name
  setNameSlot(3, padded("Earlier name"));
  setLimitItem(4, 0xFFFF, 7);   // no item, enabled: the block's own name
  setNameSlot(4, padded("Meter own"));
  setLimitItem(5, 0, 0);        // no item either
  setNameSlot(5, padded("Zero item"));
  setLimitItem(6, 10, 2);       // Amps B %THD, disabled
  setLimitItem(30, 14, 7);      // VA Total Demand, enabled
  setLimitItem(31, 9, 13);      // Volts CA %THD, enabled
  // Limits 0, 1, 3, 4, 5, 30 and 31.
  setEnabled(0x80000000u | 0x40000000u | 0x10000000u | 0x08000000u | 0x04000000u | 0x2u | 0x1u);

  ASSERT_EQ(0, run());
  EXPECT_TRUE(ProfileLabel::print_profile_label_initialized);
  expectLimitLabels({{0, "Volts AN"},
                     {1, "Frequency"},
                     {3, "Earlier name"},
                     {4, "Meter own"},
                     {5, "Zero item"},
                     {30, "VA Total Demand"},
                     {31, "Volts CA %THD"}});

  // Every known item's name went to block 19, enabled or not; the others stay.
  EXPECT_EQ(padded("Volts AN"), nameSlot(0));
  EXPECT_EQ(padded("Frequency"), nameSlot(1));
  EXPECT_EQ(padded("Amps N"), nameSlot(2));
  EXPECT_EQ(padded("Earlier name"), nameSlot(3));
  EXPECT_EQ(padded("Meter own"), nameSlot(4));
  EXPECT_EQ(padded("Zero item"), nameSlot(5));
  EXPECT_EQ(padded("Amps B %THD"), nameSlot(6));
  EXPECT_EQ(padded(""), nameSlot(7));
  EXPECT_EQ(padded("VA Total Demand"), nameSlot(30));
  EXPECT_EQ(padded("Volts CA %THD"), nameSlot(31));
}

TEST_F(ProfileLimitsTest, EnableBitsCountFromTheMostSignificantBit) {
  for (int i = 0; i < 32; ++i) setLimitItem(i, 3, 1);  // all Amps A
  setEnabled(0x00000001u | 0x00010000u);                // limits 31 and 15
  ASSERT_EQ(0, run());
  expectLimitLabels({{15, "Amps A"}, {31, "Amps A"}});
}

TEST_F(ProfileLimitsTest, NamesAreCutToSeventyNineBytesAndPrintedUntrimmedAndEscaped) {
  std::string catalog = dir_.file("items.catalog");
  testsupport::writeFile(catalog, "# test items\n"
                                  "100 1 " + std::string(79, 'N') + "\n"
                                  "100 2 Amps \"A\" \\ peak\n"
                                  "100 3 Trailing  \n"
                                  "100 4 Tab\there\n");
  setenv("LOG_ITEM_CATALOG", catalog.c_str(), 1);
  setLimitItem(0, 0xFFFF, 0);
  // 80 bytes without a terminator, followed by the next slot's text.
  setNameSlot(0, std::string(80, 'L'));
  setNameSlot(1, padded("Next slot"));
  setLimitItem(1, 0xFFFF, 0);
  setLimitItem(2, 100, 1);
  setLimitItem(3, 100, 2);
  setLimitItem(4, 100, 3);
  setLimitItem(5, 100, 4);
  setLimitItem(6, 1, 1);  // not in the replacement catalogue
  setEnabled(0xFE000000u);  // limits 0..6
  testsupport::StreamCapture err(2);
  ASSERT_EQ(0, run());
  EXPECT_EQ("", err.finish());
  expectLimitLabels({{0, std::string(79, 'L')},
                     {1, "Next slot"},
                     {2, std::string(79, 'N')},
                     {3, "Amps \\\"A\\\" \\\\ peak"},
                     {4, "Trailing  "},
                     {5, "Tab\\there"},
                     {6, ""}});
}

TEST_F(ProfileLimitsTest, TableIsFilledOncePerProcess) {
  setLimitItem(0, 1, 2);  // Volts BN
  setEnabled(0x80000000u);
  ASSERT_EQ(0, run());
  expectLimitLabels({{0, "Volts BN"}});

  // Later documents reuse the table although the datamap changed.
  setLimitItem(0, 1, 3);  // Volts CN
  setLimitItem(1, 8, 1);
  setEnabled(0xC0000000u);
  ASSERT_EQ(0, run());
  expectLimitLabels({{0, "Volts BN"}});

  ProfileLabel::resetLimitTableForTesting();
  ASSERT_EQ(0, run());
  expectLimitLabels({{0, "Volts CN"}, {1, "Frequency"}});
}

TEST_F(ProfileLimitsTest, InitializationReturnsTheCloseStatus) {
  setLimitItem(2, 2, 1);  // Volts AB
  setEnabled(0x20000000u);
  EXPECT_EQ(0, ProfileLabel::print_profile_label_initialization());
  EXPECT_TRUE(ProfileLabel::print_profile_label_initialized);
  EXPECT_STREQ("Volts AB", ProfileLabel::limit_alarm_config_item_info[2].label);
  EXPECT_STREQ("", ProfileLabel::limit_alarm_config_item_info[1].label);
  // The document then uses the table as it stands.
  ASSERT_EQ(0, run());
  expectLimitLabels({{2, "Volts AB"}});
}

TEST_F(ProfileLimitsTest, NoDocumentMeansNoLimitLookup) {
  setLimitItem(0, 1, 1);
  setEnabled(0x80000000u);
  outputPath_ = dir_.file("missing/device_profile_label.json");
  ASSERT_EQ(0, run());
  EXPECT_FALSE(ProfileLabel::print_profile_label_initialized);
  EXPECT_EQ(padded(""), nameSlot(0));
}

TEST_F(ProfileLimitsTest, MissingDatamapLeavesEveryLimitEmpty) {
  setLimitItem(0, 1, 1);
  setEnabled(0x80000000u);
  setenv("DATAMAP_FILE", dir_.file("elsewhere/datamap").c_str(), 1);
  ASSERT_EQ(0, run());
  EXPECT_FALSE(ProfileLabel::print_profile_label_initialized);
  EXPECT_EQ(profiletest::expectedDocument(ExpectedLabels()), readFile(outputPath_));
}

}  // namespace

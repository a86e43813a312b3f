// Texts of the shared block 1 that lost their NUL: each is printed up to the
// end of its own 20-byte field, never into the next field, and a block with no
// NUL at all is never read past its end.
#include <string>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "platform/meter_blocks.h"
#include "tests/updaters/UpdaterFixture.h"
#include "tests/updaters/energy_test_data.h"
#include "updaters/EnergyUpdate.h"

namespace {

using updatertest::UpdaterFixture;

class BlockTextAttack : public UpdaterFixture<EnergyUpdate> {
 protected:
  BlockTextAttack() : UpdaterFixture("energy_data.json", energy_test::catalog()) {}
};

// The document's text arrays, between `"NAME":[` and the line's end.
std::string arrayOf(const std::string& document, const std::string& name) {
  size_t start = document.find("\"" + name + "\":[");
  if (start == std::string::npos) return "";
  size_t end = document.find('\n', start);
  return document.substr(start, end - start);
}

TEST_F(BlockTextAttack, ABlockWithoutAnyNulPrintsEachFieldWholeAndNoMore) {
  EXPECT_EQ("", start());
  map_->writeBlock(meter_blocks::kTextBlock, 0, std::string(dmhost::kBlockSize, 'A'));
  const std::string field(meter_blocks::kTextFieldSize, 'A');
  const std::string document = cycle();
  EXPECT_EQ("\"accumulators\":[\"" + field + "\",\"" + field + "\",\"" + field + "\",\"" + field +
                "\",\"" + field + "\",\"" + field + "\",\"" + field + "\",\"" + field + "\"],",
            arrayOf(document, "accumulators"));
  EXPECT_EQ("\"aggregators\":[\"" + field + "\",\"" + field + "\",\"" + field + "\",\"" + field +
                "\"],",
            arrayOf(document, "aggregators"));
  EXPECT_LT(document.size(), 8000u);
}

TEST_F(BlockTextAttack, AFieldWithoutItsNulStopsAtTheNextField) {
  EXPECT_EQ("", start());
  energy_test::writeBlockTexts(*map_);
  const size_t first = meter_blocks::textField(meter_blocks::kQhrTexts, 0);
  // Qh Neg fills its whole field; Qh Pos, the next field, keeps its text.
  map_->writeBlock(meter_blocks::kTextBlock, first, std::string(meter_blocks::kTextFieldSize, 'N'));
  const std::string document = cycle();
  const std::string pos = "T" + std::to_string(meter_blocks::textField(meter_blocks::kQhrTexts, 1));
  EXPECT_EQ("\"qhrblock\":[\"" + pos + "\",\"1.500 M\",\"" +
                std::string(meter_blocks::kTextFieldSize, 'N') + "\",\"2.250 M\"],",
            arrayOf(document, "qhrblock"))
      << document;
}

}  // namespace

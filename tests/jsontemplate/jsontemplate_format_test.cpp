// Attribute sets: parsing, comparison, and their effect on the output through
// the stream rules (notation, precision, width, fill, adjustment).
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "jsontemplate/JsonTemplate.h"
#include "jsontemplate/JsonTemplateFieldFormat.h"
#include "tests/jsontemplate/JsonTemplateTestHelpers.h"

namespace {

using jttest::processOnce;

typedef JsonTemplateFieldFormat Fmt;

void fill(std::string (&values)[Fmt::kAttributeCount], std::initializer_list<const char*> texts) {
  int i = 0;
  for (const char* text : texts) values[i++] = text;
}

// The attribute set of texts, given in attribute order.
std::unique_ptr<Fmt> formatOf(std::initializer_list<const char*> texts) {
  std::string values[Fmt::kAttributeCount];
  fill(values, texts);
  return std::make_unique<Fmt>(values);
}

TEST(JsonTemplateFieldFormat, DefaultConstructorHasEmptyTextsAndDefaultNumbers) {
  Fmt format;
  for (int i = 0; i < Fmt::kAttributeCount; ++i) EXPECT_TRUE(format.text(i).empty()) << i;
  EXPECT_EQ(1.0, format.scale);
  EXPECT_EQ(3, format.precision);
  EXPECT_EQ(20, format.width);
}

TEST(JsonTemplateFieldFormat, ParsesNumbersLikeTheCLibrary) {
  std::string values[Fmt::kAttributeCount];
  fill(values, {"k", "", "", "0.5", "fixed", "abc", "", "12x", "", ""});
  Fmt format(values);
  EXPECT_EQ(0.5, format.scale);
  EXPECT_EQ(0, format.precision);  // "abc" parses to 0
  EXPECT_EQ(12, format.width);     // strtol stops at 'x'
  EXPECT_EQ("k", format.text(Fmt::kName));

  std::string other[Fmt::kAttributeCount];
  fill(other, {"n", "", "", "x", "", "7", "", "", "", ""});
  format.setJsonTemplateFieldFormat(other);
  EXPECT_EQ(0.0, format.scale);
  EXPECT_EQ(7, format.precision);
  EXPECT_EQ(0, format.width);  // empty text parses to 0
  EXPECT_EQ("n", format.text(Fmt::kName));
}

TEST(JsonTemplateFieldFormat, EqualsIgnoresNameAndValidityKey) {
  const auto fa = formatOf({"one", "~", "key.a", "1.0", "fixed", "3", "", "20", "", "left"});
  const auto fb = formatOf({"two", "~", "key.b", "1.0", "fixed", "3", "", "20", "", "left"});
  EXPECT_TRUE(fa->equals(fb.get()));
  EXPECT_TRUE(fb->equals(fa.get()));
  EXPECT_FALSE(fa->equals(nullptr));
}

TEST(JsonTemplateFieldFormat, EqualsNeedsIdenticalFirstCharacters) {
  const auto lower = formatOf({"", "", "", "", "fixed", "", "", "", "", ""});
  const auto capital = formatOf({"", "", "", "", "Fixed", "", "", "", "", ""});
  EXPECT_FALSE(lower->equals(capital.get()));
  const auto mixed = formatOf({"", "", "", "", "fIXED", "", "", "", "", ""});
  EXPECT_TRUE(lower->equals(mixed.get()));
  EXPECT_TRUE(mixed->equals(lower.get()));
}

TEST(JsonTemplateFieldFormat, EqualsComparesEveryOtherAttribute) {
  for (int index : {1, 3, 4, 5, 6, 7, 8, 9}) {
    std::string a[Fmt::kAttributeCount];
    std::string b[Fmt::kAttributeCount];
    a[index] = "x";
    Fmt fa(a), fb(b);
    EXPECT_FALSE(fa.equals(&fb)) << index;  // "x" against empty
    b[index] = "y";
    Fmt fc(b);
    EXPECT_FALSE(fa.equals(&fc)) << index;
  }
}

class FormatOutput : public ::testing::Test {
 protected:
  FormatOutput() : map_(jttest::kCatalog) {}
  std::string run(const std::string& text, std::string* err = nullptr) {
    return processOnce(map_, text, err);
  }
  testsupport::MapFixture map_;
};

TEST_F(FormatOutput, NoAttributesUsesStreamNotationAndDefaultWidth) {
  // Six significant digits, padded to the default width 20.
  EXPECT_EQ("[             3.14159]\n", run("[<?key \"name\"=\"t.f64\"?>]\n"));
}

TEST_F(FormatOutput, OwnFormatDefaultsToFixedWithDefaultPrecision) {
  EXPECT_EQ("3.142\n", run("<?key \"name\"=\"t.f64\" \"width\"=\"1\"?>\n"));
}

TEST_F(FormatOutput, ScientificNeedsLowercaseFirstLetter) {
  EXPECT_EQ("3.14\n", run("<?key \"name\"=\"t.f64\" \"float\"=\"Scientific\" \"precision\"=\"2\" "
                          "\"width\"=\"1\"?>\n"));
  EXPECT_EQ("3.14e+00\n", run("<?key \"name\"=\"t.f64\" \"float\"=\"sCIENTIFIC\" "
                              "\"precision\"=\"2\" \"width\"=\"1\"?>\n"));
}

TEST_F(FormatOutput, AdjustfieldNeedsLowercaseFirstLetter) {
  EXPECT_EQ("[    1000]\n",
            run("[<?key \"name\"=\"t.u16\" \"width\"=\"8\" \"adjustfield\"=\"Left\"?>]\n"));
  EXPECT_EQ("[1000    ]\n",
            run("[<?key \"name\"=\"t.u16\" \"width\"=\"8\" \"adjustfield\"=\"lEFT\"?>]\n"));
  EXPECT_EQ("[-      7]\n",
            run("[<?key \"name\"=\"t.s16\" \"width\"=\"8\" \"adjustfield\"=\"internal\"?>]\n"));
}

TEST_F(FormatOutput, FieldFillIsIgnored) {
  EXPECT_EQ("[    1000]\n", run("[<?key \"name\"=\"t.u16\" \"width\"=\"8\" \"fill\"=\"0\"?>]\n"));
}

TEST_F(FormatOutput, FillComesFromTheDefaults) {
  EXPECT_EQ("[00001000]\n",
            run("<?key \"name\"=\"!Default Attributes\" \"fill\"=\"0\"?>"
                "[<?key \"name\"=\"t.u16\" \"width\"=\"8\"?>]\n"));
}

TEST_F(FormatOutput, UnparsablePrecisionIsZero) {
  EXPECT_EQ("3\n", run("<?key \"name\"=\"t.f64\" \"precision\"=\"abc\" \"width\"=\"1\"?>\n"));
}

TEST_F(FormatOutput, DefaultsMarkerChangesLaterFields) {
  EXPECT_EQ("[3.14159265e+00][    3.1416e+00]\n",
            run("<?key \"name\"=\"!Default Attributes\" \"float\"=\"scientific\" "
                "\"precision\"=\"8\" \"width\"=\"1\"?>"
                "[<?key \"name\"=\"t.f64\"?>][<?key \"name\"=\"t.f64\" \"precision\"=\"4\" "
                "\"width\"=\"14\"?>]\n"));
}

}  // namespace

// Typed reading and value formatting: scaling, timestamps, validity, read
// errors, internal variables and the cached-stream fast path.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>

#include "jsontemplate/JsonTemplate.h"
#include "livedata/Globals.h"
#include "tests/jsontemplate/JsonTemplateTestHelpers.h"

namespace {

using jttest::CycleResult;
using jttest::TemplateRun;

using Values = jttest::CatalogTest;

TEST_F(Values, Uint16ScaleIsNarrowedToSixteenBits) {
  EXPECT_EQ("500\n", run("<?key \"name\"=\"t.u16\" \"scale\"=\"0.5\" \"width\"=\"1\"?>\n"));
  // 1000 * 100 = 100000 = 0x186A0; the low 16 bits are 0x86A0 = 34464.
  EXPECT_EQ("34464\n", run("<?key \"name\"=\"t.u16\" \"scale\"=\"100\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, Sint16ScaleKeepsLowBitsAsSigned) {
  EXPECT_EQ("-7000\n", run("<?key \"name\"=\"t.s16\" \"scale\"=\"1000\" \"width\"=\"1\"?>\n"));
  map_.set("t.s16", "1000");
  // -100000 = 0xFFFE7960 in 32 bits; low 16 bits 0x7960 = 31072.
  EXPECT_EQ("31072\n", run("<?key \"name\"=\"t.s16\" \"scale\"=\"-100\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, NanProductOfSixteenBitValueIsZero) {
  EXPECT_EQ("0\n", run("<?key \"name\"=\"t.u16\" \"scale\"=\"nan\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, ThirtyTwoBitValuesScaleDirectly) {
  EXPECT_EQ("4000000000\n", run("<?key \"name\"=\"t.u32\" \"scale\"=\"1.0\" \"width\"=\"1\"?>\n"));
  EXPECT_EQ("-50000\n", run("<?key \"name\"=\"t.s32\" \"scale\"=\"0.5\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, SixtyFourBitValuesPassThroughDoubleOnlyWhenScaled) {
  // 2^53 + 1 cannot be held by a double: the scaled first cycle loses the 1;
  // the fast path skips a scale of 1.0 and prints the exact value.
  TemplateRun t(map_, "<?key \"name\"=\"t.u64\" \"scale\"=\"1.0\" \"width\"=\"1\"?>\n");
  CycleResult r = t.cycles(2);
  EXPECT_EQ("9007199254740992\n", r.outputs[0]);
  EXPECT_EQ("9007199254740993\n", r.outputs[1]);
}

TEST_F(Values, SixtyFourBitSignedScales) {
  EXPECT_EQ("-15\n", run("<?key \"name\"=\"t.s64\" \"scale\"=\"3\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, FloatingValuesScaleWithoutRounding) {
  EXPECT_EQ("0.250\n", run("<?key \"name\"=\"t.f32\" \"scale\"=\"0.1\" \"width\"=\"1\"?>\n"));
  EXPECT_EQ("0.31416\n", run("<?key \"name\"=\"t.f64\" \"scale\"=\"0.1\" \"precision\"=\"5\" "
                             "\"width\"=\"1\"?>\n"));
}

TEST_F(Values, FastPathRepeatsTheFirstText) {
  TemplateRun t(map_, "[<?key \"name\"=\"t.u16\" \"scale\"=\"0.5\" \"width\"=\"6\"?>]"
                      "[<?key \"name\"=\"t.f64\"?>]\n");
  CycleResult r = t.cycles(3);
  const std::string expected = "[   500][             3.14159]\n";
  EXPECT_EQ(expected, r.outputs[0]);
  EXPECT_EQ(expected, r.outputs[1]);
  EXPECT_EQ(expected, r.outputs[2]);
  for (JsonTemplateField& field : t.engine().fields()) EXPECT_TRUE(field.hasCachedSS());
  map_.set("t.u16", "2000");
  EXPECT_EQ("[  1000][             3.14159]\n", t.cycles(1).outputs[0]);
}

TEST_F(Values, TimestampWithoutTimeFormat) {
  EXPECT_EQ("[03/05/2026 07:08:09]\n", run("[<?key \"name\"=\"t.ts8\"?>]\n"));
  EXPECT_EQ("[03/05/2026 07:08:09]\n", run("[<?key \"name\"=\"t.ts12\"?>]\n"));
}

TEST_F(Values, TimestampWithTimeFormat) {
  EXPECT_EQ("[07:08]\n", run("[<?key \"name\"=\"t.ts8\" \"timeFormat\"=\"%H:%M\"?>]\n"));
  EXPECT_EQ("[07:08]\n", run("[<?key \"name\"=\"t.ts12\" \"timeFormat\"=\"%H:%M\"?>]\n"));
  // The record's calendar date (year = century * 100 + year, month 1-12).
  EXPECT_EQ("[05.03.2026]\n", run("[<?key \"name\"=\"t.ts8\" \"timeFormat\"=\"%d.%m.%Y\"?>]\n"));
  // timeFormat is kept exactly as written, blanks included.
  EXPECT_EQ("[ 07 ]\n", run("[<?key \"name\"=\"t.ts8\" \"timeFormat\"=\" %H \"?>]\n"));
}

TEST_F(Values, NumericTimeFormatUsesLocalTime) {
  const char* saved = getenv("TZ");
  std::string savedTz = saved != nullptr ? saved : "";
  setenv("TZ", "UTC", 1);
  tzset();
  map_.set("t.u32", "31536000");  // 365 days
  map_.set("t.f64", "86400.9");
  EXPECT_EQ("1971-01-01 00:00:00\n",
            run("<?key \"name\"=\"t.u32\" \"timeFormat\"=\"%Y-%m-%d %H:%M:%S\"?>\n"));
  EXPECT_EQ("1970-01-02 00:00:00\n",
            run("<?key \"name\"=\"t.f64\" \"timeFormat\"=\"%Y-%m-%d %H:%M:%S\"?>\n"));
  if (saved != nullptr) {
    setenv("TZ", savedTz.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST_F(Values, InvalidValuePrintsInvalidTextPaddedToWidth) {
  EXPECT_EQ("[    ~]\n", run("[<?key \"name\"=\"t.u16\" \"isValidKey\"=\"t.bad\" \"width\"=\"5\"?>]\n"));
  EXPECT_EQ("[ 1000]\n", run("[<?key \"name\"=\"t.u16\" \"isValidKey\"=\"t.ok\" \"width\"=\"5\"?>]\n"));
  // isValidInvalidText is not trimmed.
  EXPECT_EQ("[ n/a ]\n", run("[<?key \"name\"=\"t.u16\" \"isValidKey\"=\" t.bad \" "
                             "\"isValidInvalidText\"=\" n/a \" \"width\"=\"2\"?>]\n"));
}

TEST_F(Values, ValidityReadErrorCountsAsInvalid) {
  map_.fail("t.ok", -6);
  std::string err;
  EXPECT_EQ("[    ~]\n", run("[<?key \"name\"=\"t.u16\" \"isValidKey\"=\"t.ok\" \"width\"=\"5\"?>]\n", &err));
  EXPECT_EQ("/t.json : dm_read_boolean error on isValid key \"t.ok\" with error code=-6\n\n", err);
}

TEST_F(Values, UnknownValidityKeyIsReportedAtParseAndRead) {
  std::string err;
  EXPECT_EQ("[    ~]\n", run("[<?key \"name\"=\"t.u16\" \"isValidKey\"=\"no.such\" \"width\"=\"5\"?>]\n", &err));
  EXPECT_EQ("dm_get_info error on isvalid key \"no.such\" with error code= -2\n\n"
            "/t.json : dm_read_boolean error on isValid key \"no.such\" with error code=-3\n\n",
            err);
}

TEST_F(Values, ReadErrorsGiveEmptyTextAndNameTheOperation) {
  struct Case {
    const char* key;
    const char* operation;
  } cases[] = {
      {"t.s16", "dm_read_sint16"},
      {"t.u16", "dm_read_uint16"},
      {"t.s32", "dm_read_sint32"},
      {"t.u32", "dm_read_uint32"},
      {"t.s64", "dm_read_sint64"},
      {"t.u64", "dm_read_uint64"},
      {"t.ts8", "dm_read_zul_timestamp_b8"},
      {"t.ts12", "dm_read_zul_timestamp_b8"},  // the 12-byte reader keeps the 8-byte texts
      {"t.f32", "dm_read_flt32"},
      {"t.f64", "dm_read_flt64"},
      {"t.str16", "dm_read_STRING (16 bytes)"},
      {"t.str32", "dm_read_STRING (32 bytes)"},
      {"t.str64", "dm_read_STRING (64 bytes)"},
      {"t.ok", "dm_read_boolean"},
  };
  for (const Case& c : cases) {
    map_.fail(c.key, -6);
    std::string err;
    EXPECT_EQ("[]\n", run(std::string("[<?key \"name\"=\"") + c.key + "\"?>]\n", &err)) << c.key;
    EXPECT_EQ(std::string("/t.json : ") + c.operation + " error on key \"" + c.key +
                  "\" with error code= -6\n\n",
              err);
    map_.fail(c.key, 0);
  }
}

TEST_F(Values, EveryTypeReads) {
  EXPECT_EQ("-7|1000|-100000|4000000000|-5|2.500|hello|a longer text|mid|1|0\n",
            run("<?key \"name\"=\"t.s16\" \"width\"=\"1\"?>|<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"t.s32\" \"width\"=\"1\"?>|<?key \"name\"=\"t.u32\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"t.s64\" \"width\"=\"1\"?>|<?key \"name\"=\"t.f32\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"t.str16\" \"width\"=\"1\"?>|<?key \"name\"=\"t.str64\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"t.str32\" \"width\"=\"1\"?>|<?key \"name\"=\"t.ok\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"t.bad\" \"width\"=\"1\"?>\n"));
}

TEST_F(Values, ShortStringArrivesTerminated) {
  map_.set("t.str16", "abcdefghijklmno");
  EXPECT_EQ("[abcdefghijklmno]\n", run("[<?key \"name\"=\"t.str16\" \"width\"=\"1\"?>]\n"));
  map_.set("t.str16", "ab");
  EXPECT_EQ("[ab]\n", run("[<?key \"name\"=\"t.str16\" \"width\"=\"1\"?>]\n"));
}

TEST_F(Values, FloatingAliasCodesReadAsDouble) {
  TemplateRun t(map_, "x\n");
  t.cycles(1);  // parses: the engine now holds the handle
  unsigned int index = 0, size = 0, type = 0;
  ASSERT_EQ(0, dm_get_info(&dm, "t.f64", &index, &size, &type));
  for (int code : {8, 12, 16, 21, 22}) {
    JsonTemplateField field("t.f64", 0, 0, static_cast<int>(index), code, -1, 0, nullptr,
                            &t.engine());
    ASSERT_TRUE(field.hasReader()) << code;
    EXPECT_EQ("             3.14159", field.readValue()) << code;
  }
  for (int code : {0, 26, 30, 31, -1, 1000}) {
    JsonTemplateField field("t.f64", 0, 0, static_cast<int>(index), code, -1, 0, nullptr,
                            &t.engine());
    EXPECT_FALSE(field.hasReader()) << code;
    EXPECT_EQ("", field.readValue()) << code;
  }
}

TEST_F(Values, InternalVariablesFormatByTypeCode) {
  short s = -12;
  unsigned short us = 65535;
  int i = -70000;
  unsigned int ui = 4000000000u;
  long long ll = -9000000000LL;
  unsigned long long ull = 9007199254740993ULL;
  ZUL_TIMESTAMP_8B_STRUCT ts8 = {20, 26, 3, 5, 7, 8, 9, 0};
  double d = 2.5;
  float f = 0.25f;
  char text[] = "txt";
  ZUL_TIMESTAMP_12B_STRUCT ts12 = {20, 26, 3, 5, 7, 8, 9, 0, {0, 0, 0, 0}};
  bool b = true;
  double other = 1.0;
  _JsonTemplateInternalVariable vars[] = {
      {1, &s, "s"},      {2, &us, "us"},    {3, &i, "i"},       {4, &ui, "ui"},
      {5, &ll, "ll"},    {6, &ull, "ull"},  {7, &ts8, "ts8"},   {12, &d, "d"},
      {17, &f, "f"},     {19, text, "t"},   {23, &ts12, "ts12"}, {24, &b, "b"},
      {0, &other, "zero"}, {26, &other, "big"}, {18, nullptr, "null"}, {18, &d, "volts"},
  };
  TemplateRun t(map_,
                "<?key \"name\"=\"$s\" \"width\"=\"1\"?>|<?key \"name\"=\"$us\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$i\" \"width\"=\"1\"?>|<?key \"name\"=\"$ui\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$ll\" \"width\"=\"1\"?>|<?key \"name\"=\"$ull\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$ts8\" \"width\"=\"1\"?>|<?key \"name\"=\"$d\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$f\" \"width\"=\"1\"?>|<?key \"name\"=\"$t\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$ts12\" \"width\"=\"1\"?>|<?key \"name\"=\"$b\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$zero\" \"width\"=\"1\"?>|<?key \"name\"=\"$big\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$null\" \"width\"=\"1\"?>|<?key \"name\"=\"$nope\" \"width\"=\"1\"?>|"
                "<?key \"name\"=\"$vOLTS\" \"width\"=\"1\"?>|<?key \"name\"=\"$Volts\" \"width\"=\"1\"?>\n");
  t.init(vars, static_cast<int>(sizeof vars / sizeof vars[0]));
  CycleResult r = t.cycles(2);
  // ull passes through double on the first cycle (scale 1.0 from the defaults).
  EXPECT_EQ("-12|65535|-70000|4000000000|-9000000000|9007199254740992|03/05/2026 07:08:09|"
            "2.500|0.250|txt|03/05/2026 07:08:09|1|||||2.500|\n",
            r.outputs[0]);
  d = 7.125;
  EXPECT_EQ("-12|65535|-70000|4000000000|-9000000000|9007199254740993|03/05/2026 07:08:09|"
            "7.125|0.250|txt|03/05/2026 07:08:09|1|||||7.125|\n",
            t.cycles(1).outputs[0]);
  EXPECT_EQ("", r.err);
}

TEST_F(Values, MissingKeyIsReportedAsUnknownType) {
  TemplateRun t(map_, "[<?key \"name\"=\"no.such\"?>]\n");
  CycleResult r = t.cycles(2);
  EXPECT_EQ("[]\n", r.outputs[0]);
  EXPECT_EQ("[]\n", r.outputs[1]);
  EXPECT_EQ("dm_get_info error on key \"no.such\" with error code= -2\n\n"
            "/t.json : Unknown data type (0) for key \"no.such\"\n\n"
            "/t.json : Unknown data type (0) for key \"no.such\"\n\n",
            r.err);
}

}  // namespace

namespace {

// The fast path of floating values formats without the stream; every setting
// must give the text the stream gave on the first cycle.
TEST_F(Values, FloatingFastPathMatchesTheFirstCycle) {
  const char* const notations[] = {"fixed", "scientific", "general"};
  const char* const adjusts[] = {"", "left", "right", "internal"};
  const char* const values[] = {"3.14159265", "-2.5", "0", "-0.000123456", "1e300", "inf", "-nan",
                                "123456789.987654321"};
  for (const char* value : values) {
    map_.set("t.f64", value);
    for (const char* notation : notations) {
      for (const char* adjust : adjusts) {
        for (const char* precision : {"0", "3", "-1", "17"}) {
          const std::string text =
              std::string("<?key \"name\"=\"!Default Attributes\" \"fill\"=\"*\"?>[<?key \"name\"=\"t.f64\" "
                          "\"float\"=\"") +
              notation + "\" \"precision\"=\"" + precision + "\" \"width\"=\"14\" \"adjustfield\"=\"" +
              adjust + "\"?>][<?key \"name\"=\"t.f32\" \"float\"=\"" + notation +
              "\" \"precision\"=\"" + precision + "\" \"width\"=\"3\"?>]\n";
          TemplateRun t(map_, text);
          CycleResult r = t.cycles(2);
          EXPECT_EQ(r.outputs[0], r.outputs[1]) << value << " " << notation << " " << adjust << " "
                                                << precision;
        }
      }
    }
  }
}

}  // namespace

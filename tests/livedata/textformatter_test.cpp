// TextFormatter: printf's text for the documents' conversions, and refusal of
// everything else (which DocumentFile then formats with vsnprintf).
#include <float.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <math.h>
#include <stdarg.h>

#include <string>

#include "livedata/DocumentFile.h"
#include "livedata/TextFormatter.h"
#include "tests/support/TempDir.h"

namespace {

// What TextFormatter appends to "<" for the format, or "REFUSED" (and then the
// text must still be exactly "<").
std::string format(const char* text, ...) {
  std::string out = "<";
  va_list args;
  va_start(args, text);
  const bool handled = TextFormatter::append(out, text, args);
  va_end(args);
  if (!handled) return out == "<" ? "REFUSED" : "REFUSED but changed: " + out;
  return out.substr(1);
}

TEST(TextFormatter, LiteralTextAndPercent) {
  EXPECT_EQ("", format(""));
  EXPECT_EQ("{\n\"version\":{\t\"major\":0", format("{\n\"version\":{\t\"major\":%u", 0u));
  EXPECT_EQ("100%", format("100%%"));
  EXPECT_EQ("% and %", format("%% and %s", "%"));
}

TEST(TextFormatter, FixedPointDoubles) {
  EXPECT_EQ("\"1.500 V\"", format("\"%.3f V\"", 1.5));
  EXPECT_EQ("-120.250 Deg", format("%.3f Deg", -120.25));
  EXPECT_EQ("0.000", format("%.3f", 0.0));
  EXPECT_EQ("59.99", format("%.2f", 59.994));
  EXPECT_EQ("3.141593", format("%f", 3.14159265358979));
  EXPECT_EQ("3", format("%.0f", 3.14159265358979));
  EXPECT_EQ("3.1", format("%.1lf", 3.14159265358979));
}

// Exact binary ties round to the even neighbour; decimal "ties" that are not
// exact in binary round by the value actually stored.
TEST(TextFormatter, TiesRoundToEven) {
  EXPECT_EQ("0.12", format("%.2f", 0.125));
  EXPECT_EQ("0.38", format("%.2f", 0.375));
  EXPECT_EQ("2", format("%.0f", 2.5));
  EXPECT_EQ("4", format("%.0f", 3.5));
  EXPECT_EQ("-0.62", format("%.2f", -0.625));
  EXPECT_EQ("1.000", format("%.3f", 1.0005));  // stored as 1.000499999...
  EXPECT_EQ("0.001", format("%.3f", 0.0005));  // stored as 0.000500000...01
  EXPECT_EQ("2.67", format("%.2f", 2.675));    // stored as 2.67499999...
}

TEST(TextFormatter, SignedZeroNanAndInfinity) {
  EXPECT_EQ("-0.000", format("%.3f", -0.0));
  EXPECT_EQ("-0.000", format("%.3f", -0.0001));
  EXPECT_EQ("nan", format("%.3f", NAN));
  EXPECT_EQ("-nan", format("%.3f", -NAN));
  EXPECT_EQ("inf V", format("%.3f V", INFINITY));
  EXPECT_EQ("-inf", format("%.2f", -INFINITY));
  EXPECT_EQ("+inf", format("%+.2f", INFINITY));
  EXPECT_EQ("     nan", format("%8.3f", NAN));
  EXPECT_EQ("    -inf", format("%08.3f", -INFINITY));  // no zero padding for these
}

TEST(TextFormatter, TinyAndHugeDoubles) {
  EXPECT_EQ("0.000", format("%.3f", 4.9406564584124654e-324));
  EXPECT_EQ("-0.00", format("%.2f", -2.2250738585072014e-308));
  // 2^53 + 1 is not a double: the literal is stored as 2^53.
  EXPECT_EQ("9007199254740992.000", format("%.3f", 9007199254740993.0));
  EXPECT_EQ("9007199254740994.00", format("%.2f", 9007199254740994.0));
  EXPECT_EQ("1152921504606846976.000", format("%.3f", 1152921504606846976.0));
  EXPECT_EQ(
      "100000000000000001097906362944045541740492309677311846336810682903157585404911491537163328978494"
      "688899061249669721172515611590283743140088328307009198146046031271664502933027185697489699588559"
      "043338384466165001178426897626212945177628091195786707458122783970171784415105291802893207873272"
      "974885715430223118336.000",
      format("%.3f", 1e308));
  EXPECT_EQ(
      "-17976931348623157081452742373170435679807056752584499659891747680315726078002853876058955863276"
      "687817154045895351438246423432132688946418276846754670353751698604991057655128207624549009038932"
      "894407586850845513394230458323690322294816580855933212334827479782620414472316873817718091929988"
      "1250404026184124858368.00",
      format("%.2f", -DBL_MAX));
}

TEST(TextFormatter, WidthsAndFlagsOnDoubles) {
  EXPECT_EQ("   1.50", format("%7.2f", 1.5));
  EXPECT_EQ("1.50   |", format("%-7.2f|", 1.5));
  EXPECT_EQ("-001.50", format("%07.2f", -1.5));
  EXPECT_EQ("+1.50", format("%+.2f", 1.5));
  EXPECT_EQ(" 1.50", format("% .2f", 1.5));
  EXPECT_EQ("+0001.50", format("%+08.2f", 1.5));
}

TEST(TextFormatter, Integers) {
  EXPECT_EQ("\"25 min 0 sec\"", format("\"%d min %d sec\"", 25, 0));
  EXPECT_EQ("-2147483648 2147483647", format("%d %i", INT_MIN, INT_MAX));
  EXPECT_EQ("4294967295 0", format("%u %u", UINT_MAX, 0u));
  EXPECT_EQ("-9223372036854775808", format("%lld", LLONG_MIN));
  EXPECT_EQ("18446744073709551615", format("%llu", ULLONG_MAX));
  EXPECT_EQ(sizeof(long) == 8 ? "18446744073709551615" : "4294967295", format("%lu", ULONG_MAX));
  EXPECT_EQ(sizeof(long) == 8 ? "-9223372036854775808" : "-2147483648", format("%ld", LONG_MIN));
  EXPECT_EQ("100 99 10 9", format("%d %d %d %d", 100, 99, 10, 9));
}

TEST(TextFormatter, WidthsPrecisionsAndFlagsOnIntegers) {
  EXPECT_EQ("07", format("%02d", 7));
  EXPECT_EQ("255", format("%02d", 255));
  EXPECT_EQ("-0042", format("%05d", -42));
  EXPECT_EQ("42   |", format("%-5d|", 42));
  EXPECT_EQ("   42", format("%5u", 42u));
  EXPECT_EQ("+5  5", format("%+d % d", 5, 5));
  EXPECT_EQ("5", format("%+u", 5u));
  EXPECT_EQ("007", format("%.3d", 7));
  EXPECT_EQ("   05", format("%05.2d", 5));  // a precision turns zero padding off
  EXPECT_EQ("", format("%.0d", 0));
  EXPECT_EQ("     ", format("%5.0u", 0u));
  EXPECT_EQ("+", format("%+.0d", 0));
}

TEST(TextFormatter, Texts) {
  EXPECT_EQ("\"hookup\":\"Wye\",\n", format("\"hookup\":\"%s\",\n", "Wye"));
  EXPECT_EQ("ab", format("%.2s", "abc"));
  EXPECT_EQ("  abc", format("%5s", "abc"));
  EXPECT_EQ("abc  |", format("%-5s|", "abc"));
  EXPECT_EQ("", format("%s", ""));
  EXPECT_EQ("   ab|   ab|   ab", format("%05s|%+5s|% 5s", "ab", "ab", "ab"));
}

TEST(TextFormatter, RefusesWhatItDoesNotHandle) {
  EXPECT_EQ("REFUSED", format("a %x", 255));
  EXPECT_EQ("REFUSED", format("%.3f then %c", 1.0, 'c'));
  EXPECT_EQ("REFUSED", format("%*d", 3, 4));
  EXPECT_EQ("REFUSED", format("%#.0f", 1.0));
  EXPECT_EQ("REFUSED", format("%hd", 3));
  EXPECT_EQ("REFUSED", format("%Lf", 1.0L));
  EXPECT_EQ("REFUSED", format("%e", 1.0));
  EXPECT_EQ("REFUSED", format("%s", static_cast<const char*>(nullptr)));
  EXPECT_EQ("REFUSED", format("%5%"));
  EXPECT_EQ("REFUSED", format("ends with %"));
  EXPECT_EQ("REFUSED", format("%.65f", 1.0));
  EXPECT_EQ("REFUSED", format("%99999d", 1));
}

TEST(TextFormatter, DocumentFileFormatsRefusedFormatsWithTheCLibrary) {
  testsupport::TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  doc.printf("[%x|%.3f|%c|%s]", 255u, 1.5, 'q', "t");
  doc.printf("%e", 1.0);
  EXPECT_EQ("[ff|1.500|q|t]1.000000e+00", doc.text());
  doc.close();
}

TEST(TextFormatter, DocumentFileKeepsLongRefusedLinesWhole) {
  testsupport::TempDir dir;
  DocumentFile doc;
  ASSERT_TRUE(doc.open(dir.file("a.json").c_str()));
  const std::string big(700, 'x');
  doc.printf("%c%s%x", '<', big.c_str(), 171u);
  EXPECT_EQ("<" + big + "ab", doc.text());
  doc.close();
}

}  // namespace

// TextFormatter::appendFixed writes the same bytes as the C library's
// snprintf with "%.Nf": random bit patterns (every exponent, NaN payloads,
// subnormals) and short decimals at every precision the documents use and a
// few beyond, and the edge values. It appends to what the text holds.
#include <float.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>

#include "livedata/TextFormatter.h"

namespace {

constexpr long long kSamplesPerPrecision = 30000;

double fromBits(uint64_t bits) {
  double value;
  memcpy(&value, &bits, sizeof value);
  return value;
}

// Empty when both agree, else a line naming the value.
std::string mismatch(double value, int precision) {
  char expected[512];
  snprintf(expected, sizeof expected, "%.*f", precision, value);
  std::string ours = "prefix:";
  TextFormatter::appendFixed(ours, value, precision);
  if (ours == std::string("prefix:") + expected) return std::string();
  uint64_t bits;
  memcpy(&bits, &value, sizeof bits);
  char line[700];
  snprintf(line, sizeof line, "bits 0x%016llx precision %d: snprintf \"%s\", ours \"%s\"",
           static_cast<unsigned long long>(bits), precision, expected, ours.c_str());
  return line;
}

TEST(TextFormatterFixed, RandomBitPatternsAndDecimalsMatchSnprintf) {
  std::mt19937_64 random(0x5eed);
  const uint64_t exponentMask = uint64_t{0x7ff} << 52;
  int failures = 0;
  for (int precision = 0; precision <= 8 && failures < 10; ++precision) {
    for (long long i = 0; i < kSamplesPerPrecision && failures < 10; ++i) {
      double value;
      uint64_t bits = random();
      switch (i % 3) {
        case 0: value = fromBits(bits); break;
        case 1:  // exponents around the integer path's limits
          value = fromBits((bits & ~exponentMask) | ((1023 - 70 + bits % 137) << 52));
          break;
        default: {  // a reading: up to 9 digits, up to 7 decimals, either sign
          char text[64];
          snprintf(text, sizeof text, "%s%lluE-%d", (bits & 1u) != 0 ? "-" : "",
                   static_cast<unsigned long long>((bits >> 1) % 1000000000u),
                   static_cast<int>((bits >> 40) % 8));
          value = strtod(text, nullptr);
        }
      }
      std::string line = mismatch(value, precision);
      if (!line.empty()) {
        ++failures;
        ADD_FAILURE() << line;
      }
    }
  }
  EXPECT_EQ(0, failures);
}

TEST(TextFormatterFixed, EdgeValuesMatchSnprintf) {
  const double edges[] = {0.0,     -0.0,     0.0005,   0.0015,    0.0025,   -0.0005,
                          1.0005,  2.5,      0.5,      1.5,       -2.5,     999.9995,
                          1e15,    1e19,     1.8e19,   2e19,      DBL_MAX,  -DBL_MAX,
                          DBL_MIN, -DBL_MIN, 4.9e-324, INFINITY,  -INFINITY, NAN,
                          -NAN,    123.456,  -123.456, 4294967295.9995, 4294967296.0};
  for (double value : edges) {
    for (int precision = 0; precision <= 12; ++precision) {
      EXPECT_EQ("", mismatch(value, precision));
    }
  }
}

bool appendFormat(std::string& text, const char* format, ...) {
  va_list args;
  va_start(args, format);
  bool handled = TextFormatter::append(text, format, args);
  va_end(args);
  return handled;
}

TEST(TextFormatterFixed, AppendsTheSameBytesAsTheFormatPath) {
  std::string viaFormat;
  std::string direct = "\"";
  EXPECT_TRUE(appendFormat(viaFormat, "\"%.3f%s\"%s", 230.12345, " V", ","));
  TextFormatter::appendFixed(direct, 230.12345, 3);
  direct += " V\",";
  EXPECT_EQ("\"230.123 V\",", viaFormat);
  EXPECT_EQ(viaFormat, direct);
}

TEST(TextFormatterFixed, PrecisionOutOfRangeIsSix) {
  std::string text;
  TextFormatter::appendFixed(text, 1.25, -1);
  text += "|";
  TextFormatter::appendFixed(text, 1.25, 65);
  EXPECT_EQ("1.250000|1.250000", text);
}

}  // namespace

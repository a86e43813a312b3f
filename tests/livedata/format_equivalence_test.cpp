// TextFormatter against the C library's vsnprintf on many random arguments:
// random bit patterns (every exponent, NaN payloads, subnormals), random short
// decimals (the readings' usual shape, rich in near-ties) and exact binary ties,
// at each precision the documents print, plus the edge values.
//
// LDU_FORMAT_SAMPLES sets how many random doubles are checked at each precision,
// half of them bit patterns and half decimals (default LDU_FORMAT_DEFAULT_SAMPLES
// from the build: 10^7 natively, a small count under sanitizers and emulation).
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

#ifndef LDU_FORMAT_DEFAULT_SAMPLES
#define LDU_FORMAT_DEFAULT_SAMPLES 10000000
#endif

namespace {

long long sampleCount() {
  const char* text = getenv("LDU_FORMAT_SAMPLES");
  if (text == nullptr || *text == '\0') return LDU_FORMAT_DEFAULT_SAMPLES;
  return atoll(text);
}

// Compares both texts of one format; records at most a few mismatches.
class Comparer {
 public:
  Comparer() { ours_.reserve(1024); }

  void check(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int length = vsnprintf(expected_, sizeof expected_, format, copy);
    va_end(copy);
    ours_.clear();
    const bool handled = TextFormatter::append(ours_, format, args);
    va_end(args);
    ++checked_;
    if (handled && length >= 0 && length < static_cast<int>(sizeof expected_) && ours_ == expected_) {
      return;
    }
    if (++mismatches_ <= 10) {
      ADD_FAILURE() << "format \"" << format << "\": vsnprintf \"" << expected_ << "\", ours "
                    << (handled ? "\"" + ours_ + "\"" : std::string("refused"));
    }
  }

  void checkDouble(const char* format, double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    const long long before = mismatches_;
    check(format, value);
    if (mismatches_ != before && mismatches_ <= 10) {
      ADD_FAILURE() << "  value bits 0x" << std::hex << bits;
    }
  }

  long long checked() const { return checked_; }
  long long mismatches() const { return mismatches_; }

 private:
  char expected_[8192];
  std::string ours_;
  long long checked_ = 0;
  long long mismatches_ = 0;
};

const char* fixedFormat(int precision) {
  static const char* const kFormats[] = {"%.0f", "%.1f", "%.2f", "%.3f", "%.4f",
                                         "%.5f", "%.6f", "%.7f", "%.8f"};
  return kFormats[precision];
}

double fromBits(uint64_t bits) {
  double value;
  memcpy(&value, &bits, sizeof value);
  return value;
}

// Every other pattern has its exponent drawn from 2^-70 .. 2^66, where the
// formatter switches between its integer path and to_chars and where a uniform
// exponent rarely lands.
void randomBitPatterns(int precision, uint64_t seed) {
  std::mt19937_64 random(seed);
  Comparer comparer;
  const long long count = sampleCount() / 2;
  const uint64_t exponentMask = uint64_t{0x7ff} << 52;
  for (long long i = 0; i < count && comparer.mismatches() < 10; ++i) {
    uint64_t bits = random();
    if (i % 2 == 1) bits = (bits & ~exponentMask) | ((1023 - 70 + bits % 137) << 52);
    comparer.checkDouble(fixedFormat(precision), fromBits(bits));
  }
  EXPECT_EQ(0, comparer.mismatches()) << "of " << comparer.checked();
}

// Short decimals as a meter prints them: up to 9 significant digits with up to 7
// decimals, either sign, through strtod as a reading would be parsed; every
// fourth is an exact binary tie k / 2^j, which rounds to even.
void randomDecimals(int precision, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::uniform_int_distribution<long long> mantissa(0, 999999999);
  std::uniform_int_distribution<int> decimals(0, 7);
  std::uniform_int_distribution<int> shift(1, 12);
  Comparer comparer;
  const long long count = sampleCount() - sampleCount() / 2;
  char text[64];
  for (long long i = 0; i < count && comparer.mismatches() < 10; ++i) {
    const long long digits = mantissa(random);
    const bool negative = (random() & 1u) != 0;
    double value;
    if (i % 4 == 3) {
      value = ldexp(static_cast<double>(digits % 100000), -shift(random));
    } else {
      snprintf(text, sizeof text, "%lldE-%d", digits, decimals(random));
      value = strtod(text, nullptr);
    }
    comparer.checkDouble(fixedFormat(precision), negative ? -value : value);
  }
  EXPECT_EQ(0, comparer.mismatches()) << "of " << comparer.checked();
}

TEST(FormatEquivalence, BitPatternsAtPrecision3) { randomBitPatterns(3, 0x3001); }
TEST(FormatEquivalence, DecimalsAtPrecision3) { randomDecimals(3, 0x3002); }
TEST(FormatEquivalence, BitPatternsAtPrecision2) { randomBitPatterns(2, 0x2001); }
TEST(FormatEquivalence, DecimalsAtPrecision2) { randomDecimals(2, 0x2002); }

const double kEdgeValues[] = {
    0.0, -0.0, NAN, -NAN, INFINITY, -INFINITY, DBL_MIN, -DBL_MIN, DBL_TRUE_MIN, -DBL_TRUE_MIN,
    DBL_MAX, -DBL_MAX, 1e308, -1e308, 1e300, 1e22, 1e23, 9007199254740992.0, 9007199254740994.0,
    18446744073709551616.0, 1.8446744073709552e19, 0.5, 1.5, 2.5, 0.125, 0.375, 0.625, 0.875,
    0.0005, 0.0015, 0.0025, 0.005, 0.015, 0.025, 1.0005, 2.675, 999.9995, 999.995, 9.9995,
    0.9995, 0.995, 0.95, 4503599627370495.5, 4503599627370497.0, 1e-5, 5e-324, 2.2250738585072009e-308,
    // Around the limits of the integer path: 2^64 and the double below it, 2^63,
    // 2^-63, 2^-64 and a tie at 2^-63.
    18446744073709551616.0, 18446744073709549568.0, 9223372036854775808.0, 1.0842021724855044e-19,
    5.421010862427522e-20, 0.0005000000000000000104, 0x1.0p-11, 0x1.8p-10, 0x1.0p-10,
};

TEST(FormatEquivalence, EdgeValuesAtEveryPrecisionAndLayout) {
  Comparer comparer;
  for (double value : kEdgeValues) {
    for (int precision = 0; precision <= 8; ++precision) {
      comparer.checkDouble(fixedFormat(precision), value);
    }
    for (double sign : {1.0, -1.0}) {
      const double signedValue = sign * value;
      comparer.check("%f|%12.3f|%-12.3f|%012.3f|%+.2f|% .2f|%+012.2f|%-+12.0f|%lf", signedValue,
                     signedValue, signedValue, signedValue, signedValue, signedValue, signedValue,
                     signedValue, signedValue);
      comparer.check("%.17f|%.30f|%.64f|%0.f|%.f", signedValue, signedValue, signedValue,
                     signedValue, signedValue);
    }
  }
  // Every NaN payload prints alike.
  comparer.checkDouble("%.3f", fromBits(0x7ff0000000000001ull));
  comparer.checkDouble("%.3f", fromBits(0xfff8000000000001ull));
  EXPECT_EQ(0, comparer.mismatches()) << "of " << comparer.checked();
}

// Random flags, widths and precisions on random doubles, and random integers of
// every handled length.
TEST(FormatEquivalence, RandomLayouts) {
  std::mt19937_64 random(0x4004);
  Comparer comparer;
  const long long count = sampleCount() / 40 + 100;
  static const char* const kFlags[] = {"", "-", "+", " ", "0", "-0", "+0", " 0", "-+", "+ "};
  char format[64];
  for (long long i = 0; i < count && comparer.mismatches() < 10; ++i) {
    const char* flags = kFlags[random() % 10];
    const int width = static_cast<int>(random() % 25);
    const int precision = static_cast<int>(random() % 20);
    const uint64_t bits = random();
    snprintf(format, sizeof format, "%%%s%d.%df", flags, width, precision);
    comparer.checkDouble(format, fromBits(bits) * ((i & 1) ? 1.0 : 1e-300));
    snprintf(format, sizeof format, "%%%s%d.%dd|%%%s%du", flags, width, precision % 12, flags, width);
    comparer.check(format, static_cast<int>(bits), static_cast<unsigned>(bits >> 32));
    snprintf(format, sizeof format, "%%%s%dld|%%%slu", flags, width, flags);
    comparer.check(format, static_cast<long>(bits), static_cast<unsigned long>(bits >> 7));
    snprintf(format, sizeof format, "%%%slld|%%%s%dllu|%%-%ds", flags, flags, width, width);
    comparer.check(format, static_cast<long long>(bits), static_cast<unsigned long long>(bits),
                   "text");
  }
  EXPECT_EQ(0, comparer.mismatches()) << "of " << comparer.checked();
}

}  // namespace

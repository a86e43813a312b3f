// printf-style formatting into a std::string without the C library's printf
// machinery, for the documents' fixed format strings. The text is the same, byte
// for byte, as vsnprintf's for the conversions handled here:
//   %d %i  int (l: long, ll: long long)      %u  unsigned (l, ll likewise)
//   %f     double, any precision up to 64    %s  text (precision limits it;
//                                                 no flag but '-' changes it)
//   %%     a literal percent sign
// with the flags '-', '+', ' ' and '0' and decimal widths and precisions, and
// literal text. Doubles are exact and round ties to even, as glibc does in the
// default rounding mode: up to three decimals by integer arithmetic on the
// value's binary mantissa when it fits in 64 bits, otherwise through
// std::to_chars (exact as well). NaN prints "nan" or "-nan"
// by its sign bit, infinities "inf" or "-inf". Anything else in a format (other
// conversions, '*', '#', other length letters, a null %s, a width or precision
// over the limits) makes append() refuse the whole format, so that the caller can
// hand it to vsnprintf instead.
//
// Thread-safety: stateless; append() may be called from any thread.
#ifndef LIVEDATA_TEXTFORMATTER_H_
#define LIVEDATA_TEXTFORMATTER_H_

#include <stdarg.h>
#include <stddef.h>

#include <string>

class TextFormatter {
 public:
  // Appends format filled from args to out and returns true; or returns false
  // with out as it was when the format holds something not handled here. args
  // itself is not consumed (the arguments are read from a copy).
  static bool append(std::string& out, const char* format, va_list args);

  // Appends value as "%.<precision>f" alone would write it (the same bytes as
  // append() with that format), without parsing a format or copying a va_list:
  // for the documents' hottest conversion. A precision outside 0..64 is taken
  // as 6.
  static void appendFixed(std::string& out, double value, int precision);

 private:
  struct Directive;
  struct Arguments;
  class Output;

  static const char* parseDirective(const char* text, Directive* directive);
  static bool appendConversion(Output& out, const Directive& directive, Arguments& args);
  static void appendSigned(Output& out, const Directive& directive, long long value);
  static void appendUnsigned(Output& out, const Directive& directive, unsigned long long value);
  static void appendDigits(Output& out, const Directive& directive, char sign,
                           unsigned long long value);
  static void appendDouble(Output& out, const Directive& directive, double value);
  static void appendText(Output& out, const Directive& directive, const char* text);
  static void appendField(Output& out, const Directive& directive, char sign, size_t zeros,
                          const char* body, size_t length, bool zeroPadding);
};

#endif  // LIVEDATA_TEXTFORMATTER_H_

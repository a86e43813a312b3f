#include "livedata/TextFormatter.h"

#include <math.h>
#include <stdint.h>
#include <string.h>

#include <charconv>

#include "livedata/DecimalDigits.h"

namespace {

// Limits beyond which a format goes to vsnprintf (no document comes near them).
constexpr int kMaxWidth = 4096;
constexpr int kMaxDoublePrecision = 64;
constexpr int kMaxIntegerPrecision = 4096;
// The integer part of DBL_MAX has 309 digits.
constexpr size_t kDoubleTextSize = 309 + 1 + kMaxDoublePrecision + 8;

// Reads a decimal number of at most limit; nullptr when it is larger.
const char* parseNumber(const char* text, int limit, int* number) {
  int value = 0;
  while (*text >= '0' && *text <= '9') {
    value = value * 10 + (*text - '0');
    if (value > limit) return nullptr;
    ++text;
  }
  *number = value;
  return text;
}

const uint32_t kPowersOfTen[] = {1, 10, 100, 1000};

// Writes the finite, non-negative value with precision decimals (at most 3) so
// that it ends just before end and returns where it begins, or returns nullptr
// when the value is out of this path's range. The value is m * 2^e exactly (m
// below 2^53), so value * 10^p is m * 10^p (below 2^63) shifted by e: the
// quotient and the remainder of that shift round the result to nearest, ties to
// even, with no error at all.
char* writeFixedExactly(char* end, double value, int precision) {
  uint64_t bits;
  memcpy(&bits, &value, sizeof bits);
  const int biased = static_cast<int>(bits >> 52);
  uint64_t mantissa = bits & ((uint64_t{1} << 52) - 1);
  if (biased != 0) mantissa |= uint64_t{1} << 52;
  const int exponent = (biased != 0 ? biased : 1) - 1075;
  if (exponent > 11) return nullptr;  // m * 2^e would not fit in 64 bits
  const uint32_t power = kPowersOfTen[precision];
  uint64_t scaled;
  if (exponent >= 0) {
    scaled = mantissa << exponent;
    if (scaled > UINT64_MAX / power) return nullptr;
    scaled *= power;
  } else {
    const uint64_t product = mantissa * power;
    const int shift = -exponent;
    if (shift > 63) {
      scaled = 0;  // product < 2^63 <= half of 2^shift: rounds to zero
    } else {
      scaled = product >> shift;
      const uint64_t rest = product & ((uint64_t{1} << shift) - 1);
      const uint64_t half = uint64_t{1} << (shift - 1);
      if (rest > half || (rest == half && (scaled & 1u) != 0)) ++scaled;
    }
  }
  // One division splits whole and fraction, in 32 bits when the value allows
  // (64-bit division is a library call on the 32-bit target).
  uint64_t whole;
  uint32_t fraction;
  if (scaled <= UINT32_MAX) {
    whole = static_cast<uint32_t>(scaled) / power;
    fraction = static_cast<uint32_t>(scaled) % power;
  } else {
    whole = scaled / power;
    fraction = static_cast<uint32_t>(scaled % power);
  }
  char* next = end;
  if (precision > 0) {
    next = DecimalDigits::writeBackwardPadded(next, fraction, precision);
    *--next = '.';
  }
  return DecimalDigits::writeBackward(next, whole);
}

// The text of a finite magnitude (value >= 0) with precision decimals, ending
// at text + kDoubleTextSize; returns where it begins.
char* writeFixedMagnitude(char* text, double magnitude, int precision) {
  char* end = text + kDoubleTextSize;
  char* first = precision <= 3 ? writeFixedExactly(end, magnitude, precision) : nullptr;
  if (first != nullptr) return first;
  // The general path writes from the front; move its text to the end.
  char* written = std::to_chars(text, end, magnitude, std::chars_format::fixed, precision).ptr;
  const size_t length = static_cast<size_t>(written - text);
  memmove(end - length, text, length);
  return end - length;
}

}  // namespace

struct TextFormatter::Directive {
  bool left = false;   // '-'
  bool plus = false;   // '+'
  bool space = false;  // ' '
  bool zero = false;   // '0'
  int width = 0;
  int precision = -1;  // none given
  int longs = 0;       // number of 'l' letters
  char conversion = 0;
};

// Collects the text in a stack buffer and hands it to the string in few large
// appends (one per call for the documents' short lines).
class TextFormatter::Output {
 public:
  explicit Output(std::string& text) : text_(text) {}
  ~Output() { flush(); }

  void put(char c) {
    if (used_ == sizeof buffer_) flush();
    buffer_[used_++] = c;
  }
  void put(const char* data, size_t length) {
    if (length > sizeof buffer_ - used_) {
      flush();
      if (length > sizeof buffer_) {
        text_.append(data, length);
        return;
      }
    }
    memcpy(buffer_ + used_, data, length);
    used_ += length;
  }
  // Copies literal text up to the next '%' or the end; returns where it stopped.
  // A byte loop: the documents' literal runs are mostly one to three bytes.
  const char* putLiteral(const char* text) {
    for (; *text != '%' && *text != '\0'; ++text) {
      if (used_ == sizeof buffer_) flush();
      buffer_[used_++] = *text;
    }
    return text;
  }
  // Copies a whole NUL-terminated text, byte by byte (the documents' texts are short).
  void putText(const char* text) {
    for (; *text != '\0'; ++text) {
      if (used_ == sizeof buffer_) flush();
      buffer_[used_++] = *text;
    }
  }
  void fill(size_t count, char c) {
    if (count > sizeof buffer_ - used_) {
      flush();
      text_.append(count, c);
      return;
    }
    memset(buffer_ + used_, c, count);
    used_ += count;
  }
  void flush() {
    text_.append(buffer_, used_);
    used_ = 0;
  }

 private:
  std::string& text_;
  char buffer_[256];
  size_t used_ = 0;
};

// A copy of the caller's va_list that the helpers can share by reference.
struct TextFormatter::Arguments {
  va_list list;
};

bool TextFormatter::append(std::string& out, const char* format, va_list args) {
  const size_t start = out.size();
  Arguments arguments;
  va_copy(arguments.list, args);
  bool handled = true;
  {
    Output output(out);
    const char* next = output.putLiteral(format);
    while (handled && *next == '%') {
      Directive directive;
      next = parseDirective(next + 1, &directive);
      handled = next != nullptr && appendConversion(output, directive, arguments);
      if (handled) next = output.putLiteral(next);
    }
  }
  va_end(arguments.list);
  if (!handled) out.resize(start);
  return handled;
}

// Parses flags, width, precision, length and conversion after a '%'; returns
// the text after the conversion, or nullptr for anything not handled.
const char* TextFormatter::parseDirective(const char* text, Directive* directive) {
  // The documents' conversions first: "%s", "%u", "%d" and "%.Nf".
  if (*text == 's' || *text == 'u' || *text == 'd') {
    directive->conversion = *text;
    return text + 1;
  }
  if (text[0] == '.' && text[1] >= '0' && text[1] <= '9' && text[2] == 'f') {
    directive->precision = text[1] - '0';
    directive->conversion = 'f';
    return text + 3;
  }
  for (;; ++text) {
    if (*text == '-')
      directive->left = true;
    else if (*text == '+')
      directive->plus = true;
    else if (*text == ' ')
      directive->space = true;
    else if (*text == '0')
      directive->zero = true;
    else
      break;
  }
  text = parseNumber(text, kMaxWidth, &directive->width);
  if (text == nullptr) return nullptr;
  if (*text == '.') {
    text = parseNumber(text + 1, kMaxIntegerPrecision, &directive->precision);
    if (text == nullptr) return nullptr;
  }
  while (*text == 'l' && directive->longs < 2) {
    ++directive->longs;
    ++text;
  }
  directive->conversion = *text;
  return *text == '\0' ? nullptr : text + 1;
}

bool TextFormatter::appendConversion(Output& out, const Directive& directive, Arguments& args) {
  switch (directive.conversion) {
    case 'd':
    case 'i':
      if (directive.longs == 0)
        appendSigned(out, directive, va_arg(args.list, int));
      else if (directive.longs == 1)
        appendSigned(out, directive, va_arg(args.list, long));
      else
        appendSigned(out, directive, va_arg(args.list, long long));
      return true;
    case 'u':
      if (directive.longs == 0)
        appendUnsigned(out, directive, va_arg(args.list, unsigned int));
      else if (directive.longs == 1)
        appendUnsigned(out, directive, va_arg(args.list, unsigned long));
      else
        appendUnsigned(out, directive, va_arg(args.list, unsigned long long));
      return true;
    case 'f':
      if (directive.longs > 1 || directive.precision > kMaxDoublePrecision) return false;
      appendDouble(out, directive, va_arg(args.list, double));
      return true;
    case 's': {
      if (directive.longs != 0) return false;
      const char* text = va_arg(args.list, const char*);
      if (text == nullptr) return false;
      appendText(out, directive, text);
      return true;
    }
    case '%': {
      // Only the plain "%%"; glibc's handling of "%5%" and the like is its own.
      if (directive.left || directive.plus || directive.space || directive.zero ||
          directive.width != 0 || directive.precision >= 0 || directive.longs != 0) {
        return false;
      }
      out.put('%');
      return true;
    }
    default: return false;
  }
}

void TextFormatter::appendSigned(Output& out, const Directive& directive, long long value) {
  char sign = directive.plus ? '+' : directive.space ? ' ' : 0;
  unsigned long long magnitude = static_cast<unsigned long long>(value);
  if (value < 0) {
    sign = '-';
    magnitude = 0ull - magnitude;
  }
  appendDigits(out, directive, sign, magnitude);
}

// '+' and ' ' have no effect on unsigned conversions.
void TextFormatter::appendUnsigned(Output& out, const Directive& directive,
                                   unsigned long long value) {
  appendDigits(out, directive, 0, value);
}

// A precision is the least number of digits (none for zero at precision 0) and
// turns zero padding off.
void TextFormatter::appendDigits(Output& out, const Directive& directive, char sign,
                                 unsigned long long value) {
  char digits[DecimalDigits::kMaxDigits];
  char* end = digits + DecimalDigits::kMaxDigits;
  char* first = end;
  if (value != 0 || directive.precision != 0) first = DecimalDigits::writeBackward(end, value);
  const size_t length = static_cast<size_t>(end - first);
  const size_t precision = directive.precision < 0 ? 0 : static_cast<size_t>(directive.precision);
  const size_t zeros = precision > length ? precision - length : 0;
  appendField(out, directive, sign, zeros, first, length, directive.precision < 0);
}

void TextFormatter::appendDouble(Output& out, const Directive& directive, double value) {
  const char sign = signbit(value) ? '-' : directive.plus ? '+' : directive.space ? ' ' : 0;
  if (isnan(value)) {
    appendField(out, directive, sign, 0, "nan", 3, false);
    return;
  }
  if (isinf(value)) {
    appendField(out, directive, sign, 0, "inf", 3, false);
    return;
  }
  char text[kDoubleTextSize];
  const int precision = directive.precision < 0 ? 6 : directive.precision;
  char* first = writeFixedMagnitude(text, fabs(value), precision);
  appendField(out, directive, sign, 0, first, static_cast<size_t>(text + sizeof text - first),
              true);
}

void TextFormatter::appendFixed(std::string& out, double value, int precision) {
  if (precision < 0 || precision > kMaxDoublePrecision) precision = 6;
  char text[1 + kDoubleTextSize];  // the sign, then the number
  char* end = text + sizeof text;
  char* first;
  if (isnan(value)) {
    first = end - 3;
    memcpy(first, "nan", 3);
  } else if (isinf(value)) {
    first = end - 3;
    memcpy(first, "inf", 3);
  } else {
    first = writeFixedMagnitude(text + 1, fabs(value), precision);
  }
  if (signbit(value)) *--first = '-';
  out.append(first, static_cast<size_t>(end - first));
}

// '+', ' ' and '0' have no effect on texts: the padding is blanks.
void TextFormatter::appendText(Output& out, const Directive& directive, const char* text) {
  if (directive.width == 0 && directive.precision < 0) {
    out.putText(text);
    return;
  }
  const size_t length = directive.precision < 0
                            ? strlen(text)
                            : strnlen(text, static_cast<size_t>(directive.precision));
  appendField(out, directive, 0, 0, text, length, false);
}

// Lays out sign, zeros and body in the width: blanks after them with '-', else
// zeros between sign and body when zero padding applies, else blanks before.
void TextFormatter::appendField(Output& out, const Directive& directive, char sign, size_t zeros,
                                const char* body, size_t length, bool zeroPadding) {
  if (directive.width == 0 && zeros == 0) {  // the documents' case
    if (sign != 0) out.put(sign);
    out.put(body, length);
    return;
  }
  const size_t used = (sign != 0 ? 1 : 0) + zeros + length;
  const size_t width = static_cast<size_t>(directive.width);
  const size_t padding = width > used ? width - used : 0;
  const bool padWithZeros = directive.zero && zeroPadding && !directive.left;
  if (!directive.left && !padWithZeros) out.fill(padding, ' ');
  if (sign != 0) out.put(sign);
  if (padWithZeros) out.fill(padding, '0');
  out.fill(zeros, '0');
  out.put(body, length);
  if (directive.left) out.fill(padding, ' ');
}

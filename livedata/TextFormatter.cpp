#include "livedata/TextFormatter.h"

#include <math.h>
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

}  // namespace

struct TextFormatter::Spec {
  bool left = false;   // '-'
  bool plus = false;   // '+'
  bool space = false;  // ' '
  bool zero = false;   // '0'
  int width = 0;
  int precision = -1;  // none given
  int longs = 0;       // number of 'l' letters
  char conversion = 0;
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
  const char* next = format;
  while (handled) {
    const char* percent = strchr(next, '%');
    if (percent == nullptr) {
      out.append(next);
      break;
    }
    out.append(next, static_cast<size_t>(percent - next));
    Spec spec;
    next = parseSpec(percent + 1, &spec);
    handled = next != nullptr && appendConversion(out, spec, arguments);
  }
  va_end(arguments.list);
  if (!handled) out.resize(start);
  return handled;
}

// Parses flags, width, precision, length and conversion after a '%'; returns
// the text after the conversion, or nullptr for anything not handled.
const char* TextFormatter::parseSpec(const char* text, Spec* spec) {
  for (;; ++text) {
    if (*text == '-') spec->left = true;
    else if (*text == '+') spec->plus = true;
    else if (*text == ' ') spec->space = true;
    else if (*text == '0') spec->zero = true;
    else break;
  }
  text = parseNumber(text, kMaxWidth, &spec->width);
  if (text == nullptr) return nullptr;
  if (*text == '.') {
    text = parseNumber(text + 1, kMaxIntegerPrecision, &spec->precision);
    if (text == nullptr) return nullptr;
  }
  while (*text == 'l' && spec->longs < 2) {
    ++spec->longs;
    ++text;
  }
  spec->conversion = *text;
  return *text == '\0' ? nullptr : text + 1;
}

bool TextFormatter::appendConversion(std::string& out, const Spec& spec, Arguments& args) {
  switch (spec.conversion) {
    case 'd':
    case 'i':
      if (spec.longs == 0) appendSigned(out, spec, va_arg(args.list, int));
      else if (spec.longs == 1) appendSigned(out, spec, va_arg(args.list, long));
      else appendSigned(out, spec, va_arg(args.list, long long));
      return true;
    case 'u':
      if (spec.longs == 0) appendUnsigned(out, spec, va_arg(args.list, unsigned int));
      else if (spec.longs == 1) appendUnsigned(out, spec, va_arg(args.list, unsigned long));
      else appendUnsigned(out, spec, va_arg(args.list, unsigned long long));
      return true;
    case 'f':
      if (spec.longs > 1 || spec.precision > kMaxDoublePrecision) return false;
      appendDouble(out, spec, va_arg(args.list, double));
      return true;
    case 's': {
      if (spec.longs != 0) return false;
      const char* text = va_arg(args.list, const char*);
      if (text == nullptr) return false;
      appendText(out, spec, text);
      return true;
    }
    case '%': {
      // Only the plain "%%"; glibc's handling of "%5%" and the like is its own.
      if (spec.left || spec.plus || spec.space || spec.zero || spec.width != 0 ||
          spec.precision >= 0 || spec.longs != 0) {
        return false;
      }
      out.push_back('%');
      return true;
    }
    default:
      return false;
  }
}

void TextFormatter::appendSigned(std::string& out, const Spec& spec, long long value) {
  char sign = spec.plus ? '+' : spec.space ? ' ' : 0;
  unsigned long long magnitude = static_cast<unsigned long long>(value);
  if (value < 0) {
    sign = '-';
    magnitude = 0ull - magnitude;
  }
  appendDigits(out, spec, sign, magnitude);
}

// '+' and ' ' have no effect on unsigned conversions.
void TextFormatter::appendUnsigned(std::string& out, const Spec& spec, unsigned long long value) {
  appendDigits(out, spec, 0, value);
}

// A precision is the least number of digits (none for zero at precision 0) and
// turns zero padding off.
void TextFormatter::appendDigits(std::string& out, const Spec& spec, char sign,
                                 unsigned long long value) {
  char digits[DecimalDigits::kMaxDigits];
  char* end = digits + DecimalDigits::kMaxDigits;
  char* first = end;
  if (value != 0 || spec.precision != 0) first = DecimalDigits::writeBackward(end, value);
  const size_t length = static_cast<size_t>(end - first);
  const size_t precision = spec.precision < 0 ? 0 : static_cast<size_t>(spec.precision);
  const size_t zeros = precision > length ? precision - length : 0;
  appendField(out, spec, sign, zeros, first, length, spec.precision < 0);
}

void TextFormatter::appendDouble(std::string& out, const Spec& spec, double value) {
  const char sign = signbit(value) ? '-' : spec.plus ? '+' : spec.space ? ' ' : 0;
  if (isnan(value)) {
    appendField(out, spec, sign, 0, "nan", 3, false);
    return;
  }
  if (isinf(value)) {
    appendField(out, spec, sign, 0, "inf", 3, false);
    return;
  }
  char text[kDoubleTextSize];
  const int precision = spec.precision < 0 ? 6 : spec.precision;
  const std::to_chars_result result =
      std::to_chars(text, text + sizeof text, fabs(value), std::chars_format::fixed, precision);
  appendField(out, spec, sign, 0, text, static_cast<size_t>(result.ptr - text), true);
}

// '+', ' ' and '0' have no effect on texts: the padding is blanks.
void TextFormatter::appendText(std::string& out, const Spec& spec, const char* text) {
  const size_t length = spec.precision < 0 ? strlen(text)
                                           : strnlen(text, static_cast<size_t>(spec.precision));
  appendField(out, spec, 0, 0, text, length, false);
}

// Lays out sign, zeros and body in the width: blanks after them with '-', else
// zeros between sign and body when zero padding applies, else blanks before.
void TextFormatter::appendField(std::string& out, const Spec& spec, char sign, size_t zeros,
                                const char* body, size_t length, bool zeroPadding) {
  const size_t used = (sign != 0 ? 1 : 0) + zeros + length;
  const size_t width = static_cast<size_t>(spec.width);
  const size_t padding = width > used ? width - used : 0;
  const bool padWithZeros = spec.zero && zeroPadding && !spec.left;
  if (!spec.left && !padWithZeros) out.append(padding, ' ');
  if (sign != 0) out.push_back(sign);
  if (padWithZeros) out.append(padding, '0');
  out.append(zeros, '0');
  out.append(body, length);
  if (spec.left) out.append(padding, ' ');
}

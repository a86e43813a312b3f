#include "hoststore/ValueText.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "hoststore/MapFormat.h"
#include "hoststore/NumericValue.h"
#include "platform/datamap.h"

namespace dmhost {

namespace {

struct TypeName {
  const char* name;
  uint32_t code;
};

const TypeName kTypeNames[] = {
    {"sint16", DM_TYPE_SINT16},     {"uint16", DM_TYPE_UINT16},     {"sint32", DM_TYPE_SINT32},
    {"uint32", DM_TYPE_UINT32},     {"sint64", DM_TYPE_SINT64},     {"uint64", DM_TYPE_UINT64},
    {"ts8", DM_TYPE_TS8},           {"flt32", DM_TYPE_FLT32},       {"flt64", DM_TYPE_FLT64},
    {"string16", DM_TYPE_STRING16}, {"string64", DM_TYPE_STRING64}, {"ts12", DM_TYPE_TS12},
    {"boolean", DM_TYPE_BOOLEAN},   {"string32", DM_TYPE_STRING32},
};

bool isIntegerType(uint32_t type) { return type >= DM_TYPE_SINT16 && type <= DM_TYPE_UINT64; }
bool isSignedType(uint32_t type) {
  return type == DM_TYPE_SINT16 || type == DM_TYPE_SINT32 || type == DM_TYPE_SINT64;
}
bool isStringType(uint32_t type) {
  return type == DM_TYPE_STRING16 || type == DM_TYPE_STRING32 || type == DM_TYPE_STRING64;
}
bool isTimestampType(uint32_t type) { return type == DM_TYPE_TS8 || type == DM_TYPE_TS12; }

// Parses an unsigned magnitude: decimal digits or 0x followed by hex digits.
bool parseMagnitude(const char* text, unsigned long long* out) {
  int base = 10;
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text += 2;
  }
  if (base == 10 ? !isdigit(static_cast<unsigned char>(text[0]))
                 : !isxdigit(static_cast<unsigned char>(text[0]))) {
    return false;
  }
  errno = 0;
  char* end = nullptr;
  *out = strtoull(text, &end, base);
  return errno == 0 && *end == '\0';
}

std::string printFloating(double value, int minDigits, int maxDigits, bool asFloat) {
  char text[64];
  for (int digits = minDigits; digits <= maxDigits; ++digits) {
    snprintf(text, sizeof(text), "%.*g", digits, value);
    double back = strtod(text, nullptr);
    if (asFloat ? static_cast<float>(back) == static_cast<float>(value) : back == value) break;
  }
  return text;
}

}  // namespace

bool ValueText::typeFromName(const std::string& name, uint32_t* type) {
  for (const TypeName& entry : kTypeNames) {
    if (name == entry.name) {
      *type = entry.code;
      return true;
    }
  }
  if (name.empty() || name.size() > 3) return false;
  for (char c : name) {
    if (!isdigit(static_cast<unsigned char>(c))) return false;
  }
  unsigned long code = strtoul(name.c_str(), nullptr, 10);
  if (code > 255) return false;
  *type = static_cast<uint32_t>(code);
  return true;
}

std::string ValueText::typeName(uint32_t type) {
  for (const TypeName& entry : kTypeNames) {
    if (entry.code == type) return entry.name;
  }
  return std::to_string(type);
}

base::Status ValueText::parse(uint32_t type, const std::string& text, unsigned char* storage) {
  memset(storage, 0, kValueCapacity);
  if (isIntegerType(type)) return parseInteger(type, text, storage);
  if (type == DM_TYPE_BOOLEAN) return parseBoolean(text, storage);
  if (isTimestampType(type)) return parseTimestamp(text, storage);
  if (isStringType(type)) {
    parseString(type, text, storage);
    return base::Status::Ok();
  }
  return parseFloating(type, text, storage);
}

base::Status ValueText::parseInteger(uint32_t type, const std::string& text,
                                     unsigned char* storage) {
  bool negative = !text.empty() && text[0] == '-';
  unsigned long long magnitude = 0;
  if (!parseMagnitude(text.c_str() + (negative ? 1 : 0), &magnitude)) {
    return base::Status::Error("", "not an integer (decimal or 0x-hex)");
  }
  unsigned bits = storageSize(type) * 8;
  if (isSignedType(type)) {
    unsigned long long limit = 1ULL << (bits - 1);  // |min|; max is limit - 1
    if (negative ? magnitude > limit : magnitude >= limit) {
      return base::Status::Error("", "out of range for " + typeName(type));
    }
    long long value =
        negative ? static_cast<long long>(0ULL - magnitude) : static_cast<long long>(magnitude);
    if (NumericValue::fromSigned(value).encode(type, storage)) return base::Status::Ok();
    return base::Status::Error("", "out of range for " + typeName(type));
  }
  unsigned long long max = bits == 64 ? ~0ULL : (1ULL << bits) - 1;
  if ((negative && magnitude != 0) || magnitude > max) {
    return base::Status::Error("", "out of range for " + typeName(type));
  }
  if (NumericValue::fromUnsigned(magnitude).encode(type, storage)) return base::Status::Ok();
  return base::Status::Error("", "out of range for " + typeName(type));
}

base::Status ValueText::parseFloating(uint32_t type, const std::string& text,
                                      unsigned char* storage) {
  char* end = nullptr;
  double value = text.empty() || isspace(static_cast<unsigned char>(text[0]))
                     ? 0.0
                     : strtod(text.c_str(), &end);
  if (end == nullptr || end == text.c_str() || *end != '\0') {
    return base::Status::Error("", "not a number");
  }
  NumericValue number = NumericValue::fromDouble(value);
  if (!number.encode(type, storage)) memcpy(storage, &value, sizeof(value));  // no-reader codes
  return base::Status::Ok();
}

base::Status ValueText::parseBoolean(const std::string& text, unsigned char* storage) {
  if (text == "1" || strcasecmp(text.c_str(), "true") == 0) {
    storage[0] = 1;
  } else if (text == "0" || strcasecmp(text.c_str(), "false") == 0) {
    storage[0] = 0;
  } else {
    return base::Status::Error("", "not a boolean (0, 1, true or false)");
  }
  return base::Status::Ok();
}

base::Status ValueText::parseTimestamp(const std::string& text, unsigned char* storage) {
  static const char kPattern[] = "DDDD-DD-DD DD:DD:DD";
  bool ok = text.size() == sizeof(kPattern) - 1;
  for (size_t i = 0; ok && i < text.size(); ++i) {
    ok = kPattern[i] == 'D' ? isdigit(static_cast<unsigned char>(text[i])) != 0
                            : text[i] == kPattern[i];
  }
  if (!ok) {
    return base::Status::Error("", "not a timestamp (CCYY-MM-DD hh:mm:ss)");
  }
  static const size_t kFieldStart[7] = {0, 2, 5, 8, 11, 14, 17};
  for (size_t field = 0; field < 7; ++field) {
    size_t at = kFieldStart[field];
    storage[field] = static_cast<unsigned char>((text[at] - '0') * 10 + (text[at + 1] - '0'));
  }
  return base::Status::Ok();
}

void ValueText::parseString(uint32_t type, const std::string& text, unsigned char* storage) {
  size_t keep = storageSize(type) - 1;
  if (text.size() < keep) keep = text.size();
  memcpy(storage, text.data(), keep);
}

std::string ValueText::format(uint32_t type, const unsigned char* storage) {
  if (isStringType(type)) {
    return std::string(reinterpret_cast<const char*>(storage),
                       strnlen(reinterpret_cast<const char*>(storage), storageSize(type)));
  }
  if (isTimestampType(type)) {
    char text[48];
    snprintf(text, sizeof(text), "%02u%02u-%02u-%02u %02u:%02u:%02u", storage[0], storage[1],
             storage[2], storage[3], storage[4], storage[5], storage[6]);
    return text;
  }
  NumericValue number = NumericValue::fromUnsigned(0);
  double raw = 0.0;
  if (!NumericValue::decode(type, storage, &number)) {  // codes without a reader
    memcpy(&raw, storage, sizeof(raw));
    number = NumericValue::fromDouble(raw);
  }
  switch (number.kind()) {
    case NumericValue::kSigned: return std::to_string(number.as<long long>());
    case NumericValue::kUnsigned: return std::to_string(number.as<unsigned long long>());
    default:
      if (type == DM_TYPE_FLT32) return printFloating(number.as<double>(), 6, 9, true);
      return printFloating(number.as<double>(), 15, 17, false);
  }
}

}  // namespace dmhost

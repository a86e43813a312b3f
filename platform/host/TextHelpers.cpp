// Host implementation of the small text and checksum helpers of common_api.h.
//
// Thread-safety: pure functions.
#include <string>

#include "platform/common_api.h"

namespace {

// Length of the escaped form of one byte.
size_t escapedLength(unsigned char c) {
  switch (c) {
    case '"': case '\\': case '\b': case '\f': case '\n': case '\r': case '\t':
      return 2;
    default:
      return c < 0x20 ? 6 : 1;
  }
}

void appendEscaped(std::string& out, unsigned char c) {
  static const char kHex[] = "0123456789abcdef";
  switch (c) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\b': out += "\\b"; return;
    case '\f': out += "\\f"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default:
      if (c < 0x20) {
        out += "\\u00";
        out += kHex[c >> 4];
        out += kHex[c & 0x0f];
      } else {
        out += static_cast<char>(c);
      }
  }
}

}  // namespace

// Sizes the result first, so a string that already has the capacity is
// refilled without allocating.
void strJSON_normalize(std::string& out, const char* in) {
  out.clear();
  if (in == nullptr) return;
  size_t length = 0;
  for (const char* p = in; *p != '\0'; ++p) length += escapedLength(static_cast<unsigned char>(*p));
  out.reserve(length);
  for (const char* p = in; *p != '\0'; ++p) appendEscaped(out, static_cast<unsigned char>(*p));
}

unsigned short CRC16_down(unsigned short init, int len, const unsigned char* p) {
  unsigned int crc = init;
  for (int i = 0; i < len; ++i) {
    crc ^= *(p - i);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) ? (crc >> 1) ^ 0xA001u : crc >> 1;
  }
  return static_cast<unsigned short>(crc);
}

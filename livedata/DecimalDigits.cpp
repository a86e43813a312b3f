#include "livedata/DecimalDigits.h"

#include <string.h>

namespace {

const char kPairs[] =
    "00010203040506070809"
    "10111213141516171819"
    "20212223242526272829"
    "30313233343536373839"
    "40414243444546474849"
    "50515253545556575859"
    "60616263646566676869"
    "70717273747576777879"
    "80818283848586878889"
    "90919293949596979899";

}  // namespace

char* DecimalDigits::writeBackward32(char* end, uint32_t value) {
  char* next = end;
  while (value >= 100u) {
    const uint32_t pair = value % 100u;
    value /= 100u;
    next -= 2;
    memcpy(next, kPairs + 2 * pair, 2);
  }
  if (value >= 10u) {
    next -= 2;
    memcpy(next, kPairs + 2 * value, 2);
  } else {
    *--next = static_cast<char>('0' + value);
  }
  return next;
}

char* DecimalDigits::writeBackward(char* end, uint64_t value) {
  char* next = end;
  // Peel eight digits at a time until the rest fits the 32-bit path.
  while (value > UINT32_MAX) {
    uint32_t low = static_cast<uint32_t>(value % 100000000u);
    value /= 100000000u;
    for (int i = 0; i < 4; ++i) {
      next -= 2;
      memcpy(next, kPairs + 2 * (low % 100u), 2);
      low /= 100u;
    }
  }
  return writeBackward32(next, static_cast<uint32_t>(value));
}

char* DecimalDigits::writeBackwardPadded(char* end, uint32_t value, int count) {
  char* next = end;
  if (count >= 2) {
    next -= 2;
    memcpy(next, kPairs + 2 * (value % 100u), 2);
    value /= 100u;
    count -= 2;
  }
  if (count == 1) *--next = static_cast<char>('0' + value);
  return next;
}

char* DecimalDigits::writeTwoAtLeast(char* out, unsigned int value) {
  if (value < 100u) {
    memcpy(out, kPairs + 2 * value, 2);
    return out + 2;
  }
  char digits[kMaxDigits];
  char* first = writeBackward32(digits + kMaxDigits, value);
  const size_t length = static_cast<size_t>(digits + kMaxDigits - first);
  memcpy(out, first, length);
  return out + length;
}

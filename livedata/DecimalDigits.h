// Decimal text of unsigned integers, written two digits at a time from a table
// of the pairs "00".."99" (one division by 100 per pair instead of one division
// by 10 per digit). Values that fit in 32 bits never touch 64-bit division,
// which is a library call on the 32-bit target.
//
// Thread-safety: stateless; every function may be called from any thread.
#ifndef LIVEDATA_DECIMALDIGITS_H_
#define LIVEDATA_DECIMALDIGITS_H_

#include <stdint.h>

class DecimalDigits {
 public:
  // Most digits of a 64-bit unsigned value.
  static constexpr int kMaxDigits = 20;

  // Writes the digits of value so that they end just before end; returns where
  // they begin. Zero is the one digit "0". end must have kMaxDigits bytes before it.
  static char* writeBackward(char* end, uint64_t value);

  // Writes exactly count digits (0 to 3) of value (below 10^count), with
  // leading zeros, so that they end just before end; returns where they begin.
  static char* writeBackwardPadded(char* end, uint32_t value, int count);

  // Writes value as "%02u" would (at least two digits) at out; returns the end.
  static char* writeTwoAtLeast(char* out, unsigned int value);

 private:
  static char* writeBackward32(char* end, uint32_t value);
};

#endif  // LIVEDATA_DECIMALDIGITS_H_

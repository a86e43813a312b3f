// A number taken out of (or put into) a datamap value of any numeric or boolean
// type, converted like a C cast with the undefined cases defined:
//  - floating to integer truncates toward zero and saturates at the target's
//    range; NaN gives 0 (negative values give 0 for unsigned targets);
//  - double to float beyond the float range gives +/-infinity;
//  - integer to integer keeps the low bits (two's complement);
//  - anything to boolean is (value != 0); boolean to anything is 0 or 1.
//
// Thread-safety: plain value type.
#ifndef HOSTSTORE_NUMERICVALUE_H_
#define HOSTSTORE_NUMERICVALUE_H_

#include <math.h>

#include <stdint.h>
#include <string.h>
#include <cmath>

#include <limits>
#include <type_traits>

namespace dmhost {

class NumericValue {
 public:
  enum Kind { kSigned, kUnsigned, kFloating };

  static NumericValue fromSigned(long long v) { return NumericValue(kSigned, v, 0, 0.0); }
  static NumericValue fromUnsigned(unsigned long long v) {
    return NumericValue(kUnsigned, 0, v, 0.0);
  }
  static NumericValue fromDouble(double v) { return NumericValue(kFloating, 0, 0, v); }

  // True when type holds a number (integers, floats, the flt64 aliases, boolean).
  static bool isNumericType(uint32_t type);
  // Decodes the stored bytes of a numeric type; false for other types.
  static bool decode(uint32_t type, const void* storage, NumericValue* out);
  // Encodes into the storage of a numeric type (storageSize(type) bytes).
  bool encode(uint32_t type, void* storage) const;

  Kind kind() const { return kind_; }
  bool isZero() const;

  template <typename T>
  T as() const {
    if constexpr (std::is_same<T, bool>::value) {
      return !isZero();
    } else if constexpr (std::is_floating_point<T>::value) {
      return asFloating<T>();
    } else {
      if (kind_ == kFloating) return saturate<T>(d_);
      if (kind_ == kSigned) return static_cast<T>(s_);
      return static_cast<T>(u_);
    }
  }

 private:
  NumericValue(Kind kind, long long s, unsigned long long u, double d)
      : kind_(kind), s_(s), u_(u), d_(d) {}

  template <typename T>
  T asFloating() const {
    if (kind_ == kSigned) return static_cast<T>(s_);
    if (kind_ == kUnsigned) return static_cast<T>(u_);
    if (std::is_same<T, float>::value && !std::isnan(d_) &&
        fabs(d_) > static_cast<double>(std::numeric_limits<float>::max())) {
      return d_ > 0 ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity();
    }
    return static_cast<T>(d_);
  }

  template <typename T>
  static T saturate(double d) {
    if (std::isnan(d)) return 0;
    double t = trunc(d);
    double upper = ldexp(1.0, std::numeric_limits<T>::digits);  // max + 1
    if (t >= upper) return std::numeric_limits<T>::max();
    if (std::is_signed<T>::value) {
      if (t <= -upper) return std::numeric_limits<T>::min();
    } else if (t < 0) {
      return 0;
    }
    return static_cast<T>(t);
  }

  Kind kind_;
  long long s_;
  unsigned long long u_;
  double d_;
};

}  // namespace dmhost

#endif  // HOSTSTORE_NUMERICVALUE_H_

// The meter publishes power factors as texts: "0.900 Lag", "0.800 Lead". The
// exporter's number is signed the way the simulator's --pf option is: lagging
// positive, leading negative.
//
// Thread-safety: a pure function.
#ifndef EXPORT_POWERFACTORTEXT_H_
#define EXPORT_POWERFACTORTEXT_H_

#include <stddef.h>

namespace ldexport {

// Parses text (at most size bytes, stopping at a NUL): a decimal number in
// 0..1, blanks, then "Lag" or "Lead" (letter case ignored); a number with no
// word after it counts as lagging (unity). Leading and trailing blanks are
// allowed. Returns false for anything else, leaving *value untouched.
bool parsePowerFactorText(const char* text, size_t size, double* value);

}  // namespace ldexport

#endif  // EXPORT_POWERFACTORTEXT_H_

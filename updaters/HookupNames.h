// Names of the meter's wiring (hookup) codes as the phasor and symmetrical
// components documents print them. The polling and THD pages use texts of their
// own; these differ from the polling page's on purpose ("Delta 3 CTs",
// "2.5 Element Wye").
//
// Thread-safety: constant data.
#ifndef UPDATERS_HOOKUPNAMES_H_
#define UPDATERS_HOOKUPNAMES_H_

#include <stdint.h>

// Indexed by the "sys.enumeration.hookup" code; code 5 has the empty name.
extern const char* const hookup_str[6];

// hookup_str[code], or the empty name for codes past the table.
const char* hookup_name(uint32_t code);

#endif  // UPDATERS_HOOKUPNAMES_H_

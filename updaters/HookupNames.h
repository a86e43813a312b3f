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

// Wye (0) and 2.5 element wye (3) hookups have a neutral: their pages show the
// phase-to-neutral voltages, every other hookup the phase-to-phase ones.
inline bool hookup_is_wye(uint32_t code) { return code == 0 || code == 3; }

#endif  // UPDATERS_HOOKUPNAMES_H_

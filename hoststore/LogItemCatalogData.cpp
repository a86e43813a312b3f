// Generated from data/log_items.catalog: the log item catalogue embedded into
// the host store library. Do not edit by hand; after changing the data file
// regenerate it from the top of the source tree with
//   F=hoststore/LogItemCatalogData.cpp; { sed -n '1,10p' $F;
//   printf 'const char kEmbeddedLogItemCatalog[] = R"log_items(';
//   cat data/log_items.catalog; printf ')log_items";\n\n}  // namespace dmhost\n';
//   } > $F.new && mv $F.new $F
// The log exporter tests fail while the two differ.
#include "hoststore/LogItemCatalog.h"
namespace dmhost {
const char kEmbeddedLogItemCatalog[] =
    R"log_items(# Log items of the meter, as the log exporter names them to the limit alarms.
#
# One item per line: ID SUBID NAME
#   ID     item id, decimal 1..65534: the measured quantity (65535 marks an unused
#          limit on the meter and is never an item)
#   SUBID  sub id, decimal 0..255: the phase, line or channel of the quantity
#   NAME   the rest of the line after the single blank that follows SUBID,
#          1..79 bytes
# Blank lines and lines starting with '#' are ignored. Each (ID, SUBID) pair
# appears once.
#
# Numbering: the item id names the quantity. Sub ids 1, 2, 3 are phases A, B, C
# (or lines AN, BN, CN), 4 is neutral or neutral-to-ground, 5 the average or
# total of the three; other sub ids are explained with their item.

# 1: phase-to-neutral voltages (1-second readings)
1 1 Volts AN
1 2 Volts BN
1 3 Volts CN
1 4 Volts NG
1 5 Volts LN Avg
# 2: phase-to-phase voltages
2 1 Volts AB
2 2 Volts BC
2 3 Volts CA
2 5 Volts LL Avg
# 3: currents
3 1 Amps A
3 2 Amps B
3 3 Amps C
3 4 Amps N
3 5 Amps Avg
# 4: active power
4 1 Watts A
4 2 Watts B
4 3 Watts C
4 5 Watts Total
# 5: reactive power
5 1 VARs A
5 2 VARs B
5 3 VARs C
5 5 VARs Total
# 6: apparent power
6 1 VA A
6 2 VA B
6 3 VA C
6 5 VA Total
# 7: power factor
7 1 PF A
7 2 PF B
7 3 PF C
7 5 PF Total
# 8: frequency
8 1 Frequency
# 9: voltage total harmonic distortion (11, 12, 13: lines AB, BC, CA)
9 1 Volts AN %THD
9 2 Volts BN %THD
9 3 Volts CN %THD
9 11 Volts AB %THD
9 12 Volts BC %THD
9 13 Volts CA %THD
# 10: current total harmonic distortion
10 1 Amps A %THD
10 2 Amps B %THD
10 3 Amps C %THD
10 4 Amps N %THD
# 11: short-term flicker (10 minutes)
11 1 Pst AN
11 2 Pst BN
11 3 Pst CN
# 12: long-term flicker (2 hours)
12 1 Plt AN
12 2 Plt BN
12 3 Plt CN
# 13: unbalance (symmetrical components)
13 1 Volts Unbalance V0/V1
13 2 Volts Unbalance V2/V1
13 3 Amps Unbalance I0/I1
13 4 Amps Unbalance I2/I1
# 14: demand (6: reactive total, 7: apparent total)
14 1 Amps A Demand
14 2 Amps B Demand
14 3 Amps C Demand
14 5 Watts Total Demand
14 6 VARs Total Demand
14 7 VA Total Demand
)log_items";

}  // namespace dmhost

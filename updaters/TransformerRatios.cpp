#include "updaters/TransformerRatios.h"

void TransformerRatios::addTo(DmKeyTable& table) {
  table.add(pt_, "dev.pt.pn.ratio", "dm_read_uint32 error on dev.pt.pn.ratio with error code= ");
  table.add(ct_, "dev.ct.abc.ratio", "dm_read_uint32 error on dev.ct.abc.ratio with error code= ");
}

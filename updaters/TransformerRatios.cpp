#include "updaters/TransformerRatios.h"

void TransformerRatios::addTo(DmKeyTable& table) {
  table.addKeyed(pt_, "dev.pt.pn.ratio", "dm_read_uint32 error on %s with error code= ");
  table.addKeyed(ct_, "dev.ct.abc.ratio", "dm_read_uint32 error on %s with error code= ");
}

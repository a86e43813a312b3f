// The Prometheus text exposition (format 0.0.4) of one Snapshot.
//
// One family per quantity (kMetricFamilies), each with # HELP and # TYPE, in
// table order, then meter_info and meter_last_update_timestamp_seconds. A
// family with no sample present in the period is left out whole; a sample
// that is absent is left out of its family.
//
// Thread-safety: a pure function of its arguments.
#ifndef EXPORT_PROMETHEUSTEXT_H_
#define EXPORT_PROMETHEUSTEXT_H_

#include "export/Snapshot.h"
#include "export/TextBuffer.h"

namespace ldexport {

// Replaces out's text with the exposition of snapshot. Allocates nothing.
void formatPrometheusText(const Snapshot& snapshot, TextBuffer* out);

}  // namespace ldexport

#endif  // EXPORT_PROMETHEUSTEXT_H_

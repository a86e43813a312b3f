// Chooses the limits the simulated meter enables: one log item for each of the
// first few quantities of the log item catalogue, so that the daemon's limit
// labels name real items. Without a usable catalogue, items 1..N with sub id 1.
#ifndef TOOLS_METER_SIM_LIMITSELECTION_H_
#define TOOLS_METER_SIM_LIMITSELECTION_H_

#include <string>
#include <vector>

#include "MeterBlocks.h"

class LimitSelection {
 public:
  static constexpr int kEnabledLimits = 6;

  // path: a catalogue file; empty = $LOG_ITEM_CATALOG, else the built-in one.
  // *note receives a line to show when the fallback was used.
  static std::vector<MeterBlocks::Limit> choose(const std::string& path, std::string* note);

  // The selection from catalogue text into *limits (empty when the text is no
  // catalogue: the status says why, or none).
  static base::Status fromCatalogText(const std::string& text, const std::string& origin,
                                      std::vector<MeterBlocks::Limit>* limits);
  static std::vector<MeterBlocks::Limit> fallback();
};

#endif  // TOOLS_METER_SIM_LIMITSELECTION_H_

// Datamap keys and read-error formats that more than one updater uses, each
// written once here. A format's one "%s" takes the key it is used with
// (DmKeyTable::addKeyed, addReadOfKey, keepf).
#pragma once

namespace sharedkeys {

// Keys.
constexpr char kFrequency[] = "reading.1sec.freq";
constexpr char kDesignation[] = "dev.designation";
constexpr char kClock[] = "reading.time.ltc";
constexpr char kPowerOnTime[] = "sys.ontime";

// Read-error formats.
constexpr char kFlt64KeyFormat[] = "dm_read_flt64 error on key \"%s\" with error code= ";

}  // namespace sharedkeys

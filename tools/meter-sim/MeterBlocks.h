// The raw data blocks of the simulated meter:
//  - block 1: the energy page's text fields (NUL-terminated, 20 bytes apart);
//  - block 2: the factory record (serial number, OEM text and a big-endian
//    CRC-16 walked downwards from the record's last byte) and the six harmonic
//    arrays;
//  - blocks 18 and 19: the limit table (enable word, log item and sub ids) and
//    the limit names.
// Everything except the checksum is in the machine's native byte order; the
// offsets are those of platform/meter_blocks.h, which the daemon reads by.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_METERBLOCKS_H_
#define TOOLS_METER_SIM_METERBLOCKS_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "HarmonicModel.h"
#include "base/Status.h"
#include "hoststore/HostDatamap.h"
#include "platform/meter_blocks.h"

class MeterBlocks {
 public:
  struct Limit {
    uint16_t id;
    uint8_t subId;
    std::string name;
  };

  // One text field of block 1: its byte position and text (at most 19 bytes).
  struct TextField {
    size_t offset;
    const char* text;
  };
  static const std::vector<TextField>& textFields();

  explicit MeterBlocks(dmhost::HostDatamap& map) : map_(map) {}

  base::Status writeTextFields();
  // serial: 16 characters; oem: at most 16.
  base::Status writeFactoryRecord(const std::string& serial, const std::string& oem);
  base::Status writeHarmonics(const HarmonicModel& model);
  // Enables limits 0..n-1 with the given items; the rest are unused (id 0xFFFF).
  base::Status writeLimits(const std::vector<Limit>& limits);

  // The factory record's checksum as the meter computes it.
  static uint16_t factoryChecksum(const unsigned char record[meter_blocks::kFactoryRecordSize]);

 private:
  dmhost::HostDatamap& map_;
};

#endif  // TOOLS_METER_SIM_METERBLOCKS_H_

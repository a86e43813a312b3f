// The raw data blocks of the simulated meter:
//  - block 1: the energy page's text fields (NUL-terminated, 20 bytes apart);
//  - block 2: the factory record (serial number, OEM text and a big-endian
//    CRC-16 over bytes 59906..60415, walked downwards from 60415) and the six
//    harmonic arrays;
//  - blocks 18 and 19: the limit table (enable word, log item and sub ids) and
//    the limit names.
// Everything except the checksum is in the machine's native byte order.
//
// Thread-safety: one object per thread.
#ifndef TOOLS_METER_SIM_METERBLOCKS_H_
#define TOOLS_METER_SIM_METERBLOCKS_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "HarmonicModel.h"
#include "platform/host/HostDatamap.h"

class MeterBlocks {
 public:
  static constexpr size_t kFactoryRecord = 59904;  // block 2
  static constexpr size_t kFactoryRecordSize = 512;
  static constexpr size_t kSerialOffset = 60352;
  static constexpr size_t kOemOffset = 60368;
  static constexpr size_t kLimitEnableWord = 8832;  // block 18; bit 0 = most significant
  static constexpr size_t kLimitItemIds = 8840;     // block 18, 32 x uint16
  static constexpr size_t kLimitSubIds = 8968;      // block 18, 32 x uint8
  static constexpr size_t kLimitNames = 64;         // block 19, 32 x 80 bytes
  static constexpr int kLimits = 32;

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

  bool writeTextFields(std::string* error);
  // serial: 16 characters; oem: at most 16.
  bool writeFactoryRecord(const std::string& serial, const std::string& oem, std::string* error);
  bool writeHarmonics(const HarmonicModel& model, std::string* error);
  // Enables limits 0..n-1 with the given items; the rest are unused (id 0xFFFF).
  bool writeLimits(const std::vector<Limit>& limits, std::string* error);

  // The factory record's checksum as the meter computes it.
  static uint16_t factoryChecksum(const unsigned char record[kFactoryRecordSize]);

 private:
  dmhost::HostDatamap& map_;
};

#endif  // TOOLS_METER_SIM_METERBLOCKS_H_

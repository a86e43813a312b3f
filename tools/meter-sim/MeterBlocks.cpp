#include "MeterBlocks.h"

#include <string.h>

#include "platform/common_api.h"

const std::vector<MeterBlocks::TextField>& MeterBlocks::textFields() {
  static const std::vector<TextField> kFields = {
      // Energy registers, compensated.
      {29596, "VARh Q34"}, {29616, "VARh Q12"}, {29636, "Wh Rec"}, {29656, "Wh Del"},
      {29676, "VAh"},
      // Energy registers, uncompensated.
      {29836, "VARh Q34 Unc"}, {29856, "VARh Q12 Unc"}, {29876, "Wh Rec Unc"},
      {29896, "Wh Del Unc"}, {29916, "VAh Unc"},
      // I squared t and V squared t.
      {29936, "V2t C"}, {29956, "V2t B"}, {29976, "V2t A"}, {29996, "I2t C"},
      {30016, "I2t B"}, {30036, "I2t A"},
      // Per-quadrant registers.
      {30056, "Wh Q1"}, {30076, "Wh Q2"}, {30096, "Wh Q3"}, {30116, "Wh Q4"},
      {30136, "VARh Q1"}, {30156, "VARh Q2"}, {30176, "VARh Q3"}, {30196, "VARh Q4"},
      {30216, "VAh Q1"}, {30236, "VAh Q2"}, {30256, "VAh Q3"}, {30276, "VAh Q4"},
      // Q-hours.
      {30296, "Qh Neg"}, {30316, "Qh Pos"},
      // Pulse accumulators 1..8 (the page lists them from 32940 down).
      {32940, "Accum 1 Wh Del"}, {32920, "Accum 2 Wh Rec"}, {32900, "Accum 3 VARh+"},
      {32880, "Accum 4 VARh-"}, {32860, "Accum 5 VAh"}, {32840, "Accum 6 Wh A"},
      {32820, "Accum 7 Wh B"}, {32800, "Accum 8 Wh C"},
      // Aggregators 1..4.
      {33196, "Agg 1 Wh Net"}, {33176, "Agg 2 VARh"}, {33156, "Agg 3 VAh+Wh A"},
      {33136, "Agg 4 Wh B+C"},
  };
  return kFields;
}

bool MeterBlocks::writeTextFields(std::string* error) {
  for (const TextField& field : textFields()) {
    char text[20] = {};
    strncpy(text, field.text, sizeof text - 1);
    if (!map_.writeBlock(1, field.offset, text, sizeof text, error)) return false;
  }
  return true;
}

uint16_t MeterBlocks::factoryChecksum(const unsigned char record[kFactoryRecordSize]) {
  return CRC16_down(0xFFFF, 510, record + kFactoryRecordSize - 1);
}

bool MeterBlocks::writeFactoryRecord(const std::string& serial, const std::string& oem,
                                     std::string* error) {
  unsigned char record[kFactoryRecordSize] = {};
  memcpy(record + (kSerialOffset - kFactoryRecord), serial.data(), serial.size() < 16 ? serial.size() : 16);
  memcpy(record + (kOemOffset - kFactoryRecord), oem.data(), oem.size() < 16 ? oem.size() : 16);
  const uint16_t crc = factoryChecksum(record);
  record[0] = static_cast<unsigned char>(crc >> 8);  // big-endian on every machine
  record[1] = static_cast<unsigned char>(crc & 0xFF);
  return map_.writeBlock(2, kFactoryRecord, record, sizeof record, error);
}

bool MeterBlocks::writeHarmonics(const HarmonicModel& model, std::string* error) {
  for (int c = 0; c < HarmonicModel::kChannels; ++c) {
    const HarmonicModel::Harmonics& s = model.harmonics(c);
    if (!map_.writeBlock(2, HarmonicModel::phaseOffset(c), s.phase, sizeof s.phase, error) ||
        !map_.writeBlock(2, HarmonicModel::magnitudeOffset(c), s.magnitude, sizeof s.magnitude, error))
      return false;
  }
  return true;
}

bool MeterBlocks::writeLimits(const std::vector<Limit>& limits, std::string* error) {
  uint32_t enabled = 0;
  uint16_t ids[kLimits];
  uint8_t subIds[kLimits] = {};
  char names[kLimits][80] = {};
  for (int i = 0; i < kLimits; ++i) {
    ids[i] = 0xFFFF;
    if (i >= static_cast<int>(limits.size())) continue;
    enabled |= 0x80000000u >> i;
    ids[i] = limits[i].id;
    subIds[i] = limits[i].subId;
    strncpy(names[i], limits[i].name.c_str(), sizeof names[i] - 1);
  }
  return map_.writeBlock(18, kLimitEnableWord, &enabled, sizeof enabled, error) &&
         map_.writeBlock(18, kLimitItemIds, ids, sizeof ids, error) &&
         map_.writeBlock(18, kLimitSubIds, subIds, sizeof subIds, error) &&
         map_.writeBlock(19, kLimitNames, names, sizeof names, error);
}

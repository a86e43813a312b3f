#include "MeterBlocks.h"

#include <string.h>

#include <algorithm>

#include "platform/common_api.h"
#include "platform/meter_blocks.h"

namespace {

using namespace meter_blocks;

// The texts of one group of block 1's fields, from its first field upwards.
struct TextGroup {
  size_t first;
  std::vector<const char*> texts;
};

const TextGroup kTextGroups[] = {
    {kEnergyTexts, {"VARh Q34", "VARh Q12", "Wh Rec", "Wh Del", "VAh"}},
    {kUncompensatedTexts, {"VARh Q34 Unc", "VARh Q12 Unc", "Wh Rec Unc", "Wh Del Unc", "VAh Unc"}},
    {kV2tI2tTexts, {"V2t C", "V2t B", "V2t A", "I2t C", "I2t B", "I2t A"}},
    {kQuadrantTexts,
     {"Wh Q1", "Wh Q2", "Wh Q3", "Wh Q4", "VARh Q1", "VARh Q2", "VARh Q3", "VARh Q4", "VAh Q1",
      "VAh Q2", "VAh Q3", "VAh Q4"}},
    {kQhrTexts, {"Qh Neg", "Qh Pos"}},
    // Pulse accumulators 8 down to 1, aggregators 4 down to 1.
    {kAccumulatorTexts,
     {"Accum 8 Wh C", "Accum 7 Wh B", "Accum 6 Wh A", "Accum 5 VAh", "Accum 4 VARh-",
      "Accum 3 VARh+", "Accum 2 Wh Rec", "Accum 1 Wh Del"}},
    {kAggregatorTexts, {"Agg 4 Wh B+C", "Agg 3 VAh+Wh A", "Agg 2 VARh", "Agg 1 Wh Net"}},
};

}  // namespace

const std::vector<MeterBlocks::TextField>& MeterBlocks::textFields() {
  static const std::vector<TextField> kFields = [] {
    std::vector<TextField> fields;
    for (const TextGroup& group : kTextGroups) {
      for (size_t i = 0; i < group.texts.size(); ++i) {
        fields.push_back(TextField{textField(group.first, static_cast<int>(i)), group.texts[i]});
      }
    }
    return fields;
  }();
  return kFields;
}

base::Status MeterBlocks::writeTextFields() {
  for (const TextField& field : textFields()) {
    char text[kTextFieldSize] = {};
    strncpy(text, field.text, sizeof text - 1);
    base::Status written = map_.writeBlock(kTextBlock, field.offset, text, sizeof text);
    if (!written.ok()) return written;
  }
  return base::Status::Ok();
}

uint16_t MeterBlocks::factoryChecksum(const unsigned char record[kFactoryRecordSize]) {
  return CRC16_down(0xFFFF, kFactoryChecksumLength, record + kFactoryRecordSize - 1);
}

base::Status MeterBlocks::writeFactoryRecord(const std::string& serial, const std::string& oem) {
  unsigned char record[kFactoryRecordSize] = {};
  const size_t field = kFactoryFieldSize;
  memcpy(record + (kFactorySerial - kFactoryRecord), serial.data(), std::min(serial.size(), field));
  memcpy(record + (kFactoryOem - kFactoryRecord), oem.data(), std::min(oem.size(), field));
  const uint16_t crc = factoryChecksum(record);
  record[0] = static_cast<unsigned char>(crc >> 8);  // big-endian on every machine
  record[1] = static_cast<unsigned char>(crc & 0xFF);
  return map_.writeBlock(kReadingsBlock, kFactoryRecord, record, sizeof record);
}

base::Status MeterBlocks::writeHarmonics(const HarmonicModel& model) {
  base::Status status;
  for (int c = 0; status.ok() && c < HarmonicModel::kChannels; ++c) {
    const HarmonicModel::Harmonics& s = model.harmonics(c);
    status = map_.writeBlock(kReadingsBlock, harmonicPhaseOffset(c), s.phase, sizeof s.phase);
    if (status.ok()) {
      status = map_.writeBlock(kReadingsBlock, harmonicMagnitudeOffset(c), s.magnitude,
                               sizeof s.magnitude);
    }
  }
  return status;
}

base::Status MeterBlocks::writeLimits(const std::vector<Limit>& limits) {
  uint32_t enabled = 0;
  uint16_t ids[kLimits];
  uint8_t subIds[kLimits] = {};
  char names[kLimits][kLimitNameSize] = {};
  for (int i = 0; i < kLimits; ++i) {
    ids[i] = 0xFFFF;
    if (i >= static_cast<int>(limits.size())) continue;
    enabled |= 0x80000000u >> i;
    ids[i] = limits[i].id;
    subIds[i] = limits[i].subId;
    strncpy(names[i], limits[i].name.c_str(), sizeof names[i] - 1);
  }
  base::Status status =
      map_.writeBlock(kLimitTableBlock, kLimitEnableWord, &enabled, sizeof enabled);
  if (status.ok()) status = map_.writeBlock(kLimitTableBlock, kLimitItemIds, ids, sizeof ids);
  if (status.ok()) status = map_.writeBlock(kLimitTableBlock, kLimitSubIds, subIds, sizeof subIds);
  if (status.ok()) status = map_.writeBlock(kLimitNameBlock, kLimitNames, names, sizeof names);
  return status;
}

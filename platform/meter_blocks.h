// The layout of the meter's shared data blocks, as the metering process writes
// them and dm_get_sys_data_handle maps them: byte offsets from the start of a
// block. Values are in the machine's native byte order unless noted.
//
//  - block 1, "shared_meter_data1": the energy page's text fields, each a
//    NUL-terminated text of at most 19 bytes, 20 bytes apart;
//  - block 2, "shared_meter_readings": the harmonic arrays and the factory record;
//  - blocks 18 and 19: the limit table and the limit names.
#ifndef PLATFORM_METER_BLOCKS_H_
#define PLATFORM_METER_BLOCKS_H_

#include <stddef.h>

namespace meter_blocks {

// Block numbers.
constexpr int kTextBlock = 1;      // "shared_meter_data1"
constexpr int kReadingsBlock = 2;  // "shared_meter_readings"
constexpr int kLimitTableBlock = 18;
constexpr int kLimitNameBlock = 19;

// Block 1: text fields.
constexpr size_t kTextFieldSize = 20;
constexpr size_t kEnergyTexts = 29596;         // 5 fields: VARh Q34, VARh Q12, Wh Rec, Wh Del, VAh
constexpr size_t kUncompensatedTexts = 29836;  // the same 5, uncompensated
constexpr size_t kV2tI2tTexts = 29936;         // V2t C, B, A, then I2t C, B, A
constexpr size_t kQuadrantTexts = 30056;       // Wh Q1-Q4, VARh Q1-Q4, VAh Q1-Q4
constexpr size_t kQhrTexts = 30296;            // Qh Neg, Qh Pos
constexpr size_t kAccumulatorTexts = 32800;    // accumulator 8 up to accumulator 1
constexpr size_t kAggregatorTexts = 33136;     // aggregator 4 up to aggregator 1

// The text field `index` fields above `first`.
constexpr size_t textField(size_t first, int index) {
  return first + kTextFieldSize * static_cast<size_t>(index);
}

// Block 2: harmonic arrays, 128 16-bit values each; channels va, vb, vc, ia, ib,
// ic. The phases (signed) of a channel lie directly below its magnitudes
// (unsigned).
constexpr int kHarmonicChannels = 6;
constexpr int kHarmonicArrayLength = 128;
constexpr size_t kHarmonicArrayBytes = 2 * kHarmonicArrayLength;
constexpr size_t kHarmonicPhases[kHarmonicChannels] = {76800, 77312, 77824, 78848, 79360, 79872};
constexpr size_t harmonicPhaseOffset(int channel) { return kHarmonicPhases[channel]; }
constexpr size_t harmonicMagnitudeOffset(int channel) {
  return kHarmonicPhases[channel] + kHarmonicArrayBytes;
}

// Block 2: the factory record. The checksum is big-endian on every machine; it
// covers the 510 bytes from the record's last byte downwards.
constexpr size_t kFactoryRecord = 59904;  // the stored checksum, 16 bits
constexpr size_t kFactoryRecordSize = 512;
constexpr size_t kFactorySerial = 60352;  // 16 bytes, not necessarily NUL-terminated
constexpr size_t kFactoryOem = 60368;     // 16 bytes, not necessarily NUL-terminated
constexpr size_t kFactoryRecordLastByte = kFactoryRecord + kFactoryRecordSize - 1;
constexpr int kFactoryChecksumLength = 510;
constexpr int kFactoryFieldSize = 16;

// Blocks 18 and 19: the limit table.
constexpr int kLimits = 32;
constexpr size_t kLimitEnableWord = 8832;  // block 18; bit 0 = most significant
constexpr size_t kLimitItemIds = 8840;     // block 18, 32 x uint16
constexpr size_t kLimitSubIds = 8968;      // block 18, 32 x uint8
constexpr size_t kLimitNames = 64;         // block 19, 32 x 80 bytes
constexpr size_t kLimitNameSize = 80;

}  // namespace meter_blocks

#endif  // PLATFORM_METER_BLOCKS_H_

// Shared inputs of the energy and factory settings tests: a catalogue with all
// of the energy updater's keys, the text fields of the shared_meter_data1 block
// and the factory record of the shared_meter_readings block.
#ifndef TESTS_UPDATERS_ENERGY_TEST_DATA_H_
#define TESTS_UPDATERS_ENERGY_TEST_DATA_H_

#include <string.h>

#include <string>
#include <vector>

#include "platform/meter_blocks.h"
#include "tests/support/MapFixture.h"

namespace energy_test {

inline const char* catalog() {
  return R"(# energy updater keys
reading.1sec.energy.qhr.pos.total.sec flt64 1.5
reading.1sec.energy.qhr.neg.total.sec flt64 2.25
reading.1sec.energy.watthr.q14.total.sec flt64 1000.125
reading.1sec.energy.watthr.q23.total.sec flt64 2000.25
reading.1sec.energy.varhr.q12.total.sec flt64 3000.375
reading.1sec.energy.varhr.q34.total.sec flt64 4000.5
reading.1sec.energy.vahr.total.total.sec flt64 5000.625
reading.1sec.energy.uncomp_watthr.q14.total.sec flt64 1100.125
reading.1sec.energy.uncomp_watthr.q23.total.sec flt64 1200.25
reading.1sec.energy.uncomp_varhr.q12.total.sec flt64 1300.375
reading.1sec.energy.uncomp_varhr.q34.total.sec flt64 1400.5
reading.1sec.energy.uncomp_vahr.total.sec flt64 1500.625
reading.demand.current.watt.q14.total flt64 11.5
reading.demand.current.watt.q14.total.sec flt64 12.5
reading.demand.current.watt.q23.total flt64 13.5
reading.demand.current.watt.q23.total.sec flt64 14.5
reading.demand.current.var.q12.total flt64 15.5
reading.demand.current.var.q12.total.sec flt64 16.5
reading.demand.current.var.q34.total flt64 17.5
reading.demand.current.var.q34.total.sec flt64 18.5
reading.demand.current.va.total.total flt64 19.5
reading.demand.current.va.total.total.sec flt64 20.5
reading.1sec.accum.hsi.1 uint64 1
reading.1sec.accum.hsi.2 uint64 2
reading.1sec.accum.hsi.3 uint64 3
reading.1sec.accum.hsi.4 uint64 4
reading.1sec.accum.hsi.5 uint64 5
reading.1sec.accum.hsi.6 uint64 6
reading.1sec.accum.hsi.7 uint64 7
reading.1sec.accum.hsi.8 uint64 8
reading.1sec.accum.agg.1 uint64 11
reading.1sec.accum.agg.2 uint64 12
reading.1sec.accum.agg.3 uint64 13
reading.1sec.accum.agg.4 uint64 14
posmax.demand.current.watt.total flt64 1250000
posmax.valid.demand.current.watt.total boolean 1
posmax.timestamp.demand.current.watt.total ts8 2023-04-05 06:07:08
negmax.demand.current.watt.total flt64 -2375000
negmax.valid.demand.current.watt.total boolean 1
negmax.timestamp.demand.current.watt.total ts8 2023-05-06 07:08:09
dev.designation string64 Sub "North" C:\ 1/2
reading.time.ltc ts8 2024-01-02 03:04:05
sys.ontime ts8 2023-12-31 23:59:58
sys.timestamp.reset_energy ts8 2022-10-05 19:03:30
sys.timestamp.reset_hsi_accumulator ts8 2022-11-06 20:04:31
sys.timestamp.reset_demand_peak ts8 2022-12-07 21:05:32
dev.pt.pn.ratio uint32 1
dev.ct.abc.ratio uint32 1
)";
}

// Every text field of shared_meter_data1 the document uses gets the text "T"
// followed by its offset.
inline void writeBlockTexts(testsupport::MapFixture& map) {
  using namespace meter_blocks;
  const struct {
    size_t first;
    int count;
  } groups[] = {{kEnergyTexts, 5}, {kUncompensatedTexts, 5}, {kV2tI2tTexts, 6},
                {kQuadrantTexts, 12}, {kQhrTexts, 2}, {kAccumulatorTexts, 8},
                {kAggregatorTexts, 4}};
  for (const auto& group : groups) {
    for (int i = 0; i < group.count; ++i) {
      const size_t offset = textField(group.first, i);
      std::string text = "T" + std::to_string(offset);
      text.push_back('\0');
      map.writeBlock(kTextBlock, offset, text);
    }
  }
}

// CRC-16/MODBUS, bit by bit, over bytes taken downwards from last.
inline unsigned short crcDownwards(const unsigned char* last, int length) {
  unsigned crc = 0xFFFF;
  for (int i = 0; i < length; ++i) {
    crc ^= last[-i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
  }
  return static_cast<unsigned short>(crc);
}

// The 512-byte factory record (block 2, byte 59904): serial and OEM fields of
// exactly 16 bytes (shorter texts are NUL-padded), other bytes as given, the
// checksum stored big-endian over bytes 2..511 (plus flip, to spoil it).
inline std::vector<unsigned char> factoryRecord(const std::string& serial, const std::string& oem,
                                                unsigned char fill = 0, unsigned short flip = 0) {
  using namespace meter_blocks;
  std::vector<unsigned char> record(kFactoryRecordSize, fill);
  unsigned char* serialField = &record[kFactorySerial - kFactoryRecord];
  unsigned char* oemField = &record[kFactoryOem - kFactoryRecord];
  memset(serialField, 0, 2 * kFactoryFieldSize);
  memcpy(serialField, serial.data(), serial.size() < 16 ? serial.size() : 16);
  memcpy(oemField, oem.data(), oem.size() < 16 ? oem.size() : 16);
  unsigned short crc = crcDownwards(&record[511], 510) ^ flip;
  record[0] = static_cast<unsigned char>(crc >> 8);
  record[1] = static_cast<unsigned char>(crc & 0xFF);
  return record;
}

inline void writeFactoryRecord(testsupport::MapFixture& map,
                               const std::vector<unsigned char>& record) {
  map.writeBlock(meter_blocks::kReadingsBlock, meter_blocks::kFactoryRecord, record.data(),
                 record.size());
}

}  // namespace energy_test

#endif  // TESTS_UPDATERS_ENERGY_TEST_DATA_H_

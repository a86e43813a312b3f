// The layout of the meter's programmable settings file (kv7720.kps), as the
// meter's configuration tools write it: byte offsets from the start of the file
// of the fields this program reads. Every label is 16 bytes, padded with
// blanks and not necessarily NUL-terminated.
//
// Thread-safety: constants only.
#ifndef PLATFORM_SETTINGS_FILE_H_
#define PLATFORM_SETTINGS_FILE_H_

#include <stddef.h>

namespace settings_file {

// Where the meter keeps the file (below the file-system root).
constexpr char kPath[] = "/home/korvo.data/root/kv7720.kps";

// Size of the file in bytes.
constexpr size_t kSize = 32784;

// Size of every label.
constexpr size_t kLabelSize = 16;

// Digital inputs: 8 records of 56 bytes; within a record the input's name and
// the labels of its open and shorted states.
constexpr int kDigitalInputCount = 8;
constexpr size_t kDigitalInputFirst = 896;
constexpr size_t kDigitalInputStride = 56;
constexpr size_t kDigitalInputName = 8;
constexpr size_t kDigitalInputOpen = 24;
constexpr size_t kDigitalInputShorted = 40;

// One byte: non-zero when quadrants 1 and 4 count as delivered energy.
constexpr size_t kEnergyDirectionFlag = 1940;

// Labels of the 8 pulse accumulators and the 4 aggregators, one after another.
constexpr int kAccumulatorCount = 8;
constexpr size_t kAccumulatorFirst = 2360;
constexpr int kAggregatorCount = 4;
constexpr size_t kAggregatorFirst = 2488;

// Offset of field (kDigitalInputName, kDigitalInputOpen or kDigitalInputShorted)
// of digital input `input` (0-based).
constexpr size_t digitalInputLabel(int input, size_t field) {
  return kDigitalInputFirst + kDigitalInputStride * static_cast<size_t>(input) + field;
}
// Offset of the label of accumulator or aggregator `index` (0-based).
constexpr size_t accumulatorLabel(int index) {
  return kAccumulatorFirst + kLabelSize * static_cast<size_t>(index);
}
constexpr size_t aggregatorLabel(int index) {
  return kAggregatorFirst + kLabelSize * static_cast<size_t>(index);
}

}  // namespace settings_file

#endif  // PLATFORM_SETTINGS_FILE_H_

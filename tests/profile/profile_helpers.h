// Test helpers for the device profile label document: a programmable settings
// file built byte by byte, and the document frame assembled from hand-written
// expected label texts.
#ifndef TESTS_PROFILE_PROFILE_HELPERS_H_
#define TESTS_PROFILE_PROFILE_HELPERS_H_

#include <stddef.h>

#include <string>
#include <vector>

#include "platform/meter_blocks.h"

namespace profiletest {

// Byte offsets in the programmable settings file.
constexpr size_t kSettingsSize = 32784;
constexpr size_t kDirectionFlag = 1940;
inline size_t accumulatorLabel(int i) { return 2360 + 16 * static_cast<size_t>(i); }
inline size_t aggregatorLabel(int i) { return 2488 + 16 * static_cast<size_t>(i); }
inline size_t inputNameLabel(int i) { return 896 + 56 * static_cast<size_t>(i) + 8; }
inline size_t inputOpenLabel(int i) { return 896 + 56 * static_cast<size_t>(i) + 24; }
inline size_t inputShortedLabel(int i) { return 896 + 56 * static_cast<size_t>(i) + 40; }

// Datamap user block offsets describing the limits.
constexpr size_t kLimitEnableWord = meter_blocks::kLimitEnableWord;  // block 18
constexpr size_t kLimitIds = meter_blocks::kLimitItemIds;            // block 18, 16-bit each
constexpr size_t kLimitSubIds = meter_blocks::kLimitSubIds;          // block 18, 8-bit each
constexpr size_t kLimitNames = meter_blocks::kLimitNames;            // block 19, 80 bytes each

// A settings file image, zero-filled.
class SettingsImage {
 public:
  explicit SettingsImage(size_t size = kSettingsSize) : bytes_(size, '\0') {}
  // Raw bytes at offset.
  void put(size_t offset, const std::string& bytes);
  // text followed by blanks up to 16 bytes (text must be at most 16 bytes).
  void putLabel(size_t offset, const std::string& text);
  void save(const std::string& path) const;
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

struct ExpectedLabels {
  bool delivered = true;  // direction flag non-zero
  std::vector<std::string> accumulators = std::vector<std::string>(8);
  std::vector<std::string> aggregators = std::vector<std::string>(4);
  std::vector<std::string> inputNames = std::vector<std::string>(8);
  std::vector<std::string> inputOpen = std::vector<std::string>(8);
  std::vector<std::string> inputShorted = std::vector<std::string>(8);
  std::vector<std::string> limits = std::vector<std::string>(32);
};

// The document as the device profile label format lays it out, with the given
// (already escaped) label texts.
std::string expectedDocument(const ExpectedLabels& labels);

}  // namespace profiletest

#endif  // TESTS_PROFILE_PROFILE_HELPERS_H_

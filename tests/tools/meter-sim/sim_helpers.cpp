#include "tests/tools/meter-sim/sim_helpers.h"
#include "tests/support/StatusAssertions.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>

namespace simtest {

std::string text(const dmhost::HostDatamap& map, const std::string& key) {
  std::string value;
  EXPECT_TRUE(testsupport::IsOk(map.getText(key, &value))) << key;
  return value;
}

double number(const dmhost::HostDatamap& map, const std::string& key) {
  const std::string value = text(map, key);
  char* end = nullptr;
  double parsed = strtod(value.c_str(), &end);
  EXPECT_TRUE(end != value.c_str() && *end == '\0') << key << " is not a number: " << value;
  return parsed;
}

std::string blockBytes(const dmhost::HostDatamap& map, int block, size_t offset, size_t length) {
  std::string bytes;
  EXPECT_TRUE(testsupport::IsOk(map.readBlock(block, offset, length, &bytes)));
  return bytes;
}

std::string snapshot(const std::string& mapPath) {
  dmhost::HostDatamap map;
  base::Status opened = map.open(mapPath);
  if (!opened.ok()) {
    ADD_FAILURE() << "cannot open " << opened.message();
    return "";
  }
  std::string all;
  for (const dmhost::KeyInfo& info : map.list()) all += info.key + "=" + text(map, info.key) + "\n";
  for (int block : {1, 2, 18, 19}) {
    all += "block " + std::to_string(block) + ":";
    all += blockBytes(map, block, 0, dmhost::kBlockSize);
    all += "\n";
  }
  return all;
}

uint16_t crc16Downwards(uint16_t crc, int len, const unsigned char* p) {
  for (int i = 0; i < len; ++i) {
    crc ^= *(p - i);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ 0xA001) : crc >> 1;
  }
  return crc;
}

double angleDifference(double a, double b) {
  double d = std::fmod(a - b, 360.0);
  if (d <= -180.0) d += 360.0;
  if (d > 180.0) d -= 360.0;
  return d;
}

}  // namespace simtest

// Helpers of the simulator tests: reading values back from a datamap file and
// a checksum written independently of the platform's helper.
#ifndef TESTS_TOOLS_METER_SIM_SIM_HELPERS_H_
#define TESTS_TOOLS_METER_SIM_SIM_HELPERS_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "hoststore/HostDatamap.h"

namespace simtest {

// The value text of key (fails the current test when the key cannot be read).
std::string text(const dmhost::HostDatamap& map, const std::string& key);
// The value of a numeric key.
double number(const dmhost::HostDatamap& map, const std::string& key);
// Bytes of a block.
std::string blockBytes(const dmhost::HostDatamap& map, int block, size_t offset, size_t length);
// Every key as "KEY=VALUE\n" in index order, followed by the four blocks in hex
// digests; two equal snapshots mean two equal maps.
std::string snapshot(const std::string& mapPath);

// CRC-16/MODBUS (reflected 0xA001) of len bytes read downwards from p.
uint16_t crc16Downwards(uint16_t crc, int len, const unsigned char* p);

// Angle difference a - b brought into (-180, 180].
double angleDifference(double a, double b);

}  // namespace simtest

#endif  // TESTS_TOOLS_METER_SIM_SIM_HELPERS_H_

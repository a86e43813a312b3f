// Modbus TCP framing and answers, as pure functions over bytes.
//
// A frame is the 7-byte MBAP header (transaction id, protocol id, length,
// unit id; big-endian) followed by length - 1 bytes of PDU. A header whose
// protocol id is not 0 or whose length is outside 2..254 is malformed: the
// stream cannot be followed past it and its connection is closed.
//
// Answers, from the register image (registers 40000 up):
//   - unit id other than the server's own, 0 or 255: exception 11;
//   - function 3 or 4: the registers, or exception 3 for a count of 0 or over
//     125 (or a PDU that is not exactly function, address and count), or
//     exception 2 when any register asked for lies outside the map;
//   - every other function (writes included: the map is read-only): exception 1.
//
// Thread-safety: no state; safe from any thread. Nothing allocates.
#ifndef EXPORT_MODBUS_MBAPFRAME_H_
#define EXPORT_MODBUS_MBAPFRAME_H_

#include <stddef.h>
#include <stdint.h>

#include "export/modbus/RegisterImage.h"

namespace modbus {

constexpr size_t kMbapHeaderSize = 7;
constexpr size_t kMaxFrameSize = kMbapHeaderSize - 1 + 254;   // 260
constexpr size_t kMaxAnswerSize = kMbapHeaderSize + 2 + 250;  // 125 registers: 259
constexpr uint16_t kMaxReadCount = 125;

enum class FrameCheck { kIncomplete, kMalformed, kComplete };

struct FrameSpan {
  FrameCheck check;
  size_t size;  // the whole frame's bytes when kComplete, else 0
};

// Looks at the first frame in data[0..size).
FrameSpan findFrame(const uint8_t* data, size_t size);

// Writes the answer to the complete frame frame[0..size) (as findFrame found
// it) into out, which holds at least kMaxAnswerSize bytes; returns its size.
size_t answerFrame(const uint8_t* frame, size_t size, uint8_t ownUnit, const RegisterImage& image,
                   uint8_t* out);

enum ExceptionCode : uint8_t {
  kIllegalFunction = 1,
  kIllegalDataAddress = 2,
  kIllegalDataValue = 3,
  kGatewayTargetFailed = 11,
};

}  // namespace modbus

#endif  // EXPORT_MODBUS_MBAPFRAME_H_

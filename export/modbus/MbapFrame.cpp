#include "export/modbus/MbapFrame.h"

namespace modbus {
namespace {

constexpr uint8_t kReadHoldingRegisters = 3;
constexpr uint8_t kReadInputRegisters = 4;
constexpr uint8_t kBroadcastUnit = 0;
constexpr uint8_t kAnyUnit = 255;

uint16_t bigEndian16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

void putBigEndian16(uint16_t value, uint8_t* p) {
  p[0] = static_cast<uint8_t>(value >> 8);
  p[1] = static_cast<uint8_t>(value & 0xFF);
}

// The header of an answer whose PDU has pduSize bytes; returns kMbapHeaderSize.
size_t putHeader(const uint8_t* frame, size_t pduSize, uint8_t* out) {
  out[0] = frame[0];  // transaction id, echoed
  out[1] = frame[1];
  putBigEndian16(0, out + 2);
  putBigEndian16(static_cast<uint16_t>(pduSize + 1), out + 4);
  out[6] = frame[6];  // unit id, echoed
  return kMbapHeaderSize;
}

size_t putException(const uint8_t* frame, uint8_t function, uint8_t code, uint8_t* out) {
  const size_t at = putHeader(frame, 2, out);
  out[at] = static_cast<uint8_t>(function | 0x80);
  out[at + 1] = code;
  return at + 2;
}

size_t answerRead(const uint8_t* frame, size_t size, const RegisterImage& image, uint8_t* out) {
  const uint8_t function = frame[kMbapHeaderSize];
  if (size != kMbapHeaderSize + 5) return putException(frame, function, kIllegalDataValue, out);
  const uint16_t address = bigEndian16(frame + kMbapHeaderSize + 1);
  const uint16_t count = bigEndian16(frame + kMbapHeaderSize + 3);
  if (count == 0 || count > kMaxReadCount) {
    return putException(frame, function, kIllegalDataValue, out);
  }
  if (address < kBaseAddress || address - kBaseAddress + size_t{count} > kRegisterCount) {
    return putException(frame, function, kIllegalDataAddress, out);
  }
  size_t at = putHeader(frame, 2 + 2 * size_t{count}, out);
  out[at++] = function;
  out[at++] = static_cast<uint8_t>(2 * count);
  const uint16_t* registers = image.registers + (address - kBaseAddress);
  for (uint16_t i = 0; i < count; ++i, at += 2) putBigEndian16(registers[i], out + at);
  return at;
}

}  // namespace

FrameSpan findFrame(const uint8_t* data, size_t size) {
  if (size >= 4 && bigEndian16(data + 2) != 0) return FrameSpan{FrameCheck::kMalformed, 0};
  if (size < 6) return FrameSpan{FrameCheck::kIncomplete, 0};
  const uint16_t length = bigEndian16(data + 4);
  if (length < 2 || length > 254) return FrameSpan{FrameCheck::kMalformed, 0};
  const size_t frameSize = kMbapHeaderSize - 1 + length;
  if (size < frameSize) return FrameSpan{FrameCheck::kIncomplete, 0};
  return FrameSpan{FrameCheck::kComplete, frameSize};
}

size_t answerFrame(const uint8_t* frame, size_t size, uint8_t ownUnit, const RegisterImage& image,
                   uint8_t* out) {
  const uint8_t unit = frame[6];
  const uint8_t function = frame[kMbapHeaderSize];
  if (unit != ownUnit && unit != kBroadcastUnit && unit != kAnyUnit) {
    return putException(frame, function, kGatewayTargetFailed, out);
  }
  if (function == kReadHoldingRegisters || function == kReadInputRegisters) {
    return answerRead(frame, size, image, out);
  }
  return putException(frame, function, kIllegalFunction, out);
}

}  // namespace modbus

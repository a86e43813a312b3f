// Fuzzes the Modbus TCP framing: arbitrary bytes are taken as a connection's
// input stream, split into frames and answered as the server does, until the
// stream is incomplete or malformed. Every answer must fit its buffer and carry
// a consistent MBAP header.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "export/modbus/MbapFrame.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static modbus::RegisterImage image;
  uint8_t out[modbus::kMaxAnswerSize];
  size_t at = 0;
  while (at < size) {
    const modbus::FrameSpan span = modbus::findFrame(data + at, size - at);
    if (span.check != modbus::FrameCheck::kComplete) break;
    if (span.size < modbus::kMbapHeaderSize + 1 || span.size > modbus::kMaxFrameSize) abort();
    const size_t answered = modbus::answerFrame(data + at, span.size, 1, image, out);
    if (answered < modbus::kMbapHeaderSize + 2 || answered > sizeof out) abort();
    const size_t length = static_cast<size_t>(out[4] << 8 | out[5]);
    if (length + modbus::kMbapHeaderSize - 1 != answered || out[2] != 0 || out[3] != 0) abort();
    at += span.size;
  }
  return 0;
}

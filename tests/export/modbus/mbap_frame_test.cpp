// Modbus TCP framing and answers, byte for byte.
#include "export/modbus/MbapFrame.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using modbus::FrameCheck;
using Bytes = std::vector<uint8_t>;

modbus::RegisterImage testImage() {
  modbus::RegisterImage image;
  for (size_t i = 0; i < modbus::kRegisterCount; ++i) {
    image.registers[i] = static_cast<uint16_t>(0x1000 + i);
  }
  image.registers[0] = 0x5375;
  image.registers[1] = 0x6E53;
  return image;
}

Bytes answer(const Bytes& frame, uint8_t ownUnit = 1) {
  const modbus::FrameSpan span = modbus::findFrame(frame.data(), frame.size());
  EXPECT_EQ(span.check, FrameCheck::kComplete);
  EXPECT_EQ(span.size, frame.size());
  uint8_t out[modbus::kMaxAnswerSize];
  const modbus::RegisterImage image = testImage();
  const size_t size = modbus::answerFrame(frame.data(), frame.size(), ownUnit, image, out);
  return Bytes(out, out + size);
}

// A read request: transaction 0x1234, unit, function, address, count.
Bytes read(uint8_t unit, uint8_t function, uint16_t address, uint16_t count) {
  return Bytes{0x12, 0x34, 0, 0, 0, 6, unit, function, static_cast<uint8_t>(address >> 8),
               static_cast<uint8_t>(address), static_cast<uint8_t>(count >> 8),
               static_cast<uint8_t>(count)};
}

Bytes exception(uint8_t unit, uint8_t function, uint8_t code) {
  return Bytes{0x12, 0x34, 0, 0, 0, 3, unit, static_cast<uint8_t>(function | 0x80), code};
}

TEST(MbapFrame, ReadsSunSWithFunctionThreeAndFour) {
  const Bytes expected3{0x12, 0x34, 0, 0, 0, 7, 1, 3, 4, 0x53, 0x75, 0x6E, 0x53};
  EXPECT_EQ(answer(read(1, 3, 40000, 2)), expected3);
  const Bytes expected4{0x12, 0x34, 0, 0, 0, 7, 1, 4, 4, 0x53, 0x75, 0x6E, 0x53};
  EXPECT_EQ(answer(read(1, 4, 40000, 2)), expected4);
}

TEST(MbapFrame, ReadsTheLastRegistersAndAHundredTwentyFive) {
  // 40304 is register 304 of the image: 0x1000 + 304 = 0x1130.
  EXPECT_EQ(answer(read(1, 3, 40304, 1)), (Bytes{0x12, 0x34, 0, 0, 0, 5, 1, 3, 2, 0x11, 0x30}));
  const Bytes full = answer(read(1, 3, 40100, 125));
  ASSERT_EQ(full.size(), 9u + 250u);
  EXPECT_EQ(full[5], 253);  // length: unit, function, count and 250 bytes
  EXPECT_EQ(full[8], 250);
  EXPECT_EQ(full[9], 0x10);  // register 100
  EXPECT_EQ(full[10], 0x64);
  EXPECT_EQ(full[257], 0x10);  // register 224 = 0x10E0
  EXPECT_EQ(full[258], 0xE0);
}

TEST(MbapFrame, CountOfZeroOrOverAHundredTwentyFive) {
  EXPECT_EQ(answer(read(1, 3, 40000, 0)), exception(1, 3, 3));
  EXPECT_EQ(answer(read(1, 4, 40000, 126)), exception(1, 4, 3));
  EXPECT_EQ(answer(read(1, 3, 40000, 0xFFFF)), exception(1, 3, 3));
}

TEST(MbapFrame, ReadOutsideTheMap) {
  EXPECT_EQ(answer(read(1, 3, 39999, 1)), exception(1, 3, 2));
  EXPECT_EQ(answer(read(1, 3, 39999, 2)), exception(1, 3, 2));
  EXPECT_EQ(answer(read(1, 3, 40304, 2)), exception(1, 3, 2));
  EXPECT_EQ(answer(read(1, 3, 40305, 1)), exception(1, 3, 2));
  EXPECT_EQ(answer(read(1, 3, 0, 1)), exception(1, 3, 2));
  EXPECT_EQ(answer(read(1, 4, 65535, 125)), exception(1, 4, 2));
}

TEST(MbapFrame, WritesAndUnknownFunctionsAreIllegal) {
  // Write single register 40002 = 7.
  EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 6, 1, 6, 0x9C, 0x42, 0, 7}), exception(1, 6, 1));
  // Write multiple registers: one register.
  EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 9, 1, 16, 0x9C, 0x42, 0, 1, 2, 0, 7}),
            exception(1, 16, 1));
  for (uint8_t function : {1, 2, 5, 15, 22, 23, 43, 0, 0x7F, 0x83}) {
    EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 2, 1, function}), exception(1, function, 1))
        << int{function};
  }
}

TEST(MbapFrame, ReadWithAnotherPduSizeIsABadValue) {
  EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 2, 1, 3}), exception(1, 3, 3));
  EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 7, 1, 3, 0x9C, 0x40, 0, 1, 0}), exception(1, 3, 3));
}

TEST(MbapFrame, UnitIds) {
  EXPECT_EQ(answer(read(2, 3, 40000, 2)), exception(2, 3, 11));
  EXPECT_EQ(answer(read(1, 3, 40000, 2), 7), exception(1, 3, 11));
  EXPECT_EQ(answer(read(0, 3, 40000, 1)), (Bytes{0x12, 0x34, 0, 0, 0, 5, 0, 3, 2, 0x53, 0x75}));
  EXPECT_EQ(answer(read(255, 3, 40000, 1)),
            (Bytes{0x12, 0x34, 0, 0, 0, 5, 255, 3, 2, 0x53, 0x75}));
  EXPECT_EQ(answer(read(7, 3, 40000, 1), 7), (Bytes{0x12, 0x34, 0, 0, 0, 5, 7, 3, 2, 0x53, 0x75}));
  // Another unit's write: the unit is checked first.
  EXPECT_EQ(answer(Bytes{0x12, 0x34, 0, 0, 0, 6, 9, 6, 0x9C, 0x42, 0, 7}), exception(9, 6, 11));
}

TEST(MbapFrame, IncompleteFrames) {
  const Bytes frame = read(1, 3, 40000, 2);
  for (size_t size = 0; size < frame.size(); ++size) {
    const modbus::FrameSpan span = modbus::findFrame(frame.data(), size);
    EXPECT_EQ(span.check, FrameCheck::kIncomplete) << size;
    EXPECT_EQ(span.size, 0u);
  }
}

TEST(MbapFrame, FirstOfPipelinedFrames) {
  Bytes two = read(1, 3, 40000, 2);
  const Bytes second = read(1, 3, 40002, 2);
  two.insert(two.end(), second.begin(), second.end());
  const modbus::FrameSpan span = modbus::findFrame(two.data(), two.size());
  EXPECT_EQ(span.check, FrameCheck::kComplete);
  EXPECT_EQ(span.size, 12u);
}

TEST(MbapFrame, MalformedHeaders) {
  const Bytes cases[] = {
      {0x12, 0x34, 0, 1},                          // protocol id 1, seen from 4 bytes on
      {0x12, 0x34, 0x80, 0, 0, 6, 1, 3},           // protocol id 0x8000
      {0x12, 0x34, 0, 0, 0, 0},                    // length 0
      {0x12, 0x34, 0, 0, 0, 1, 1},                 // length 1
      {0x12, 0x34, 0, 0, 0, 255},                  // length 255
      {0x12, 0x34, 0, 0, 0xFF, 0xFF, 1, 3, 0, 0},  // length 65535
  };
  for (const Bytes& frame : cases) {
    const modbus::FrameSpan span = modbus::findFrame(frame.data(), frame.size());
    EXPECT_EQ(span.check, FrameCheck::kMalformed) << frame.size();
  }
  const Bytes longest(6 + 254, 0);
  Bytes header = longest;
  header[5] = 254;
  header[7] = 3;
  EXPECT_EQ(modbus::findFrame(header.data(), header.size()).check, FrameCheck::kComplete);
  EXPECT_EQ(modbus::findFrame(header.data(), header.size()).size, 260u);
}

}  // namespace

// The hand-over of register images between the reading loop and the server.
#include "export/modbus/ImageExchange.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace {

using modbus::ImageExchange;
using modbus::RegisterImage;

void fill(RegisterImage* image, uint16_t value) {
  for (uint16_t& r : image->registers) r = value;
}

TEST(ImageExchange, NothingBeforeTheFirstPublish) {
  ImageExchange exchange;
  EXPECT_EQ(exchange.latest(), nullptr);
}

TEST(ImageExchange, ReaderGetsTheNewestAndKeepsItUntilItAsksAgain) {
  ImageExchange exchange;
  fill(exchange.back(), 1);
  exchange.publish();
  const RegisterImage* first = exchange.latest();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->registers[0], 1);
  fill(exchange.back(), 2);
  exchange.publish();
  fill(exchange.back(), 3);
  exchange.publish();
  fill(exchange.back(), 4);  // being filled, not published
  EXPECT_EQ(first->registers[0], 1);
  EXPECT_EQ(first->registers[304], 1);
  const RegisterImage* newest = exchange.latest();
  EXPECT_EQ(newest->registers[0], 3);
  EXPECT_EQ(exchange.latest()->registers[0], 3);  // nothing newer: the same
}

// A writer publishes numbered images as fast as it can; the reader never sees
// an image with two numbers in it, nor an older one after a newer one.
TEST(ImageExchange, ConcurrentWriterAndReaderNeverTear) {
  ImageExchange exchange;
  fill(exchange.back(), 0);
  exchange.publish();
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (uint16_t n = 1; n < 60000; ++n) {
      fill(exchange.back(), n);
      exchange.publish();
    }
    done = true;
  });
  uint16_t last = 0;
  long torn = 0, backwards = 0, reads = 0;
  // At least one read, and one more after the writer ended: on a loaded
  // machine the writer may finish before the reader's first look.
  for (bool finished = false; !finished;) {
    finished = done.load();
    const RegisterImage* image = exchange.latest();
    const uint16_t n = image->registers[0];
    for (uint16_t r : image->registers) torn += r != n;
    backwards += n < last;
    last = n;
    ++reads;
  }
  writer.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(backwards, 0);
  EXPECT_GT(reads, 0);
  EXPECT_EQ(exchange.latest()->registers[0], 59999);
}

}  // namespace

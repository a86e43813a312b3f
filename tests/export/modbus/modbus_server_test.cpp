// The Modbus TCP server on a loopback port: answers, exceptions, pipelining,
// and clients that misbehave (garbage, stalled half-frames, never reading,
// too many, idle) without keeping others from being answered.
#include "export/modbus/ModbusServer.h"

#include <sys/socket.h>

#include <errno.h>
#include <math.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "export/modbus/RegisterImageEncoder.h"
#include "tests/export/modbus/ListenQueue.h"
#include "tests/export/modbus/RawModbusClient.h"
#include "tests/support/RepeatingThread.h"
#include "tests/support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using testsupport::Bytes;
using testsupport::RawModbusClient;

class ModbusServerTest : public ::testing::Test {
 protected:
  void startServer(int maxClients = 16, std::chrono::milliseconds idle = 60000ms) {
    modbus::RegisterImage* image = exchange_.back();
    for (size_t i = 0; i < modbus::kRegisterCount; ++i) {
      image->registers[i] = static_cast<uint16_t>(i);
    }
    image->registers[0] = 0x5375;
    image->registers[1] = 0x6E53;
    exchange_.publish();
    modbus::ModbusServerOptions options;
    options.host = "127.0.0.1";
    options.port = 0;
    options.maxClients = maxClients;
    options.idleTimeout = idle;
    server_ = std::make_unique<modbus::ModbusServer>(&exchange_, options);
    ASSERT_TRUE(server_->start().ok());
    ASSERT_NE(server_->port(), 0);
  }

  // A fresh client reads "SunS" within within.
  void expectAnswered(std::chrono::milliseconds within = 500ms) {
    const auto begin = std::chrono::steady_clock::now();
    RawModbusClient client;
    ASSERT_TRUE(client.connect(server_->port()));
    ASSERT_TRUE(client.send(RawModbusClient::readRequest(7, 40000, 2)));
    Bytes answer;
    ASSERT_TRUE(client.receiveFrame(&answer, within));
    EXPECT_EQ(RawModbusClient::registersOf(answer), (std::vector<uint16_t>{0x5375, 0x6E53}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, within);
  }

  modbus::ImageExchange exchange_;
  std::unique_ptr<modbus::ModbusServer> server_;
};

Bytes exceptionAnswer(uint16_t transaction, uint8_t unit, uint8_t function, uint8_t code) {
  return Bytes{static_cast<uint8_t>(transaction >> 8), static_cast<uint8_t>(transaction), 0, 0, 0,
               3, unit, static_cast<uint8_t>(function | 0x80), code};
}

TEST_F(ModbusServerTest, AnswersAReadAndEveryException) {
  startServer();
  expectAnswered();
  RawModbusClient client;
  ASSERT_TRUE(client.connect(server_->port()));
  Bytes answer;
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(1, 40002, 3, 1, 4)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(RawModbusClient::registersOf(answer), (std::vector<uint16_t>{2, 3, 4}));
  ASSERT_TRUE(client.send(Bytes{0, 2, 0, 0, 0, 6, 1, 6, 0x9C, 0x42, 0, 1}));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(2, 1, 6, 1));
  ASSERT_TRUE(client.send(Bytes{0, 3, 0, 0, 0, 9, 1, 16, 0x9C, 0x42, 0, 1, 2, 0, 1}));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(3, 1, 16, 1));
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(4, 40000, 1, 1, 0x41)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(4, 1, 0x41, 1));
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(5, 40300, 10)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(5, 1, 3, 2));
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(6, 40000, 0)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(6, 1, 3, 3));
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(7, 40000, 126)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(7, 1, 3, 3));
  ASSERT_TRUE(client.send(RawModbusClient::readRequest(8, 40000, 1, 2)));
  ASSERT_TRUE(client.receiveFrame(&answer));
  EXPECT_EQ(answer, exceptionAnswer(8, 2, 3, 11));
  for (uint8_t unit : {0, 255}) {
    ASSERT_TRUE(client.send(RawModbusClient::readRequest(9, 40000, 1, unit)));
    ASSERT_TRUE(client.receiveFrame(&answer));
    EXPECT_EQ(RawModbusClient::registersOf(answer), (std::vector<uint16_t>{0x5375}));
  }
}

TEST_F(ModbusServerTest, PipelinedRequestsAnsweredInOrder) {
  startServer();
  RawModbusClient client;
  ASSERT_TRUE(client.connect(server_->port()));
  Bytes burst;
  for (uint16_t i = 0; i < 40; ++i) {
    const Bytes request = RawModbusClient::readRequest(i, static_cast<uint16_t>(40000 + i), 125);
    burst.insert(burst.end(), request.begin(), request.end());
  }
  ASSERT_TRUE(client.send(burst));
  for (uint16_t i = 0; i < 40; ++i) {
    Bytes answer;
    ASSERT_TRUE(client.receiveFrame(&answer)) << i;
    EXPECT_EQ(answer[0] << 8 | answer[1], i);
    const std::vector<uint16_t> registers = RawModbusClient::registersOf(answer);
    ASSERT_EQ(registers.size(), 125u);
    EXPECT_EQ(registers[5], i == 0 ? 5 : i + 5);
  }
}

TEST_F(ModbusServerTest, MalformedHeaderClosesThatConnectionOnly) {
  startServer();
  RawModbusClient good, bad, badLength;
  ASSERT_TRUE(good.connect(server_->port()));
  ASSERT_TRUE(bad.connect(server_->port()));
  ASSERT_TRUE(badLength.connect(server_->port()));
  ASSERT_TRUE(bad.send(Bytes{0, 1, 0, 1, 0, 6, 1, 3, 0x9C, 0x40, 0, 1}));
  ASSERT_TRUE(badLength.send(Bytes{0, 1, 0, 0, 1, 0, 1, 3}));
  EXPECT_TRUE(bad.closedByPeer(2000ms));
  EXPECT_TRUE(badLength.closedByPeer(2000ms));
  Bytes answer;
  ASSERT_TRUE(good.send(RawModbusClient::readRequest(1, 40000, 2)));
  ASSERT_TRUE(good.receiveFrame(&answer));
  EXPECT_EQ(RawModbusClient::registersOf(answer).size(), 2u);
}

TEST_F(ModbusServerTest, GarbageFromManyClients) {
  startServer();
  uint32_t seed = 12345;
  for (int round = 0; round < 50; ++round) {
    RawModbusClient noisy;
    ASSERT_TRUE(noisy.connect(server_->port()));
    Bytes garbage(1 + round * 37 % 700);
    for (uint8_t& b : garbage) {
      seed = seed * 1103515245u + 12345u;
      b = static_cast<uint8_t>(seed >> 16);
    }
    noisy.send(garbage);  // may fail once the server has closed it
  }
  expectAnswered();
}

TEST_F(ModbusServerTest, FortyStalledHalfFramesDoNotDelayANewClient) {
  startServer();
  std::vector<std::unique_ptr<RawModbusClient>> stalled;
  // Each 4 bytes short of a whole request.
  ASSERT_TRUE(
      RawModbusClient::openMany(server_->port(), 40, Bytes{0, 1, 0, 0, 0, 6, 1, 3}, &stalled));
  expectAnswered(500ms);
}

TEST_F(ModbusServerTest, HundredIdleConnectionsDoNotDelayANewClient) {
  startServer();
  std::vector<std::unique_ptr<RawModbusClient>> idle;
  ASSERT_TRUE(RawModbusClient::openMany(server_->port(), 100, Bytes{}, &idle));
  expectAnswered(500ms);
  EXPECT_TRUE(testsupport::waitFor([&] { return server_->openConnections() <= 16; }, 2000ms));
}

// A client whose handshake finds the accept queue full is dropped and retried a
// second later by its kernel. So that a burst of clients arriving while the
// server thread waits for a core is never delayed that way, the queue is as
// long as the kernel allows.
TEST_F(ModbusServerTest, AcceptQueueIsAsLongAsTheKernelAllows) {
  startServer();
  testsupport::ListenQueue queue;
  const testsupport::ListenQueueLookup lookup =
      testsupport::lookUpListenQueue(server_->port(), &queue);
  if (lookup == testsupport::ListenQueueLookup::kUnsupported) {
    GTEST_SKIP() << "no sock_diag netlink socket here (an emulator?)";
  }
  ASSERT_EQ(lookup, testsupport::ListenQueueLookup::kFound);
  const unsigned long somaxconn =
      std::stoul(testsupport::readFile("/proc/sys/net/core/somaxconn"));
  EXPECT_EQ(queue.limit, std::min<unsigned long>(somaxconn, SOMAXCONN));
}

TEST_F(ModbusServerTest, PastMaxClientsTheLongestIdleIsClosed) {
  startServer(2);
  RawModbusClient first, second, third;
  Bytes answer;
  ASSERT_TRUE(first.connect(server_->port()));
  ASSERT_TRUE(second.connect(server_->port()));
  ASSERT_TRUE(testsupport::waitFor([&] { return server_->openConnections() == 2; }, 2000ms));
  std::this_thread::sleep_for(20ms);  // makes "second" idle longer than "first"'s next request
  ASSERT_TRUE(first.send(RawModbusClient::readRequest(1, 40000, 1)));
  ASSERT_TRUE(first.receiveFrame(&answer));
  ASSERT_TRUE(third.connect(server_->port()));
  EXPECT_TRUE(second.closedByPeer(2000ms));
  ASSERT_TRUE(third.send(RawModbusClient::readRequest(2, 40000, 1)));
  ASSERT_TRUE(third.receiveFrame(&answer));
  ASSERT_TRUE(first.send(RawModbusClient::readRequest(3, 40000, 1)));
  ASSERT_TRUE(first.receiveFrame(&answer));
}

TEST_F(ModbusServerTest, IdleConnectionClosed) {
  startServer(16, 300ms);
  RawModbusClient client;
  ASSERT_TRUE(client.connect(server_->port()));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(client.closedByPeer(3000ms));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 250ms);
}

// A client that sends requests and never reads: it is closed once the kernel's
// buffers and its output buffer are full (or, where the loopback stalls the
// greedy client's own sending first, once it has been idle for the idle
// timeout), and other clients are answered within milliseconds all along.
TEST_F(ModbusServerTest, ClientThatNeverReadsIsClosed) {
  startServer(16, 2000ms);
  RawModbusClient greedy;
  ASSERT_TRUE(greedy.connect(server_->port()));
  ASSERT_TRUE(testsupport::waitFor([&] { return server_->openConnections() == 1; }, 2000ms));
  Bytes burst;
  for (int i = 0; i < 100; ++i) {
    const Bytes request = RawModbusClient::readRequest(1, 40000, 125);
    burst.insert(burst.end(), request.begin(), request.end());
  }
  bool closed = false;
  long sentBytes = 0;
  const auto end = std::chrono::steady_clock::now() + 20s;
  auto nextCheck = std::chrono::steady_clock::now();
  while (!closed && std::chrono::steady_clock::now() < end) {
    const ssize_t sent = send(greedy.fd(), burst.data(), burst.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) sentBytes += sent;
    if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) closed = true;
    if (server_->openConnections() == 0) closed = true;
    if (std::chrono::steady_clock::now() >= nextCheck) {
      expectAnswered(500ms);
      nextCheck += 500ms;
    }
    if (sent < 0) std::this_thread::sleep_for(1ms);
  }
  EXPECT_TRUE(closed) << sentBytes << " bytes of requests sent";
  EXPECT_TRUE(greedy.closedByPeer(2000ms));
  EXPECT_GT(sentBytes, 0);
  expectAnswered(500ms);
}

// Images flip between 100 V and 20 kV (with their scale factor) as fast as the
// writer can encode them while a client reads the whole integer model: every
// answer decodes to one of the two.
TEST_F(ModbusServerTest, EveryAnswerComesFromOneImage) {
  startServer();
  modbus::RegisterImageEncoder encoder(1, "test");
  std::atomic<long> published{0};
  modbus::MeterReadings readings;
  readings.hookup = modbus::Hookup::kWye;
  bool high = false;
  testsupport::RepeatingThread writer([&] {
    const double volts = high ? 20000.0 : 100.0;
    for (modbus::Source s :
         {modbus::Source::kVoltAN, modbus::Source::kVoltBN, modbus::Source::kVoltCN}) {
      readings.set(s, volts);
    }
    encoder.encode(readings, exchange_.back());
    exchange_.publish();
    published.fetch_add(1);
    high = !high;
  });
  // From the writer's first image on (before it, the fixture's image is served).
  ASSERT_TRUE(testsupport::waitFor([&] { return published.load() > 0; }));
  RawModbusClient client;
  ASSERT_TRUE(client.connect(server_->port()));
  long torn = 0, reads = 0, highs = 0;
  const auto end = std::chrono::steady_clock::now() + 2s;
  while (std::chrono::steady_clock::now() < end) {
    std::vector<uint16_t> r;
    ASSERT_TRUE(client.readIntegerMeterModel(&r));
    const int sf = static_cast<int16_t>(r[15]);  // V_SF
    for (const double volts : RawModbusClient::phaseVoltagesOf(r)) {
      const bool ok = std::fabs(volts - 100.0) < 0.01 || std::fabs(volts - 20000.0) < 1.0;
      if (!ok && torn < 5) ADD_FAILURE() << "read " << volts << " with scale factor " << sf;
      torn += !ok;
      highs += volts > 1000.0;
    }
    ++reads;
  }
  writer.stop();
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
  EXPECT_GT(reads, 100);
  EXPECT_GT(highs, 0);
}

TEST_F(ModbusServerTest, StopClosesThePort) {
  startServer();
  const uint16_t port = server_->port();
  expectAnswered();
  server_->stop();
  RawModbusClient client;
  EXPECT_FALSE(client.connect(port));
}

TEST(ModbusServer, PortInUseIsAnError) {
  modbus::ImageExchange exchange;
  modbus::ModbusServerOptions options;
  options.host = "127.0.0.1";
  options.port = 0;
  modbus::ModbusServer first(&exchange, options);
  ASSERT_TRUE(first.start().ok());
  options.port = first.port();
  modbus::ModbusServer second(&exchange, options);
  const base::Status status = second.start();
  EXPECT_FALSE(status.ok());
  EXPECT_EQ(status.message().rfind("127.0.0.1:" + std::to_string(first.port()) + ": bind", 0), 0u)
      << status.message();
}

}  // namespace

// The Modbus output's own costs, in process: one period's publish (snapshot to
// register image), one request over loopback, and the answer latency with 16
// clients polling at once; each with the heap allocations it makes after start.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "bench/HeapAllocationCounter.h"
#include "export/ReadingTable.h"
#include "export/modbus/ModbusOutput.h"
#include "tests/export/modbus/RawModbusClient.h"

namespace {

using testsupport::Bytes;
using testsupport::RawModbusClient;

ldexport::Snapshot fullSnapshot() {
  ldexport::Snapshot snapshot;
  for (size_t i = 0; i < ldexport::kReadingCount; ++i) {
    snapshot.value[i] = 100.0 + static_cast<double>(i);
    snapshot.present[i] = true;
  }
  snapshot.hookupPresent = true;
  snapshot.designationPresent = true;
  snprintf(snapshot.designation, sizeof snapshot.designation, "bench");
  return snapshot;
}

std::unique_ptr<modbus::ModbusOutput> startedOutput() {
  modbus::ModbusServerOptions options;
  options.host = "127.0.0.1";
  options.port = 0;
  auto output = std::make_unique<modbus::ModbusOutput>(options, "bench");
  if (!output->start().ok()) return nullptr;
  output->publish(fullSnapshot());
  return output;
}

void BM_PublishPeriod(benchmark::State& state) {
  auto output = startedOutput();
  ldexport::Snapshot snapshot = fullSnapshot();
  output->publish(snapshot);
  const long long before = heap_allocation_count();
  for (auto _ : state) {
    snapshot.value[0] += 0.001;
    output->publish(snapshot);
  }
  state.counters["allocs_per_period"] = benchmark::Counter(
      static_cast<double>(heap_allocation_count() - before) / state.iterations());
  output->stop();
}
BENCHMARK(BM_PublishPeriod);

// One client reads the whole integer model (107 registers) and waits for it.
void BM_RequestRoundTrip(benchmark::State& state) {
  auto output = startedOutput();
  RawModbusClient client;
  client.connect(output->port());
  const Bytes request = RawModbusClient::readRequest(1, 40070, 107);
  Bytes answer;
  answer.reserve(512);
  client.send(request);
  client.receive(9 + 214, &answer);
  const long long before = heap_allocation_count();
  for (auto _ : state) {
    client.send(request);
    client.receive(9 + 214, &answer);
  }
  state.counters["allocs_per_request"] = benchmark::Counter(
      static_cast<double>(heap_allocation_count() - before) / state.iterations());
  output->stop();
}
BENCHMARK(BM_RequestRoundTrip)->UseRealTime();

// 16 clients, each polling the integer model every 10 ms for the iteration's
// 5 s; reports the answer latency's median, p99 and maximum in microseconds.
void BM_SixteenClientsLatency(benchmark::State& state) {
  auto output = startedOutput();
  std::vector<double> all;
  for (auto _ : state) {
    std::vector<std::vector<double>> latencies(16);
    std::vector<std::thread> clients;
    std::atomic<bool> stop{false};
    for (int c = 0; c < 16; ++c) {
      clients.emplace_back([&, c] {
        RawModbusClient client;
        if (!client.connect(output->port())) return;
        const Bytes request = RawModbusClient::readRequest(1, 40070, 107);
        Bytes answer;
        while (!stop.load()) {
          const auto begin = std::chrono::steady_clock::now();
          client.send(request);
          if (!client.receive(9 + 214, &answer)) break;
          latencies[c].push_back(std::chrono::duration<double, std::micro>(
                                     std::chrono::steady_clock::now() - begin).count());
          std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
      });
    }
    // The reading loop goes on meanwhile: one period every 10 ms.
    ldexport::Snapshot snapshot = fullSnapshot();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < end) {
      snapshot.value[0] += 0.001;
      output->publish(snapshot);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    stop = true;
    for (std::thread& t : clients) t.join();
    for (const auto& l : latencies) all.insert(all.end(), l.begin(), l.end());
  }
  std::sort(all.begin(), all.end());
  if (!all.empty()) {
    state.counters["answers"] = static_cast<double>(all.size());
    state.counters["p50_us"] = all[all.size() / 2];
    state.counters["p99_us"] = all[all.size() * 99 / 100];
    state.counters["max_us"] = all.back();
  }
  output->stop();
}
BENCHMARK(BM_SixteenClientsLatency)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

// formatValue of a template field that already has its cached stream (the fast
// path every cycle takes after the first): one stream reset, one scale, one write.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "jsontemplate/JsonTemplate.h"

namespace {

std::unique_ptr<JsonTemplateFieldFormat> makeFormat() {
  std::string values[JsonTemplateFieldFormat::kAttributeCount] = {
      "k", "", "", "0.5", "fixed", "3", "", "12", "", ""};
  return std::make_unique<JsonTemplateFieldFormat>(values);
}

// The benchmark's iterations: field formats value, value + 0.001, and so on.
void formatRisingDoubles(benchmark::State& state, JsonTemplateField& field, double value) {
  for (auto _ : state) {
    std::string text = field.formatValue(value);
    benchmark::DoNotOptimize(text);
    value += 0.001;
  }
}

void BM_FastPathDouble(benchmark::State& state) {
  JsonTemplate engine;
  JsonTemplateField field("k", 0, 0, -1, DM_TYPE_FLT64, -1, 0, makeFormat(), &engine);
  field.formatValue(1.0);  // first formatting creates the cached stream
  formatRisingDoubles(state, field, 230.123456);
}
BENCHMARK(BM_FastPathDouble);

void BM_FastPathUint16(benchmark::State& state) {
  JsonTemplate engine;
  JsonTemplateField field("k", 0, 0, -1, DM_TYPE_UINT16, -1, 0, makeFormat(), &engine);
  field.formatValue(static_cast<unsigned short>(1));
  unsigned short value = 1000;
  for (auto _ : state) {
    std::string text = field.formatValue(value);
    benchmark::DoNotOptimize(text);
    ++value;
  }
}
BENCHMARK(BM_FastPathUint16);

void BM_FastPathNoFormat(benchmark::State& state) {
  JsonTemplate engine;
  JsonTemplateField field("k", 0, 0, -1, DM_TYPE_FLT64, -1, 0, nullptr, &engine);
  field.formatValue(1.0);
  formatRisingDoubles(state, field, 49.987);
}
BENCHMARK(BM_FastPathNoFormat);

}  // namespace

BENCHMARK_MAIN();

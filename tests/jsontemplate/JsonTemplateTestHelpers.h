// Shared pieces of the template engine tests: a datamap with one key of every
// type, restoring the class-wide default attributes, running a template
// through the engine for a number of cycles with standard error captured, and
// the fixture that runs templates against that datamap.
#ifndef TESTS_JSONTEMPLATE_JSONTEMPLATETESTHELPERS_H_
#define TESTS_JSONTEMPLATE_JSONTEMPLATETESTHELPERS_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "jsontemplate/JsonTemplate.h"
#include "tests/support/MapFixture.h"

namespace jttest {

// Keys: t.s16 sint16, t.u16 uint16 (1000), t.s32, t.u32, t.s64, t.u64, t.ts8
// (2026-03-05 07:08:09), t.f32, t.f64 (3.14159265), t.str16 ("hello"), t.str64,
// t.ts12 (2026-03-05 07:08:09), t.ok (boolean 1), t.bad (boolean 0), t.str32.
extern const char kCatalog[];

// Puts JsonTemplate::defaultAttributeValues back to the shipped defaults (a
// destroyed template empties them).
void restoreDefaultAttributes();

struct CycleResult {
  std::vector<std::string> outputs;  // one per cycle
  std::vector<int> results;          // processJsonTemplate's result per cycle
  std::string err;                   // standard error of all cycles (and init)
};

// A template file in the map's temporary directory, processed by one engine.
class TemplateRun {
 public:
  TemplateRun(testsupport::MapFixture& map, const std::string& text,
              const std::string& fileName = "t.json");
  ~TemplateRun();

  void rewrite(const std::string& text);
  // init with internal variables (instead of the plain init of the first cycle);
  // standard error is captured into the next cycles() result.
  void init(_JsonTemplateInternalVariable* vars, int count);
  // init (first call only) and n cycles on the one output string.
  CycleResult cycles(int n);
  JsonTemplate& engine() { return *engine_; }
  const std::string& path() const { return path_; }
  std::string& output() { return out_; }

 private:
  testsupport::MapFixture& map_;
  std::string path_;
  std::unique_ptr<JsonTemplate> engine_;
  bool initialised_ = false;
  std::string out_;
  std::string initErr_;
};

// Processes text once in a fresh engine; returns the output (stderr into *err).
std::string processOnce(testsupport::MapFixture& map, const std::string& text,
                        std::string* err = nullptr);

// The fixture of tests that run templates against a map made from kCatalog.
class CatalogTest : public ::testing::Test {
 protected:
  CatalogTest() : map_(kCatalog) {}
  // processOnce on the fixture's map.
  std::string run(const std::string& text, std::string* err = nullptr) {
    return processOnce(map_, text, err);
  }

  testsupport::MapFixture map_;
};

}  // namespace jttest

#endif  // TESTS_JSONTEMPLATE_JSONTEMPLATETESTHELPERS_H_

#include "tests/jsontemplate/JsonTemplateTestHelpers.h"

#include "jsontemplate/JsonTemplateFieldFormat.h"
#include "livedata/Globals.h"
#include "tests/support/StreamCapture.h"
#include "tests/support/TempDir.h"

namespace jttest {

const char kCatalog[] =
    "t.s16 sint16 -7\n"
    "t.u16 uint16 1000\n"
    "t.s32 sint32 -100000\n"
    "t.u32 uint32 4000000000\n"
    "t.s64 sint64 -5\n"
    "t.u64 uint64 9007199254740993\n"
    "t.ts8 ts8 2026-03-05 07:08:09\n"
    "t.f32 flt32 2.5\n"
    "t.f64 flt64 3.14159265\n"
    "t.str16 string16 hello\n"
    "t.str64 string64 a longer text\n"
    "t.ts12 ts12 2026-03-05 07:08:09\n"
    "t.ok boolean 1\n"
    "t.bad boolean 0\n"
    "t.str32 string32 mid\n";

void restoreDefaultAttributes() {
  static const char* const kDefaults[JsonTemplateFieldFormat::kAttributeCount] = {
      "!Default Attributes", "~", "", "1.0", "fixed", "3", "", "20", "", ""};
  for (int i = 0; i < JsonTemplateFieldFormat::kAttributeCount; ++i) {
    JsonTemplate::defaultAttributeValues[i] = kDefaults[i];
  }
}

TemplateRun::TemplateRun(testsupport::MapFixture& map, const std::string& text,
                         const std::string& fileName)
    : map_(map), path_(map.dir().file(fileName)) {
  restoreDefaultAttributes();
  engine_.reset(new JsonTemplate);
  testsupport::writeFile(path_, text);
  engine_->setJsonTemplateFile(path_.c_str());
  engine_->setSpreadInterval(1);
}

TemplateRun::~TemplateRun() {
  engine_.reset();
  restoreDefaultAttributes();
}

void TemplateRun::rewrite(const std::string& text) { testsupport::writeFile(path_, text); }

void TemplateRun::init(_JsonTemplateInternalVariable* vars, int count) {
  testsupport::StreamCapture err(2);
  engine_->init(&dm, vars, count);
  initialised_ = true;
  initErr_ = err.finish();
}

CycleResult TemplateRun::cycles(int n) {
  CycleResult result;
  testsupport::StreamCapture err(2);
  if (!initialised_) {
    engine_->init(&dm, nullptr, 0);
    initialised_ = true;
  }
  for (int i = 0; i < n; ++i) {
    result.results.push_back(engine_->processJsonTemplate(&dm, out_));
    result.outputs.push_back(out_);
  }
  result.err = initErr_ + err.finish();
  initErr_.clear();
  return result;
}

std::string processOnce(testsupport::MapFixture& map, const std::string& text, std::string* err) {
  TemplateRun run(map, text);
  CycleResult result = run.cycles(1);
  if (err != nullptr) *err = result.err;
  return result.outputs[0];
}

}  // namespace jttest

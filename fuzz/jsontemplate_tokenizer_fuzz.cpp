// Fuzzes the template tokenizer: arbitrary bytes are split into fields exactly
// as a template file's text is, against a closed datamap handle (every lookup
// fails), and every field is then formatted once so that attribute texts of any
// shape reach the stream formatting. The engine's pauses are switched off here
// (and only here) so that thousands of inputs run per second.
#include <stddef.h>
#include <stdint.h>

#include <stdexcept>
#include <string>

#include "jsontemplate/JsonTemplate.h"
#include "jsontemplate/TemplatePause.h"

namespace {

void restoreDefaults() {
  static const char* const kDefaults[JsonTemplateFieldFormat::kAttributeCount] = {
      "!Default Attributes", "~", "", "1.0", "fixed", "3", "", "20", "", ""};
  for (int i = 0; i < JsonTemplateFieldFormat::kAttributeCount; ++i) {
    JsonTemplate::defaultAttributeValues[i] = kDefaults[i];
  }
}

void formatEveryField(JsonTemplate& engine) {
  for (JsonTemplateField& field : engine.fields()) {
    const std::string& name = field.name();
    if (!name.empty() && name[0] == '!') {
      field.setDefaultFormat();
    } else if (!name.empty() && name[0] == '$') {
      field.formatInternalVariable();
    } else {
      field.readValue();
      field.formatValue(1234.5);
      field.formatValue(static_cast<unsigned short>(1000));
      field.formatValue("text");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setTemplatePausesEnabled(false);
  restoreDefaults();
  DM_SYS_DATA_BLOK_USER closed = {nullptr};
  const std::string text(reinterpret_cast<const char*>(data), size);
  {
    JsonTemplate engine;
    engine.setJsonTemplateFile("/fuzz/template.json");
    try {
      engine.initJsonTemplateFields(&closed, text, engine.fields());
      formatEveryField(engine);
    } catch (const std::out_of_range&) {
      // The engine's processing entry reports these as " : exception!!!".
    }
  }
  return 0;
}

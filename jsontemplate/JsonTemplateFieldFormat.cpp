#include "jsontemplate/JsonTemplateFieldFormat.h"

#include <stdlib.h>
#include <strings.h>

const char* const JsonTemplateFieldFormat::kAttributeNames[kAttributeCount] = {
    "name",      "isValidInvalidText", "isValidKey", "scale", "float",
    "precision", "timeFormat",         "width",      "fill",  "adjustfield"};

JsonTemplateFieldFormat::JsonTemplateFieldFormat() : scale(1.0), precision(3), width(20) {}

JsonTemplateFieldFormat::JsonTemplateFieldFormat(const std::string (&values)[kAttributeCount])
    : scale(1.0), precision(3), width(20) {
  for (int i = 0; i < kAttributeCount; ++i) attributeValues[i] = values[i];
  parseNumbers();
}

JsonTemplateFieldFormat::~JsonTemplateFieldFormat() {
  for (std::string& value : attributeValues) {
    value.clear();
    value.shrink_to_fit();
  }
}

void JsonTemplateFieldFormat::setJsonTemplateFieldFormat(
    const std::string (&values)[kAttributeCount]) {
  for (int i = 0; i < kAttributeCount; ++i) {
    try {
      attributeValues[i] = values[i];
    } catch (...) {
      // A text that cannot be copied (out of memory) keeps its old value; the
      // other attributes are still taken.
    }
  }
  parseNumbers();
}

void JsonTemplateFieldFormat::parseNumbers() {
  scale = strtod(attributeValues[kScale].c_str(), nullptr);
  precision = static_cast<int>(strtol(attributeValues[kPrecision].c_str(), nullptr, 10));
  width = static_cast<int>(strtol(attributeValues[kWidth].c_str(), nullptr, 10));
}

bool JsonTemplateFieldFormat::equals(const JsonTemplateFieldFormat* other) const {
  if (other == nullptr) return false;
  for (int i = kIsValidInvalidText; i < kAttributeCount; ++i) {
    if (i == kIsValidKey) continue;
    const std::string& mine = attributeValues[i];
    const std::string& theirs = other->attributeValues[i];
    // operator[] at size() yields '\0', so empty texts compare by their terminator.
    if (mine[0] != theirs[0]) return false;
    if (strcasecmp(mine.c_str(), theirs.c_str()) != 0) return false;
  }
  return true;
}

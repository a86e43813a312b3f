// The formatting attributes of one template value marker: ten texts in a fixed
// order plus the three numbers parsed from them (scale, precision, width).
//
// An empty text means "this set does not give the attribute"; every consumer tests
// the text, never the parsed number. The template keeps one such set as its
// defaults; a field's own set overrides them one attribute at a time.
//
// Thread-safety: none; a format belongs to one template, used by one thread.
#ifndef JSONTEMPLATE_JSONTEMPLATEFIELDFORMAT_H_
#define JSONTEMPLATE_JSONTEMPLATEFIELDFORMAT_H_

#include <string>

class JsonTemplateFieldFormat {
 public:
  // Attribute indexes, in the order of the text array.
  enum Attribute {
    kName = 0,
    kIsValidInvalidText = 1,
    kIsValidKey = 2,
    kScale = 3,
    kFloat = 4,
    kPrecision = 5,
    kTimeFormat = 6,
    kWidth = 7,
    kFill = 8,
    kAdjustfield = 9,
    kAttributeCount = 10
  };

  // Attribute names as written in a marker, by index.
  static const char* const kAttributeNames[kAttributeCount];

  // All texts empty; the numbers hold their defaults (scale 1.0, precision 3,
  // width 20) but count for nothing while the texts are empty.
  JsonTemplateFieldFormat();
  explicit JsonTemplateFieldFormat(const std::string (&values)[kAttributeCount]);
  ~JsonTemplateFieldFormat();

  // Copies the ten texts (each copy by itself; a failing copy is skipped and the
  // next one still made), then parses the numbers.
  void setJsonTemplateFieldFormat(const std::string (&values)[kAttributeCount]);

  // Re-parses scale (strtod), precision and width (strtol base 10) from the texts.
  void parseNumbers();

  // Compares the texts of indices 1 and 3 to 9 (not the name, not the validity
  // key): first characters byte for byte, then the whole texts with strcasecmp.
  // So "Fixed" differs from "fixed" while "fIXED" equals it; false for null.
  bool equals(const JsonTemplateFieldFormat* other) const;

  const std::string& text(int index) const { return attributeValues[index]; }
  std::string& text(int index) { return attributeValues[index]; }

  std::string attributeValues[kAttributeCount];
  double scale;
  int precision;
  int width;
};

#endif  // JSONTEMPLATE_JSONTEMPLATEFIELDFORMAT_H_

// One value marker of a JSON template: the datamap key (or reserved name) it
// shows, its own formatting attributes, the literal template text around it and
// the machinery that reads its value and turns it into text.
//
// Reserved names: '!' installs the field's attributes as the template's defaults,
// '$' shows an internal variable of the caller, '#' is a comment.
//
// Reading: a table of 31 member readers indexed by the key's datamap type code
// picks the dm_read_* call and the formatValue overload.
//
// Formatting: the first formatting of a field records the resulting stream state
// in a cached stream; later cycles take the fast path (reset, scale, width, write)
// without looking at the attribute texts again.
//
// Ownership: the field owns its format and its cached stream; copies get their
// own duplicates of both. The pointers to the template's default format, streams,
// name, handle and internal variables belong to the owning template, which must
// outlive its fields.
//
// Thread-safety: none; a field is used by its template's thread only.
#ifndef JSONTEMPLATE_JSONTEMPLATEFIELD_H_
#define JSONTEMPLATE_JSONTEMPLATEFIELD_H_

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/CopiedPtr.h"
#include "jsontemplate/JsonTemplateFieldFormat.h"
#include "jsontemplate/JsonTemplateInternalVariable.h"
#include "platform/datamap.h"

class JsonTemplate;

class JsonTemplateField {
 public:
  typedef std::string (JsonTemplateField::*Reader)(JsonTemplateField* field);
  static constexpr int kReaderCount = 31;

  // format: the marker's own attributes or null; the field owns it.
  JsonTemplateField(const char* name, unsigned int position, unsigned int length, int dmIndex,
                    int dmType, int validIndex, int validType,
                    std::unique_ptr<JsonTemplateFieldFormat> format, JsonTemplate* owner);

  // Deletes the field's own format (if any) and forgets it.
  void freeFormat();

  // The template this field was read from (not owned).
  JsonTemplate* owner() const { return owner_; }

  unsigned int getTemplateDataPositionForThisField() const { return position_; }
  unsigned int getTemplateDataPositionAfterThisField() const { return position_ + length_; }

  // Applies this field's effective attributes (own text, else the default's) to ss.
  void setStringStreamFormat(std::stringstream& ss);
  // Makes this field's scale, float, precision, width and fill the template's
  // defaults and applies them to the template's shared stream. Returns "".
  std::string setDefaultFormat();

  // Reads the value with the reader of the field's type; "" after a read error.
  // False when the type has no reader (the caller reports it).
  bool hasReader() const;
  std::string readValue();

  // Text of a '$' field: the matching internal variable, formatted.
  std::string formatInternalVariable();

  std::string formatValue(bool value);
  std::string formatValue(const char* value);
  std::string formatValue(const ZUL_TIMESTAMP_8B_STRUCT& value);
  std::string formatValue(const ZUL_TIMESTAMP_12B_STRUCT& value);
  std::string formatValue(unsigned short value);
  std::string formatValue(short value);
  std::string formatValue(unsigned int value);
  std::string formatValue(int value);
  std::string formatValue(unsigned long long value);
  std::string formatValue(long long value);
  std::string formatValue(float value);
  std::string formatValue(double value);

  double getCachedSS_scale() const { return cachedScale_; }
  void setCachedSS_scale(double scale) { cachedScale_ = scale; }
  int getCachedSS_width() const { return cachedWidth_; }
  void setCachedSS_width(int width) { cachedWidth_ = width; }
  // Creates the cached stream if needed and copies src's flags, width,
  // precision, locale and fill into it.
  void setCachedSS(const std::stringstream* src);
  bool hasCachedSS() const { return cachedSS_ != nullptr; }

  // Readers, one per datamap value type (see the table in the constructor).
  std::string getData_sint16(JsonTemplateField* field);
  std::string getData_uint16(JsonTemplateField* field);
  std::string getData_sint32(JsonTemplateField* field);
  std::string getData_uint32(JsonTemplateField* field);
  std::string getData_sint64(JsonTemplateField* field);
  std::string getData_uint64(JsonTemplateField* field);
  std::string getData_ZUL_TIMESTAMP_8B(JsonTemplateField* field);
  std::string getData_ZUL_TIMESTAMP_12B(JsonTemplateField* field);
  std::string getData_flt32(JsonTemplateField* field);
  std::string getData_flt64(JsonTemplateField* field);
  std::string getData_STRING_16BYTES(JsonTemplateField* field);
  std::string getData_STRING_32BYTES(JsonTemplateField* field);
  std::string getData_STRING_64BYTES(JsonTemplateField* field);
  std::string getData_boolean(JsonTemplateField* field);

  const std::string& name() const { return name_; }
  int dmIndex() const { return dmIndex_; }
  int dmType() const { return dmType_; }
  int validIndex() const { return validIndex_; }
  int validType() const { return validType_; }
  JsonTemplateFieldFormat* format() const { return format_.get(); }
  JsonTemplateFieldFormat* defaultFormat() const { return defaultFormat_; }
  bool sameFormatAsPrevious() const { return sameFormatAsPrevious_; }
  bool formatNeedsApplying() const { return formatNeedsApplying_; }
  void setFormatComparison(bool same, bool needsApplying) {
    sameFormatAsPrevious_ = same;
    formatNeedsApplying_ = needsApplying;
  }
  const std::string& textBefore() const { return textBefore_; }
  void setTextBefore(const std::string& text) { textBefore_ = text; }
  const std::string& textAfter() const { return textAfter_; }
  void setTextAfter(const std::string& text) { textAfter_ = text; }
  int outputPosition() const { return outputPosition_; }
  void setOutputPosition(int position) { outputPosition_ = position; }
  int debugMask() const { return debugMask_; }
  void setDebugMask(int mask) { debugMask_ = mask; }
  const std::string& templateName() const;

  // True when the global debug flag is set and the global mask shares a bit
  // with this field's mask.
  bool traceEnabled() const;

 private:
  void initReaderTable();
  void reportReadError(const char* operation, int code) const;
  template <typename T>
  void traceRawValue(const T& value) const;

  template <typename T>
  std::string formatNumber(T value);
  template <typename T>
  std::string formatInStream(T value);
  template <typename T>
  std::string formatTimeValue(T value);
  std::string formatTimestamp(const ZUL_TIMESTAMP_8B_STRUCT& value);
  // Fast path of floating values: the cached stream's settings applied with
  // std::to_chars, byte for byte what the stream writes in the classic locale.
  std::string formatFloatingCached(double value);
  // Attribute text of this field's own format ("" when it has none).
  const std::string& ownText(int index) const;

  std::string name_;
  int dmIndex_;
  int dmType_;
  int validIndex_;
  int validType_;
  base::CopiedPtr<JsonTemplateFieldFormat> format_;
  bool sameFormatAsPrevious_;
  bool formatNeedsApplying_;
  JsonTemplate* owner_;
  JsonTemplateFieldFormat* defaultFormat_;
  std::stringstream* sharedSS_;
  std::stringstream* secondSS_;
  // A copy of a field gets a stream of its own with the same settings.
  struct StreamSettingsCopier {
    std::unique_ptr<std::stringstream> operator()(const std::stringstream& stream) const;
  };
  base::CopiedPtr<std::stringstream, StreamSettingsCopier> cachedSS_;
  bool cachedFloatingDirect_;  // cached stream's settings allow formatFloatingCached
  double cachedScale_;
  int cachedWidth_;
  const std::string* templateName_;
  DM_SYS_DATA_BLOK_USER* dm_;
  std::vector<_JsonTemplateInternalVariable>* internalVariables_;
  unsigned int position_;
  unsigned int length_;
  std::string textBefore_;
  std::string textAfter_;
  Reader readers_[kReaderCount];
  int outputPosition_;
  int debugMask_;
};

#endif  // JSONTEMPLATE_JSONTEMPLATEFIELD_H_

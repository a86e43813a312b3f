// The JSON template engine: a template file is copied to the output as it
// stands, except for value markers "<?key ... >" that are replaced by datamap
// values, internal variables of the caller, or nothing.
//
// Use: setJsonTemplateFile, init (registers internal variables and parses),
// then processJsonTemplate once per cycle with the same output string. A changed
// template file (size or modification time) is re-read at the next cycle; the
// re-read text is appended to the text of the earlier reads and the split covers
// both (kept so on purpose).
//
// Two output modes: fixed width (a leading "!" marker with a width attribute):
// the first cycle builds the output and later cycles overwrite each value in
// place; variable width: the output is rebuilt every cycle. The work of one cycle
// is spread over the spread interval by sleeping after each field.
//
// The class-wide default attributes (defaultAttributeValues) are emptied by the
// destructor: a template created after another was destroyed starts from empty
// defaults. This is the engine's long-standing behaviour and is kept.
//
// Thread-safety: none; a template and its fields are used by one thread at a
// time. Messages go to standard error and the runtime log; trace lines (debug
// flag and debug mask) to standard output.
#ifndef JSONTEMPLATE_JSONTEMPLATE_H_
#define JSONTEMPLATE_JSONTEMPLATE_H_

#include <sys/stat.h>

#include <sstream>
#include <string>
#include <vector>

#include "jsontemplate/JsonTemplateField.h"
#include "jsontemplate/JsonTemplateFieldFormat.h"
#include "jsontemplate/JsonTemplateInternalVariable.h"
#include "platform/datamap.h"

class JsonTemplate {
 public:
  // The attribute texts of one marker, indexed as JsonTemplateFieldFormat's.
  using Attributes = std::string[JsonTemplateFieldFormat::kAttributeCount];

  // The default attribute texts: name "!Default Attributes", isValidInvalidText
  // "~", scale "1.0", float "fixed", precision "3", width "20", others empty.
  static std::string defaultAttributeValues[JsonTemplateFieldFormat::kAttributeCount];

  JsonTemplate();
  ~JsonTemplate();
  JsonTemplate(const JsonTemplate&) = delete;
  JsonTemplate& operator=(const JsonTemplate&) = delete;

  // Stores the path and the template name (from the last '/' on) and forgets the
  // file status, so that the next reinit parses.
  void setJsonTemplateFile(const char* path);

  // Registers count internal variables (copies of the records) and parses the
  // template. Returns reinit's result.
  int init(DM_SYS_DATA_BLOK_USER* handle, _JsonTemplateInternalVariable* vars, int count);
  // Parses the template when its file changed: -1 when unchanged, -1 when it
  // cannot be read, else 0.
  int reinit(DM_SYS_DATA_BLOK_USER* handle);
  // Produces one cycle's document in out. -1 when processing raised an exception
  // (reported as "<name> : exception!!!"), else 0.
  int processJsonTemplate(DM_SYS_DATA_BLOK_USER* handle, std::string& out);

  // Largest template file read; a larger one is refused with its own message.
  static constexpr size_t kMaxTemplateSize = 1024 * 1024;

  int getFileInfo(const char* path, struct stat& info);
  // Size of the regular file at path, or -1 (also for a FIFO or device).
  long long getFileLength(const char* path);
  // Appends the file's lines, each followed by "\n", to text (never clears it).
  // A path that is not a regular file of at most kMaxTemplateSize bytes is
  // unreadable (-1); opening never blocks.
  int readJsonTemplateFile(const std::string& path, std::string& text);
  int initJsonTemplateFields(DM_SYS_DATA_BLOK_USER* handle, const std::string& text,
                             std::vector<JsonTemplateField>& fields);
  // Finds the next marker after the last field and appends its field: 1, or 0
  // when no further marker exists (the last field then gets the text after it).
  int jsonTok(const std::string& text, std::vector<JsonTemplateField>& fields);
  // Frees the fields, clears the width flags and scratch text and resets the
  // default format from defaultAttributeValues.
  void resetConfiguration();

  void setSpreadInterval(int milliseconds) { spreadInterval_ = milliseconds; }
  int spreadInterval() const { return spreadInterval_; }
  void setDebugMask(int mask) { debugMask_ = mask; }
  int debugMask() const { return debugMask_; }

  JsonTemplateFieldFormat* defaultFormat() { return &defaultFormat_; }
  std::stringstream* sharedStream() { return &sharedSS_; }
  std::stringstream* secondStream() { return &secondSS_; }
  std::vector<_JsonTemplateInternalVariable>* internalVariables() { return &internalVariables_; }
  DM_SYS_DATA_BLOK_USER* datamapHandle() const { return dm_; }
  const std::string& templatePath() const { return templatePath_; }
  const std::string& templateName() const { return templateName_; }
  const std::string& templateText() const { return templateText_; }
  std::vector<JsonTemplateField>& fields() { return fields_; }
  bool fixedWidth() const { return fixedWidth_; }
  bool variableWidth() const { return variableWidth_; }

 private:
  // Datamap index and type of a field's key and of its validity key (-1: none).
  struct FieldKeys {
    int index = -1;
    int type = 0;
    int validIndex = -1;
    int validType = 0;
  };

  bool parseAttributes(const std::string& text, size_t& p, std::string* values, bool trace);
  FieldKeys resolveFieldKeys(const Attributes& values, bool first);
  // The field of the marker at position (length bytes, literal text from start).
  JsonTemplateField makeField(const std::string& text, size_t start, size_t position, size_t length,
                              const Attributes& values, const JsonTemplateField* previous);
  void tracePosition(const char* what, size_t position, const std::string& text,
                     const char* after) const;
  void traceAttributes(const Attributes& values) const;
  int _processJsonTemplate(DM_SYS_DATA_BLOK_USER* handle, std::string& out);
  void processFixedWidthFirstPass(std::string& out, long long pauseUs);
  void processFixedWidthSubsequentPass(std::string& out, long long pauseUs);
  void processVariableWidth(std::string& out, long long pauseUs);
  // Writes out anew: every field's literal text and value, then the text after
  // the last field; with recordPositions each field notes where its value begins
  // (for the in-place passes that follow).
  void writeAllFields(std::string& out, long long pauseUs, bool recordPositions);
  std::string fieldValueText(JsonTemplateField& field);
  bool fieldIsValid(JsonTemplateField& field);
  void traceField(const JsonTemplateField& field, const std::string& value) const;
  bool traceEnabled() const;
  bool fileStatusUnchanged(const struct stat& current) const;
  // Appends contents line by line, each line followed by "\n", yielding after each.
  static void appendLines(const std::string& contents, std::string& text);
  void reportUnterminatedMarker(size_t position, const std::string& text);
  void lookupKey(const std::string& key, bool validityKey, int* index, int* type);

  DM_SYS_DATA_BLOK_USER* dm_;
  JsonTemplateFieldFormat defaultFormat_;
  std::stringstream sharedSS_;
  std::stringstream secondSS_;
  std::vector<_JsonTemplateInternalVariable> internalVariables_;
  std::string templatePath_;
  std::string templateName_;
  struct stat fileStatus_;
  std::string templateText_;
  std::vector<JsonTemplateField> fields_;
  int spreadInterval_;
  bool fixedWidth_;
  bool variableWidth_;
  std::string scratch_;
  int debugMask_;
};

#endif  // JSONTEMPLATE_JSONTEMPLATE_H_

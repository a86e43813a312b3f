#include "jsontemplate/JsonTemplate.h"

#include <ctype.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <utility>

#include "base/InputFile.h"
#include "jsontemplate/TemplatePause.h"
#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"

namespace {

typedef JsonTemplateFieldFormat Fmt;

// Pause between two tokenizer fields, in microseconds.
constexpr long long kTokenizerPauseUs = 1000;
// Spread of one cycle when the interval is 0.
constexpr long long kDefaultSpreadUs = 1000000;

const char kMarker[] = "<?key";
constexpr size_t kMarkerLength = 5;

void writeError(const std::string& text) {
  fwrite(text.data(), 1, text.size(), stderr);
  fflush(stderr);
}

bool isSpace(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

// Character at p, or '\0' past the end (as operator[] gives at size()).
char charAt(const std::string& text, size_t p) { return p < text.size() ? text[p] : '\0'; }

size_t skipSpace(const std::string& text, size_t p) {
  while (p < text.size() && isSpace(text[p])) ++p;
  return p;
}

std::string trimmed(const std::string& value) {
  size_t first = 0;
  while (first < value.size() && isSpace(value[first])) ++first;
  size_t last = value.size();
  while (last > first && isSpace(value[last - 1])) --last;
  return value.substr(first, last - first);
}

// Index of the attribute a marker names, or -1. The first letter must be the
// attribute's own (lowercase) first letter; the rest may differ in case.
int attributeIndex(const std::string& name) {
  for (int i = 0; i < Fmt::kAttributeCount; ++i) {
    const char* candidate = Fmt::kAttributeNames[i];
    if (!name.empty() && name[0] == candidate[0] && strcasecmp(name.c_str(), candidate) == 0) {
      return i;
    }
  }
  return -1;
}

bool isDefaultsOrComment(const std::string& name) {
  return !name.empty() && (name[0] == '!' || name[0] == '#');
}

bool isReservedName(const std::string& name) {
  return !name.empty() && (name[0] == '!' || name[0] == '$' || name[0] == '#');
}

}  // namespace

std::string JsonTemplate::defaultAttributeValues[Fmt::kAttributeCount] = {
    "!Default Attributes", "~", "", "1.0", "fixed", "3", "", "20", "", ""};

JsonTemplate::JsonTemplate()
    : dm_(nullptr),
      defaultFormat_(defaultAttributeValues),
      spreadInterval_(1000),
      fixedWidth_(false),
      variableWidth_(false),
      debugMask_(0) {
  memset(&fileStatus_, 0, sizeof fileStatus_);
}

JsonTemplate::~JsonTemplate() {
  for (JsonTemplateField& field : fields_) field.freeFormat();
  fields_.clear();
  // Long-standing side effect, kept: the class-wide defaults are emptied, so a
  // template made after this one starts from empty default texts.
  for (std::string& value : defaultAttributeValues) value.clear();
}

bool JsonTemplate::traceEnabled() const {
  return ::debug && (::debugMask & static_cast<uint32_t>(debugMask_)) != 0;
}

// ---------------------------------------------------------------------------
// Template file

void JsonTemplate::setJsonTemplateFile(const char* path) {
  templatePath_ = path != nullptr ? path : "";
  // The name runs from the last '/' on; a path without one is used whole.
  const char* slash = strrchr(templatePath_.c_str(), '/');
  templateName_ = slash != nullptr ? slash : templatePath_;
  memset(&fileStatus_, 0, sizeof fileStatus_);
}

int JsonTemplate::getFileInfo(const char* path, struct stat& info) { return stat(path, &info); }

long long JsonTemplate::getFileLength(const char* path) {
  int fd = -1;
  if (!base::InputFile::open(path, O_RDONLY, static_cast<size_t>(-1), &fd).ok()) return -1;
  struct stat info;
  long long length = fstat(fd, &info) == 0 ? static_cast<long long>(info.st_size) : -1;
  close(fd);
  return length;
}

int JsonTemplate::readJsonTemplateFile(const std::string& path, std::string& text) {
  resetConfiguration();
  if (traceEnabled()) std::cout << "Reading json template : " << path << std::endl;
  std::string contents;
  const base::Status status = base::InputFile::read(path.c_str(), kMaxTemplateSize, &contents);
  if (base::InputFile::refusal(status) == base::InputFile::Refusal::kTooLarge) {
    const std::string why = status.step();
    writeError("Unable to read json template : " + path + " (" + why + ")\n\n");
    runtime_log("Unable to read json template : %s (%s)\n", path.c_str(), why.c_str());
    return -1;
  }
  if (!status.ok()) {
    writeError("Unable to read json template : " + path + "\n\n");
    runtime_log("Unable to read json template : %s\n", path.c_str());
    return -1;
  }
  appendLines(contents, text);
  return 0;
}

// Appended to whatever text is there: a re-read keeps the earlier contents.
// Every line gains its "\n", the last one too.
void JsonTemplate::appendLines(const std::string& contents, std::string& text) {
  size_t start = 0;
  while (start < contents.size()) {
    size_t end = contents.find('\n', start);
    if (end == std::string::npos) end = contents.size();
    text.append(contents, start, end - start);
    text += "\n";
    start = end + 1;
    templateYield();
  }
}

void JsonTemplate::resetConfiguration() {
  for (JsonTemplateField& field : fields_) field.freeFormat();
  fields_.clear();
  fixedWidth_ = false;
  variableWidth_ = false;
  scratch_.clear();
  defaultFormat_.setJsonTemplateFieldFormat(defaultAttributeValues);
}

// ---------------------------------------------------------------------------
// Tokenizer

int JsonTemplate::initJsonTemplateFields(DM_SYS_DATA_BLOK_USER* handle, const std::string& text,
                                         std::vector<JsonTemplateField>& fields) {
  resetConfiguration();
  templateYield();
  dm_ = handle;
  while (jsonTok(text, fields) == 1) templateSleepMicroseconds(kTokenizerPauseUs);
  if (traceEnabled()) std::cout << std::endl;
  return 0;
}

void JsonTemplate::reportUnterminatedMarker(size_t position, const std::string& text) {
  std::string excerpt = text.substr(position, 80);
  writeError(templateName_ + " : key missing terminator at position " + std::to_string(position) +
             " - " + excerpt + "\n\n");
  runtime_log("%s : key missing terminator at position %lu - %s\n", templateName_.c_str(),
              static_cast<unsigned long>(position), excerpt.c_str());
}

void JsonTemplate::lookupKey(const std::string& key, bool validityKey, int* index, int* type) {
  unsigned int rawIndex = 0xFFFFFFFFu;
  unsigned int size = 0xFFFFFFFFu;
  unsigned int rawType = 0;
  int code = dm_get_info(dm_, key.c_str(), &rawIndex, &size, &rawType);
  *index = static_cast<int>(rawIndex);
  *type = static_cast<int>(rawType);
  const char* which = validityKey ? "isvalid key" : "key";
  if (code < 0) {
    writeError(std::string("dm_get_info error on ") + which + " \"" + key +
               "\" with error code= " + std::to_string(code) + "\n\n");
    runtime_log("dm_get_info error on %s \"%s\" with error code=%d\n", which, key.c_str(), code);
    return;
  }
  if (traceEnabled()) {
    std::cout << templateName_ << " : index=" << *index << ", type=" << *type;
    if (validityKey) std::cout << ", name=" << key;
    std::cout << std::endl;
  }
}

// Reads the attributes of one marker from p until the closing '>' (p is left on
// it): 'name'='value' pairs in either quote, separated by blanks or commas.
// Values of known names go to values; stray characters and unterminated names
// or values are skipped. Returns false when the text ends before the '>'.
bool JsonTemplate::parseAttributes(const std::string& text, size_t& p, std::string* values,
                                   bool trace) {
  while (p < text.size()) {
    if (text[p] == '>') return true;
    p = skipSpace(text, p);
    const char quote = charAt(text, p);
    if (quote != '"' && quote != '\'') {
      ++p;  // stray character (a '?' before '>', or anything else): ignored
    } else {
      const size_t nameEnd = text.find(quote, p + 1);
      if (nameEnd == std::string::npos) {
        ++p;  // no closing quote: attribute dropped
      } else {
        const std::string name = text.substr(p + 1, nameEnd - p - 1);
        p = skipSpace(text, nameEnd + 1);
        if (charAt(text, p) == '=') {
          p = skipSpace(text, p + 1);
          const char valueQuote = charAt(text, p);
          if (valueQuote == '"' || valueQuote == '\'') {
            const size_t valueEnd = text.find(valueQuote, p + 1);
            if (valueEnd == std::string::npos) {
              ++p;  // unterminated value: attribute dropped
            } else {
              const std::string value = text.substr(p + 1, valueEnd - p - 1);
              p = valueEnd + 1;
              const int index = attributeIndex(name);
              if (index >= 0) values[index] = value;
              if (trace) {
                std::cout << templateName_ << " : attributeName=" << name
                          << ", attributeValue=" << value << std::endl;
              }
              p = skipSpace(text, p);
              if (charAt(text, p) == ',') ++p;
            }
          }
        }
      }
    }
    templateYield();
  }
  return false;
}

namespace {

// Trims the attribute texts, except those whose blanks are part of the value.
void trimAttributes(JsonTemplate::Attributes& values) {
  for (int i = 0; i < Fmt::kAttributeCount; ++i) {
    if (i == Fmt::kIsValidInvalidText || i == Fmt::kTimeFormat || i == Fmt::kFill) continue;
    values[i] = trimmed(values[i]);
  }
}

// The marker's own format, or null when it gives nothing but a name.
std::unique_ptr<JsonTemplateFieldFormat> ownFormat(const JsonTemplate::Attributes& values) {
  for (int i = 1; i < Fmt::kAttributeCount; ++i) {
    if (!values[i].empty()) return std::make_unique<JsonTemplateFieldFormat>(values);
  }
  return nullptr;
}

// A field after a defaults or comment field, or after none, applies its format;
// otherwise it applies it only when it differs from the previous field's.
void compareWithPrevious(JsonTemplateField& field, const JsonTemplateField* previous) {
  if (previous == nullptr || isDefaultsOrComment(field.name()) ||
      isDefaultsOrComment(previous->name())) {
    field.setFormatComparison(false, true);
    return;
  }
  const JsonTemplateFieldFormat* format = field.format();
  const JsonTemplateFieldFormat* before = previous->format();
  if (format == nullptr && before == nullptr) {
    field.setFormatComparison(true, false);
  } else if (format != nullptr && before != nullptr) {
    const bool same = format->equals(before);
    field.setFormatComparison(same, !same);
  } else {
    field.setFormatComparison(false, true);
  }
}

}  // namespace

void JsonTemplate::tracePosition(const char* what, size_t position, const std::string& text,
                                 const char* after) const {
  std::cout << templateName_ << what << position << " - " << text.substr(position, 40) << after
            << std::endl;
}

void JsonTemplate::traceAttributes(const Attributes& values) const {
  std::cout << "name=" << values[Fmt::kName];
  for (int i = 1; i < Fmt::kAttributeCount; ++i) {
    if (!values[i].empty()) std::cout << ", " << Fmt::kAttributeNames[i] << "=" << values[i];
  }
  std::cout << std::endl;
}

// A reserved name reads nothing ('!' in the first field sets the width mode);
// any other name is a datamap key, with its validity key when one is given.
JsonTemplate::FieldKeys JsonTemplate::resolveFieldKeys(const Attributes& values, bool first) {
  FieldKeys keys;
  const std::string& name = values[Fmt::kName];
  if (isReservedName(name)) {
    if (first && name[0] == '!') {
      if (!values[Fmt::kWidth].empty()) {
        fixedWidth_ = true;
      } else {
        variableWidth_ = true;
      }
    }
    return keys;
  }
  lookupKey(name, false, &keys.index, &keys.type);
  if (!values[Fmt::kIsValidKey].empty()) {
    lookupKey(values[Fmt::kIsValidKey], true, &keys.validIndex, &keys.validType);
  }
  return keys;
}

JsonTemplateField JsonTemplate::makeField(const std::string& text, size_t start, size_t position,
                                          size_t length, const Attributes& values,
                                          const JsonTemplateField* previous) {
  std::unique_ptr<JsonTemplateFieldFormat> format = ownFormat(values);
  if (traceEnabled()) traceAttributes(values);
  const FieldKeys keys = resolveFieldKeys(values, previous == nullptr);
  JsonTemplateField field(values[Fmt::kName].c_str(), static_cast<unsigned int>(position),
                          static_cast<unsigned int>(length), keys.index, keys.type, keys.validIndex,
                          keys.validType, std::move(format), this);
  field.setDebugMask(debugMask_);
  field.setTextBefore(text.substr(start, position - start));
  compareWithPrevious(field, previous);
  return field;
}

int JsonTemplate::jsonTok(const std::string& text, std::vector<JsonTemplateField>& fields) {
  const JsonTemplateField* previous = fields.empty() ? nullptr : &fields.back();
  const size_t start = previous == nullptr ? 0 : previous->getTemplateDataPositionAfterThisField();
  const bool trace = traceEnabled();
  if (trace) tracePosition(" : searching from position ", start, text, "... ");

  size_t scan = start;
  for (;;) {
    const size_t position = text.find(kMarker, scan, kMarkerLength);
    if (position == std::string::npos) break;
    if (trace) tracePosition(" : found at position ", position, text, "");

    // Attributes, until the current character is '>'.
    std::string values[Fmt::kAttributeCount];
    size_t p = position + kMarkerLength;
    if (!parseAttributes(text, p, values, trace)) {
      reportUnterminatedMarker(position, text);
      break;
    }
    trimAttributes(values);
    if (values[Fmt::kName].empty()) {  // not a field: stays part of the literal text
      scan = p + 1;
      continue;
    }
    JsonTemplateField field = makeField(text, start, position, p - position + 1, values, previous);
    fields.push_back(field);
    return 1;
  }

  if (previous != nullptr && previous->textAfter().empty()) {
    fields.back().setTextAfter(text.substr(previous->getTemplateDataPositionAfterThisField()));
  }
  return 0;
}

// ---------------------------------------------------------------------------
// Processing

int JsonTemplate::init(DM_SYS_DATA_BLOK_USER* handle, _JsonTemplateInternalVariable* vars,
                       int count) {
  internalVariables_.clear();
  if (vars != nullptr) {
    for (int i = 0; i < count; ++i) {
      internalVariables_.push_back(vars[i]);
      templateYield();
    }
  }
  return reinit(handle);
}

bool JsonTemplate::fileStatusUnchanged(const struct stat& current) const {
  return current.st_size == fileStatus_.st_size &&
         current.st_mtim.tv_sec == fileStatus_.st_mtim.tv_sec &&
         current.st_mtim.tv_nsec == fileStatus_.st_mtim.tv_nsec;
}

int JsonTemplate::reinit(DM_SYS_DATA_BLOK_USER* handle) {
  struct stat current;
  memset(&current, 0, sizeof current);
  // A file that cannot be stat'ed is read (and its failure reported) every time.
  const bool statOk = getFileInfo(templatePath_.c_str(), current) == 0;
  if (statOk && fileStatusUnchanged(current)) return -1;

  const int status = readJsonTemplateFile(templatePath_, templateText_);
  if (status != 0) return status;

  if (traceEnabled()) {
    time_t lastModified = fileStatus_.st_mtim.tv_sec;
    struct tm* local = localtime(&lastModified);
    std::cout << "Initializing json template : " << templatePath_
              << ", length=" << static_cast<long long>(fileStatus_.st_size)
              << ", lastmod=" << (local != nullptr ? asctime(local) : "\n");
  }
  initJsonTemplateFields(handle, templateText_, fields_);
  fileStatus_ = current;
  return 0;
}

int JsonTemplate::processJsonTemplate(DM_SYS_DATA_BLOK_USER* handle, std::string& out) {
  try {
    return _processJsonTemplate(handle, out);
  } catch (...) {
    std::cout << templateName_ << " : exception!!!" << std::endl << std::endl;
    return -1;
  }
}

int JsonTemplate::_processJsonTemplate(DM_SYS_DATA_BLOK_USER* handle, std::string& out) {
  reinit(handle);
  if (fields_.empty()) {
    out = templateText_;
    return 0;
  }
  const long long spreadUs =
      spreadInterval_ != 0 ? static_cast<long long>(spreadInterval_) * 1000 : kDefaultSpreadUs;
  const long long pauseUs = spreadUs / static_cast<long long>(fields_.size());

  if (fixedWidth_ && !variableWidth_) {
    if (out.empty()) {
      processFixedWidthFirstPass(out, pauseUs);
    } else {
      processFixedWidthSubsequentPass(out, pauseUs);
    }
  } else {
    processVariableWidth(out, pauseUs);
  }
  return 0;
}

void JsonTemplate::processFixedWidthFirstPass(std::string& out, long long pauseUs) {
  if (traceEnabled())
    std::cout << templateName_ << " : fixed width fields, first pass" << std::endl;
  writeAllFields(out, pauseUs, true);
}

void JsonTemplate::processFixedWidthSubsequentPass(std::string& out, long long pauseUs) {
  if (traceEnabled()) {
    std::cout << templateName_ << " : fixed width fields, subsequent pass" << std::endl;
  }
  for (JsonTemplateField& field : fields_) {
    const std::string value = fieldValueText(field);
    // Overwrite in place; the length of out never changes. A longer value runs
    // over the text that follows it (values should keep their width); what would
    // fall beyond the end of out is not written.
    const size_t at = static_cast<size_t>(field.outputPosition());
    if (at < out.size()) {
      const size_t count = std::min(value.size(), out.size() - at);
      out.replace(at, count, value, 0, count);
    }
    templateYield();
    traceField(field, value);
    templateSleepMicroseconds(pauseUs);
  }
}

void JsonTemplate::processVariableWidth(std::string& out, long long pauseUs) {
  if (traceEnabled()) std::cout << templateName_ << " : variable width fields" << std::endl;
  writeAllFields(out, pauseUs, false);
}

void JsonTemplate::writeAllFields(std::string& out, long long pauseUs, bool recordPositions) {
  out.clear();
  for (JsonTemplateField& field : fields_) {
    out += field.textBefore();
    if (recordPositions) field.setOutputPosition(static_cast<int>(out.size()));
    const std::string value = fieldValueText(field);
    out += value;
    templateYield();
    traceField(field, value);
    templateSleepMicroseconds(pauseUs);
  }
  out += fields_.back().textAfter();
}

bool JsonTemplate::fieldIsValid(JsonTemplateField& field) {
  const JsonTemplateFieldFormat* format = field.format();
  if (format == nullptr || format->text(Fmt::kIsValidKey).empty()) return true;
  const std::string& key = format->text(Fmt::kIsValidKey);
  bool valid = false;
  unsigned int scratch = 0;
  const int code =
      dm_read_boolean(dm_, static_cast<unsigned int>(field.validIndex()), &valid, 0, &scratch);
  if (code < 0) {
    writeError(templateName_ + " : dm_read_boolean error on isValid key \"" + key +
               "\" with error code=" + std::to_string(code) + "\n\n");
    runtime_log("%s : dm_read_boolean error on isValid key \"%s\" with error code=%d\n",
                templateName_.c_str(), key.c_str(), code);
    valid = false;
  }
  if (field.traceEnabled()) {
    std::cout << templateName_ << " : isValid \"" << key << "\" (" << field.validIndex()
              << ")= " << valid << std::endl;
  }
  return valid;
}

std::string JsonTemplate::fieldValueText(JsonTemplateField& field) {
  const std::string& name = field.name();
  const char kind = name.empty() ? '\0' : name[0];
  if (kind == '!') return field.setDefaultFormat();
  if (kind == '$') return field.formatInternalVariable();
  if (kind == '#') return std::string();

  if (!fieldIsValid(field)) {
    const std::string& own = field.format()->text(Fmt::kIsValidInvalidText);
    const std::string& invalid = !own.empty() ? own : defaultFormat_.text(Fmt::kIsValidInvalidText);
    return field.formatValue(invalid.c_str());
  }
  if (field.hasReader()) return field.readValue();

  writeError(templateName_ + " : Unknown data type (" + std::to_string(field.dmType()) +
             ") for key \"" + name + "\"\n\n");
  runtime_log("%s : Unknown data type (%d) for key \"%s\"\n", templateName_.c_str(), field.dmType(),
              name.c_str());
  return std::string();
}

void JsonTemplate::traceField(const JsonTemplateField& field, const std::string& value) const {
  if (!traceEnabled()) return;
  const std::string& name = field.name();
  if (!name.empty() && (name[0] == '!' || name[0] == '#')) {
    std::cout << templateName_ << " : " << name << std::endl;
  } else {
    std::cout << templateName_ << " : " << name << " = " << value << std::endl;
  }
}

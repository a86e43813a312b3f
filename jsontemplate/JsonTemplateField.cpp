#include "jsontemplate/JsonTemplateField.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <time.h>

#include <charconv>
#include <iostream>
#include <type_traits>
#include <utility>

#include "jsontemplate/JsonTemplate.h"
#include "jsontemplate/TemplatePause.h"
#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"

namespace {

typedef JsonTemplateFieldFormat Fmt;

// Widths and precisions beyond this are applied as this: the standard library
// pads and converts on the stack, and an absurd attribute must not overflow it.
constexpr int kMaxStreamField = 4096;

int streamLimit(int value) { return value > kMaxStreamField ? kMaxStreamField : value; }

const std::string& emptyText() {
  static const std::string empty;
  return empty;
}

// Conversions of a scaled product back to an integer type, toward zero. A NaN or
// a product outside the target's range gives the most negative value of a signed
// target and 0 for an unsigned one (never undefined behaviour).
int32_t toInt32(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(v);
}
uint32_t toUint32(double v) {
  if (!(v > -1.0 && v < 4294967296.0)) return 0;
  return static_cast<uint32_t>(v);
}
int64_t toInt64(double v) {
  if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) return INT64_MIN;
  return static_cast<int64_t>(v);
}
uint64_t toUint64(double v) {
  if (!(v > -1.0 && v < 18446744073709551616.0)) return 0;
  return static_cast<uint64_t>(v);
}

// 16-bit values go through a 32-bit signed integer whose low 16 bits are kept.
unsigned short scaled(unsigned short v, double s) {
  return static_cast<unsigned short>(static_cast<uint32_t>(toInt32(v * s)) & 0xFFFFu);
}
short scaled(short v, double s) {
  return static_cast<short>(static_cast<uint16_t>(static_cast<uint32_t>(toInt32(v * s)) & 0xFFFFu));
}
unsigned int scaled(unsigned int v, double s) { return toUint32(v * s); }
int scaled(int v, double s) { return toInt32(v * s); }
// 64-bit values pass through double, so their low digits go above 2^53.
unsigned long long scaled(unsigned long long v, double s) {
  return toUint64(static_cast<double>(v) * s);
}
long long scaled(long long v, double s) { return toInt64(static_cast<double>(v) * s); }
float scaled(float v, double s) { return static_cast<float>(v * s); }
double scaled(double v, double s) { return v * s; }

// Seconds since the epoch for the timeFormat path; floating values are cut to a
// 32-bit integer.
template <typename T>
time_t toSeconds(T v) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<time_t>(toInt32(v));
  } else {
    return static_cast<time_t>(v);
  }
}

void resetStream(std::stringstream& ss) {
  ss.str(std::string());
  if (!ss.good()) ss.clear();
}

// Raw values as the trace lines show them.
void writeRaw(std::ostream& os, const ZUL_TIMESTAMP_8B_STRUCT& ts) {
  char text[64];
  snprintf(text, sizeof text, "%02d/%02d/%02d%02d %02d:%02d:%02d", ts.month, ts.day, ts.century,
           ts.year, ts.hour, ts.minute, ts.second);
  os << text;
}
void writeRaw(std::ostream& os, const ZUL_TIMESTAMP_12B_STRUCT& ts) {
  ZUL_TIMESTAMP_8B_STRUCT head;
  memcpy(&head, &ts, sizeof head);
  writeRaw(os, head);
}
template <typename T>
void writeRaw(std::ostream& os, const T& value) {
  os << value;
}

void writeError(const std::string& text) {
  fwrite(text.data(), 1, text.size(), stderr);
  fflush(stderr);
}

}  // namespace

JsonTemplateField::JsonTemplateField(const char* name, unsigned int position, unsigned int length,
                                     int dmIndex, int dmType, int validIndex, int validType,
                                     std::unique_ptr<JsonTemplateFieldFormat> format,
                                     JsonTemplate* owner)
    : name_(name != nullptr ? name : ""),
      dmIndex_(dmIndex),
      dmType_(dmType),
      validIndex_(validIndex),
      validType_(validType),
      format_(std::move(format)),
      sameFormatAsPrevious_(false),
      formatNeedsApplying_(true),
      owner_(owner),
      defaultFormat_(owner->defaultFormat()),
      sharedSS_(owner->sharedStream()),
      secondSS_(owner->secondStream()),
      cachedFloatingDirect_(false),
      cachedScale_(1.0),
      cachedWidth_(10),
      templateName_(&owner->templateName()),
      dm_(owner->datamapHandle()),
      internalVariables_(owner->internalVariables()),
      position_(position),
      length_(length),
      outputPosition_(0),
      debugMask_(-1) {
  initReaderTable();
}

std::unique_ptr<std::stringstream> JsonTemplateField::StreamSettingsCopier::operator()(
    const std::stringstream& stream) const {
  auto copy = std::make_unique<std::stringstream>(std::ios::in | std::ios::out);
  copy->flags(stream.flags());
  copy->width(stream.width());
  copy->precision(stream.precision());
  copy->imbue(stream.getloc());
  copy->fill(stream.fill());
  return copy;
}

void JsonTemplateField::freeFormat() { format_.reset(); }

void JsonTemplateField::initReaderTable() {
  for (Reader& reader : readers_) reader = nullptr;
  readers_[DM_TYPE_SINT16] = &JsonTemplateField::getData_sint16;
  readers_[DM_TYPE_UINT16] = &JsonTemplateField::getData_uint16;
  readers_[DM_TYPE_SINT32] = &JsonTemplateField::getData_sint32;
  readers_[DM_TYPE_UINT32] = &JsonTemplateField::getData_uint32;
  readers_[DM_TYPE_SINT64] = &JsonTemplateField::getData_sint64;
  readers_[DM_TYPE_UINT64] = &JsonTemplateField::getData_uint64;
  readers_[DM_TYPE_TS8] = &JsonTemplateField::getData_ZUL_TIMESTAMP_8B;
  for (int code = 8; code <= 16; ++code) readers_[code] = &JsonTemplateField::getData_flt64;
  readers_[DM_TYPE_FLT32] = &JsonTemplateField::getData_flt32;
  readers_[DM_TYPE_FLT64] = &JsonTemplateField::getData_flt64;
  readers_[DM_TYPE_STRING16] = &JsonTemplateField::getData_STRING_16BYTES;
  readers_[DM_TYPE_STRING64] = &JsonTemplateField::getData_STRING_64BYTES;
  readers_[21] = &JsonTemplateField::getData_flt64;
  readers_[22] = &JsonTemplateField::getData_flt64;
  readers_[DM_TYPE_TS12] = &JsonTemplateField::getData_ZUL_TIMESTAMP_12B;
  readers_[DM_TYPE_BOOLEAN] = &JsonTemplateField::getData_boolean;
  readers_[DM_TYPE_STRING32] = &JsonTemplateField::getData_STRING_32BYTES;
}

const std::string& JsonTemplateField::templateName() const { return *templateName_; }

bool JsonTemplateField::traceEnabled() const {
  return ::debug && (::debugMask & static_cast<uint32_t>(debugMask_)) != 0;
}

const std::string& JsonTemplateField::ownText(int index) const {
  return format_ != nullptr ? format_->text(index) : emptyText();
}

// ---------------------------------------------------------------------------
// Attributes applied to streams

void JsonTemplateField::setStringStreamFormat(std::stringstream& ss) {
  if (traceEnabled()) std::cout << " : setStringStreamFormat" << std::endl;

  const std::string& ownFloat = ownText(Fmt::kFloat);
  const std::string& notation = !ownFloat.empty() ? ownFloat : defaultFormat_->text(Fmt::kFloat);
  if (!notation.empty() && notation[0] == 's' && strcasecmp(notation.c_str(), "scientific") == 0) {
    ss.setf(std::ios::scientific, std::ios::floatfield);
  } else {
    ss.setf(std::ios::fixed, std::ios::floatfield);
  }

  if (!ownText(Fmt::kPrecision).empty()) {
    ss.precision(streamLimit(format_->precision));
  } else if (!defaultFormat_->text(Fmt::kPrecision).empty()) {
    ss.precision(streamLimit(defaultFormat_->precision));
  }

  if (!ownText(Fmt::kWidth).empty()) {
    ss.width(streamLimit(format_->width));
  } else if (!defaultFormat_->text(Fmt::kWidth).empty()) {
    ss.width(streamLimit(defaultFormat_->width));
  }

  // Only the defaults carry a fill character; a field's own fill is not used.
  const std::string& fill = defaultFormat_->text(Fmt::kFill);
  if (!fill.empty()) ss.fill(fill[0]);

  const std::string& ownAdjust = ownText(Fmt::kAdjustfield);
  const std::string& adjust =
      !ownAdjust.empty() ? ownAdjust : defaultFormat_->text(Fmt::kAdjustfield);
  if (adjust.empty()) {
    templateYield();
    return;
  }
  if (adjust[0] == 'l' && strcasecmp(adjust.c_str(), "left") == 0) {
    ss.setf(std::ios::left, std::ios::adjustfield);
  } else if (adjust[0] == 'r' && strcasecmp(adjust.c_str(), "right") == 0) {
    ss.setf(std::ios::right, std::ios::adjustfield);
  } else if (adjust[0] == 'i' && strcasecmp(adjust.c_str(), "internal") == 0) {
    ss.setf(std::ios::internal, std::ios::adjustfield);
  }
  templateYield();
}

std::string JsonTemplateField::setDefaultFormat() {
  static const int kCopied[] = {Fmt::kScale, Fmt::kFloat, Fmt::kPrecision, Fmt::kWidth, Fmt::kFill};
  // A marker without attributes has no format object: all its texts are empty.
  for (int index : kCopied) defaultFormat_->text(index) = ownText(index);
  defaultFormat_->parseNumbers();

  setStringStreamFormat(*sharedSS_);

  if (traceEnabled()) {
    static const char* const kPrefixes[] = {
        ", scale=", ", float=", ", precision=", ", width=", ", fill="};
    std::string line;
    for (int i = 0; i < 5; ++i) {
      const std::string& value = defaultFormat_->text(kCopied[i]);
      if (!value.empty()) line += kPrefixes[i] + value;
    }
    std::cout << line << std::endl;
  }
  return std::string();
}

void JsonTemplateField::setCachedSS(const std::stringstream* src) {
  if (cachedSS_ == nullptr) {
    cachedSS_.reset(std::make_unique<std::stringstream>(std::ios::in | std::ios::out));
  }
  if (src == nullptr) return;
  cachedSS_->flags(src->flags());
  cachedSS_->width(src->width());
  cachedSS_->precision(src->precision());
  cachedSS_->imbue(src->getloc());
  cachedSS_->fill(src->fill());
  const std::ios::fmtflags flags = cachedSS_->flags();
  const std::ios::fmtflags floatfield = flags & std::ios::floatfield;
  cachedFloatingDirect_ =
      cachedSS_->getloc() == std::locale::classic() &&
      (flags & (std::ios::showpos | std::ios::showpoint | std::ios::uppercase)) == 0 &&
      floatfield != (std::ios::fixed | std::ios::scientific);
}

std::string JsonTemplateField::formatFloatingCached(double value) {
  const std::ios::fmtflags flags = cachedSS_->flags();
  const std::ios::fmtflags floatfield = flags & std::ios::floatfield;
  const std::chars_format format = floatfield == std::ios::fixed ? std::chars_format::fixed
                                   : floatfield == std::ios::scientific
                                       ? std::chars_format::scientific
                                       : std::chars_format::general;
  // The stream uses precision 6 when its precision is negative. to_chars with a
  // precision writes what printf's %.*f, %.*e and %.*g write in the C locale.
  const std::streamsize precision = cachedSS_->precision();
  const int digits = precision < 0 ? 6 : static_cast<int>(precision);
  char text[512];
  const std::to_chars_result result =
      std::to_chars(text, text + sizeof text, value, format, digits);
  if (result.ec != std::errc()) {
    resetStream(*cachedSS_);  // very long texts: let the stream do it
    cachedSS_->width(streamLimit(cachedWidth_));
    *cachedSS_ << value;
    return cachedSS_->str();
  }
  const int length = static_cast<int>(result.ptr - text);
  const int width = streamLimit(cachedWidth_);
  if (width <= length) return std::string(text, length);
  std::string out;
  out.reserve(width);
  const size_t padding = static_cast<size_t>(width - length);
  const char fill = cachedSS_->fill();
  const std::ios::fmtflags adjust = flags & std::ios::adjustfield;
  if (adjust == std::ios::left) {
    out.append(text, length);
    out.append(padding, fill);
  } else if (adjust == std::ios::internal && (text[0] == '-' || text[0] == '+')) {
    out.push_back(text[0]);
    out.append(padding, fill);
    out.append(text + 1, length - 1);
  } else {
    out.append(padding, fill);
    out.append(text, length);
  }
  return out;
}

// ---------------------------------------------------------------------------
// Formatting

template <typename T>
std::string JsonTemplateField::formatNumber(T value) {
  // bool and text are written as they are: no scale, no time format.
  constexpr bool kScalable = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

  if (cachedSS_ != nullptr) {  // fast path
    if constexpr (kScalable) {
      if (cachedScale_ != 1.0) value = scaled(value, cachedScale_);
    }
    if constexpr (std::is_floating_point_v<T>) {
      if (cachedFloatingDirect_) return formatFloatingCached(static_cast<double>(value));
    }
    resetStream(*cachedSS_);
    cachedSS_->width(streamLimit(cachedWidth_));
    *cachedSS_ << value;
    return cachedSS_->str();
  }

  if (format_ == nullptr) {  // only a name: the shared stream as the defaults left it
    resetStream(*sharedSS_);
    if constexpr (kScalable) {
      if (!defaultFormat_->text(Fmt::kScale).empty()) {
        cachedScale_ = defaultFormat_->scale;
        value = scaled(value, cachedScale_);
      }
    }
    if (!defaultFormat_->text(Fmt::kWidth).empty()) {
      sharedSS_->width(streamLimit(defaultFormat_->width));
      cachedWidth_ = defaultFormat_->width;
    }
    setCachedSS(sharedSS_);
    *sharedSS_ << value;
    return sharedSS_->str();
  }

  if constexpr (kScalable) {
    if (!format_->text(Fmt::kScale).empty()) {
      cachedScale_ = format_->scale;
      value = scaled(value, cachedScale_);
    } else if (!defaultFormat_->text(Fmt::kScale).empty()) {
      cachedScale_ = defaultFormat_->scale;
      value = scaled(value, cachedScale_);
    }
    if (!format_->text(Fmt::kTimeFormat).empty()) return formatTimeValue(value);
  }
  return formatInStream(value);
}

template <typename T>
std::string JsonTemplateField::formatInStream(T value) {
  resetStream(*secondSS_);
  // Clear when the previous field's format was equal: its settings still stand.
  if (formatNeedsApplying_) setStringStreamFormat(*secondSS_);
  if (!format_->text(Fmt::kWidth).empty()) {
    secondSS_->width(streamLimit(format_->width));
    cachedWidth_ = format_->width;
  } else if (!defaultFormat_->text(Fmt::kWidth).empty()) {
    secondSS_->width(streamLimit(defaultFormat_->width));
    cachedWidth_ = defaultFormat_->width;
  }
  setCachedSS(secondSS_);
  *secondSS_ << value;
  return secondSS_->str();
}

template <typename T>
std::string JsonTemplateField::formatTimeValue(T value) {
  time_t seconds = toSeconds(value);
  char text[64];
  size_t length = 0;
  struct tm* local = localtime(&seconds);
  if (local != nullptr) {
    length = strftime(text, sizeof text, format_->text(Fmt::kTimeFormat).c_str(), local);
  }
  templateYield();
  return std::string(text, length);
}

std::string JsonTemplateField::formatTimestamp(const ZUL_TIMESTAMP_8B_STRUCT& ts) {
  char text[64];
  if (format_ != nullptr && !format_->text(Fmt::kTimeFormat).empty()) {
    struct tm calendar;
    memset(&calendar, 0, sizeof calendar);
    calendar.tm_year = ts.century * 100 + ts.year - 1900;
    calendar.tm_mon = ts.month - 1;
    calendar.tm_mday = ts.day;
    calendar.tm_hour = ts.hour;
    calendar.tm_min = ts.minute;
    calendar.tm_sec = ts.second;
    size_t length = strftime(text, sizeof text, format_->text(Fmt::kTimeFormat).c_str(), &calendar);
    templateYield();
    return std::string(text, length);
  }
  int length = snprintf(text, sizeof text, "%02d/%02d/%02d%02d %02d:%02d:%02d", ts.month, ts.day,
                        ts.century, ts.year, ts.hour, ts.minute, ts.second);
  if (length < 0) length = 0;
  if (length >= static_cast<int>(sizeof text)) length = sizeof text - 1;
  return std::string(text, length);
}

std::string JsonTemplateField::formatValue(bool value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(const char* value) {
  return formatNumber(value != nullptr ? value : "");
}
std::string JsonTemplateField::formatValue(const ZUL_TIMESTAMP_8B_STRUCT& value) {
  return formatTimestamp(value);
}
std::string JsonTemplateField::formatValue(const ZUL_TIMESTAMP_12B_STRUCT& value) {
  ZUL_TIMESTAMP_8B_STRUCT head;
  memcpy(&head, &value, sizeof head);  // the first seven bytes carry the time
  return formatTimestamp(head);
}
std::string JsonTemplateField::formatValue(unsigned short value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(short value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(unsigned int value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(int value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(unsigned long long value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(long long value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(float value) { return formatNumber(value); }
std::string JsonTemplateField::formatValue(double value) { return formatNumber(value); }

// ---------------------------------------------------------------------------
// Internal variables

std::string JsonTemplateField::formatInternalVariable() {
  std::string text;
  if (internalVariables_ == nullptr) return text;
  const char* wanted = name_.empty() ? "" : name_.c_str() + 1;
  for (const _JsonTemplateInternalVariable& var : *internalVariables_) {
    if (var.name == nullptr) continue;
    if (var.name[0] != wanted[0] || strcasecmp(var.name, wanted) != 0) continue;
    if (var.value == nullptr) return text;
    const void* p = var.value;
    switch (var.type) {
      case 1: text = formatValue(*static_cast<const short*>(p)); break;
      case 2: text = formatValue(*static_cast<const unsigned short*>(p)); break;
      case 3: text = formatValue(*static_cast<const int*>(p)); break;
      case 4: text = formatValue(*static_cast<const unsigned int*>(p)); break;
      case 5: text = formatValue(*static_cast<const long long*>(p)); break;
      case 6: text = formatValue(*static_cast<const unsigned long long*>(p)); break;
      case 7: text = formatValue(*static_cast<const ZUL_TIMESTAMP_8B_STRUCT*>(p)); break;
      case 8:
      case 9:
      case 10:
      case 11:
      case 12:
      case 13:
      case 14:
      case 15:
      case 16:
      case 18:
      case 21:
      case 22: text = formatValue(*static_cast<const double*>(p)); break;
      case 17: text = formatValue(*static_cast<const float*>(p)); break;
      case 19:
      case 20:
      case 25: text = formatValue(static_cast<const char*>(p)); break;
      case 23: text = formatValue(*static_cast<const ZUL_TIMESTAMP_12B_STRUCT*>(p)); break;
      case 24: text = formatValue(*static_cast<const bool*>(p)); break;
      default: break;
    }
    if (traceEnabled()) {
      std::cout << templateName() << " : internal variable \"" << var.name << "\" = " << text
                << std::endl;
    }
    return text;
  }
  return text;
}

// ---------------------------------------------------------------------------
// Readers

bool JsonTemplateField::hasReader() const {
  return dmType_ >= 0 && dmType_ < kReaderCount && readers_[dmType_] != nullptr;
}

std::string JsonTemplateField::readValue() {
  std::string text;
  if (hasReader()) {
    Reader reader = readers_[dmType_];
    text = (this->*reader)(this);
  }
  return text;
}

void JsonTemplateField::reportReadError(const char* operation, int code) const {
  writeError(templateName() + " : " + operation + " error on key \"" + name_ +
             "\" with error code= " + std::to_string(code) + "\n\n");
  runtime_log("%s : %s error on key \"%s\" with error code=%d\n", templateName().c_str(), operation,
              name_.c_str(), code);
}

template <typename T>
void JsonTemplateField::traceRawValue(const T& value) const {
  if (!traceEnabled()) return;
  std::cout << templateName() << " : \"" << name_ << "\" (" << dmIndex_ << ")= ";
  writeRaw(std::cout, value);
  std::cout << std::endl;
}

#define JSONTEMPLATE_SCALAR_READER(reader, type, call, label)                                     \
  std::string JsonTemplateField::reader(JsonTemplateField* field) {                               \
    type value{};                                                                                 \
    unsigned int scratch = 0;                                                                     \
    int code = call(field->dm_, static_cast<unsigned int>(field->dmIndex_), &value, 0, &scratch); \
    if (code < 0) {                                                                               \
      field->reportReadError(label, code);                                                        \
      return std::string();                                                                       \
    }                                                                                             \
    field->traceRawValue(value);                                                                  \
    return field->formatValue(value);                                                             \
  }

JSONTEMPLATE_SCALAR_READER(getData_sint16, short, dm_read_sint16, "dm_read_sint16")
JSONTEMPLATE_SCALAR_READER(getData_uint16, unsigned short, dm_read_uint16, "dm_read_uint16")
JSONTEMPLATE_SCALAR_READER(getData_sint32, int, dm_read_sint32, "dm_read_sint32")
JSONTEMPLATE_SCALAR_READER(getData_uint32, unsigned int, dm_read_uint32, "dm_read_uint32")
JSONTEMPLATE_SCALAR_READER(getData_sint64, long long, dm_read_sint64, "dm_read_sint64")
JSONTEMPLATE_SCALAR_READER(getData_uint64, unsigned long long, dm_read_uint64, "dm_read_uint64")
JSONTEMPLATE_SCALAR_READER(getData_flt32, float, dm_read_flt32, "dm_read_flt32")
JSONTEMPLATE_SCALAR_READER(getData_flt64, double, dm_read_flt64, "dm_read_flt64")
JSONTEMPLATE_SCALAR_READER(getData_boolean, bool, dm_read_boolean, "dm_read_boolean")
JSONTEMPLATE_SCALAR_READER(getData_ZUL_TIMESTAMP_8B, ZUL_TIMESTAMP_8B_STRUCT,
                           dm_read_zul_timestamp_b8, "dm_read_zul_timestamp_b8")
// The 12-byte reader reports its failures with the 8-byte reader's texts; the
// messages have always read so and log watchers match them.
JSONTEMPLATE_SCALAR_READER(getData_ZUL_TIMESTAMP_12B, ZUL_TIMESTAMP_12B_STRUCT,
                           dm_read_zul_timestamp_b12, "dm_read_zul_timestamp_b8")

#undef JSONTEMPLATE_SCALAR_READER

// Strings: the buffer is zeroed first, so a shorter value arrives terminated,
// and the text is cut at the reader's size (16, 32 or 64 bytes). The buffer has
// room for the longest datamap text plus a terminator whatever the key's size.
#define JSONTEMPLATE_STRING_READER(reader, size, label)                                         \
  std::string JsonTemplateField::reader(JsonTemplateField* field) {                             \
    char value[64 + 1];                                                                         \
    memset(value, 0, sizeof value);                                                             \
    unsigned int scratch = 0;                                                                   \
    int code = dm_read_STRING(field->dm_, static_cast<unsigned int>(field->dmIndex_), value, 0, \
                              &scratch);                                                        \
    if (code < 0) {                                                                             \
      field->reportReadError(label, code);                                                      \
      return std::string();                                                                     \
    }                                                                                           \
    value[size] = '\0';                                                                         \
    field->traceRawValue(static_cast<const char*>(value));                                      \
    return field->formatValue(static_cast<const char*>(value));                                 \
  }

JSONTEMPLATE_STRING_READER(getData_STRING_16BYTES, 16, "dm_read_STRING (16 bytes)")
JSONTEMPLATE_STRING_READER(getData_STRING_32BYTES, 32, "dm_read_STRING (32 bytes)")
JSONTEMPLATE_STRING_READER(getData_STRING_64BYTES, 64, "dm_read_STRING (64 bytes)")

#undef JSONTEMPLATE_STRING_READER

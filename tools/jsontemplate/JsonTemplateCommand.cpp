#include "tools/jsontemplate/JsonTemplateCommand.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <iostream>

#include "hoststore/ValueText.h"
#include "jsontemplate/JsonTemplate.h"
#include "livedata/Globals.h"
#include "livedata/RuntimeLog.h"
#include "platform/common_api.h"
#include "platform/datamap.h"

namespace {

constexpr unsigned char kRecordSeparator = 0x1E;
constexpr int kMaxIntervalMs = 86400000;  // one day

bool parseCount(const std::string& text, long long max, long long* out) {
  if (text.empty() || text[0] < '0' || text[0] > '9') return false;
  errno = 0;
  char* end = nullptr;
  long long value = strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < 0 || value > max) return false;
  *out = value;
  return true;
}

bool isStringCode(int code) {
  return code == DM_TYPE_STRING16 || code == DM_TYPE_STRING64 || code == DM_TYPE_STRING32;
}

// Codes that the engine formats from a binary value (all others are texts or nothing).
bool isBinaryCode(int code) { return code >= 1 && code <= 25 && !isStringCode(code); }

}  // namespace

JsonTemplateCommand::JsonTemplateCommand() = default;
JsonTemplateCommand::~JsonTemplateCommand() = default;

void JsonTemplateCommand::printUsage(const char* program) {
  fprintf(stderr,
          "usage: %s [--map PATH] [--cycles N] [--interval MS] [--step]\n"
          "          [--var NAME=CODE:VALUE]... TEMPLATE\n"
          "  --map PATH       datamap file (sets DATAMAP_FILE)\n"
          "  --cycles N       processing cycles (default 1)\n"
          "  --interval MS    spread interval of one cycle in ms (default 1000; 0 = 1000)\n"
          "  --step           before each cycle after the first, read one line from stdin\n"
          "  --var NAME=CODE:VALUE\n"
          "                   internal variable for '$NAME' fields; CODE is a datamap\n"
          "                   type code (1 sint16 ... 25 string32), VALUE in the dmtool\n"
          "                   text form of that type\n"
          "Each cycle's document is written to stdout followed by the byte 0x1E.\n",
          program);
}

base::Status JsonTemplateCommand::parseArguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string value;
    bool hasInlineValue = false;
    if (arg.compare(0, 2, "--") == 0) {
      size_t equals = arg.find('=');
      if (equals != std::string::npos) {
        value = arg.substr(equals + 1);
        arg = arg.substr(0, equals);
        hasInlineValue = true;
      }
    }
    const bool takesValue =
        arg == "--map" || arg == "--cycles" || arg == "--interval" || arg == "--var";
    if (takesValue && !hasInlineValue) {
      if (i + 1 >= argc) {
        return base::Status::Error("", "option " + arg + " needs a value");
      }
      value = argv[++i];
    }
    if (arg == "--map") {
      mapPath_ = value;
      mapGiven_ = true;
    } else if (arg == "--cycles") {
      if (!parseCount(value, 1000000000LL, &cycles_)) {
        return base::Status::Error("", "bad --cycles value \"" + value + "\"");
      }
    } else if (arg == "--interval") {
      long long ms = 0;
      if (!parseCount(value, kMaxIntervalMs, &ms)) {
        return base::Status::Error("", "bad --interval value \"" + value + "\"");
      }
      intervalMs_ = static_cast<int>(ms);
    } else if (arg == "--step" && !hasInlineValue) {
      step_ = true;
    } else if (arg == "--var") {
      base::Status parsed = parseVariable(value);
      if (!parsed.ok()) return parsed;
    } else if (arg.size() > 1 && arg[0] == '-') {
      return base::Status::Error("", "unknown option " + std::string(argv[i]));
    } else if (templatePath_.empty() && !arg.empty()) {
      templatePath_ = arg;
    } else {
      return base::Status::Error("", "exactly one TEMPLATE is expected");
    }
  }
  if (templatePath_.empty()) {
    return base::Status::Error("", "no TEMPLATE given");
  }
  return base::Status::Ok();
}

base::Status JsonTemplateCommand::parseVariable(const std::string& argument) {
  const size_t equals = argument.find('=');
  const size_t colon =
      equals == std::string::npos ? std::string::npos : argument.find(':', equals + 1);
  if (equals == std::string::npos || colon == std::string::npos || equals == 0) {
    return base::Status::Error("", "bad --var \"" + argument + "\" (NAME=CODE:VALUE expected)");
  }
  std::unique_ptr<Variable> var(new Variable);
  var->name = argument.substr(0, equals);
  long long code = 0;
  if (!parseCount(argument.substr(equals + 1, colon - equals - 1), 255, &code)) {
    return base::Status::Error("",
                               "bad --var \"" + argument + "\" (CODE must be a type code 0..255)");
  }
  var->code = static_cast<int>(code);
  const std::string value = argument.substr(colon + 1);
  if (isBinaryCode(var->code)) {
    base::Status parsed =
        dmhost::ValueText::parse(static_cast<uint32_t>(var->code), value, var->storage);
    if (!parsed.ok()) {
      return base::Status::Error("", "bad --var \"" + argument + "\": " + parsed.message());
    }
  } else {
    var->text = value;  // strings as given; other codes format as nothing
  }
  variables_.push_back(std::move(var));
  return base::Status::Ok();
}

bool JsonTemplateCommand::openDatamap() {
  if (mapGiven_) setenv("DATAMAP_FILE", mapPath_.c_str(), 1);
  const int code = dm_open_map(&dm);
  if (code >= 0) return true;
  const char* path = getenv("DATAMAP_FILE");
  fprintf(stderr, "jsontemplate: cannot open the datamap %s (error code %d)\n",
          path != nullptr && path[0] != '\0' ? path : "(default location)", code);
  return false;
}

bool JsonTemplateCommand::waitForStep() {
  int c;
  while ((c = getchar()) != EOF) {
    if (c == '\n') return true;
  }
  return false;
}

int JsonTemplateCommand::run() {
  ZUL_LOG_CHANNEL channel;
  memset(&channel, 0, sizeof channel);
  open_zul_log(&channel, "jsontemplate", 3, 152);
  set_runtime_log_channel(&channel);

  if (!openDatamap()) {
    set_runtime_log_channel(nullptr);
    close_zul_log(&channel);
    return 1;
  }

  records_.clear();
  for (const std::unique_ptr<Variable>& var : variables_) {
    _JsonTemplateInternalVariable record;
    record.type = var->code;
    record.value = isBinaryCode(var->code) ? static_cast<void*>(var->storage)
                                           : static_cast<void*>(&var->text[0]);
    record.name = var->name.c_str();
    records_.push_back(record);
  }

  int status = 0;
  {
    JsonTemplate jsonTemplate;
    jsonTemplate.setJsonTemplateFile(templatePath_.c_str());
    jsonTemplate.setSpreadInterval(intervalMs_);
    try {
      jsonTemplate.init(&dm, records_.empty() ? nullptr : records_.data(),
                        static_cast<int>(records_.size()));
    } catch (const std::exception& e) {
      // The engine's processing reports its own exceptions; parsing at init does not.
      fprintf(stderr, "%s : exception!!! %s\n", jsonTemplate.templateName().c_str(), e.what());
    }
    std::string out;
    for (long long cycle = 0; cycle < cycles_; ++cycle) {
      if (step_ && cycle > 0 && !waitForStep()) break;
      jsonTemplate.processJsonTemplate(&dm, out);
      fflush(stdout);  // engine messages written through std::cout come first
      fwrite(out.data(), 1, out.size(), stdout);
      fputc(kRecordSeparator, stdout);
      fflush(stdout);
    }
  }

  dm_close_map(&dm);
  set_runtime_log_channel(nullptr);
  close_zul_log(&channel);
  return status;
}

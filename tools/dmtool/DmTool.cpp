#include "tools/dmtool/DmTool.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/InputFile.h"
#include "base/WriteAll.h"
#include "hoststore/MapFormat.h"
#include "hoststore/ValueText.h"

namespace {

const char kUsage[] =
    "usage: dmtool [--map PATH] COMMAND ...\n"
    "  create CATALOG                  make a new map from a catalogue file\n"
    "  set KEY VALUE [KEY VALUE]...    set values (all checked before any is written)\n"
    "  get KEY                         print a value\n"
    "  fail KEY CODE                   make reads of KEY return CODE (negative; 0 clears)\n"
    "  write-block BLOCK OFFSET        copy standard input into block 1, 2, 18 or 19\n"
    "  read-block BLOCK OFFSET LENGTH  copy block bytes to standard output\n"
    "  list                            print INDEX TYPE KEY for every key\n"
    "The map is --map PATH, else $DATAMAP_FILE, else /dev/shm/datamap.\n";

base::Status writeStdout(const std::string& data) {
  if (base::writeAll(STDOUT_FILENO, data).ok()) return base::Status::Ok();
  return base::Status::Error("", "cannot write to standard output");
}

}  // namespace

int DmTool::run(const std::vector<std::string>& args) {
  size_t next = 0;
  mapPath_ = dmhost::mapPath();
  if (next < args.size() && args[next] == "--map") {
    if (next + 1 >= args.size() || args[next + 1].empty()) {
      return report(failure("--map needs a PATH"));
    }
    mapPath_ = args[next + 1];
    next += 2;
  }
  if (next < args.size() && (args[next] == "--help" || args[next] == "-h")) {
    printUsage(stdout);
    return 0;
  }
  if (next >= args.size()) {
    printUsage(stderr);
    return 1;
  }
  std::vector<std::string> rest(args.begin() + static_cast<long>(next) + 1, args.end());
  for (const Command& command : kCommands) {
    if (args[next] == command.name) return report((this->*command.run)(rest));
  }
  fprintf(stderr, "dmtool: unknown command \"%s\"\n", args[next].c_str());
  printUsage(stderr);
  return 1;
}

int DmTool::report(const base::Status& status) {
  if (status.ok()) return 0;
  fprintf(stderr, "dmtool: %s\n", status.message().c_str());
  return 1;
}

const DmTool::Command DmTool::kCommands[7] = {{"create", &DmTool::create},
                                              {"set", &DmTool::set},
                                              {"get", &DmTool::get},
                                              {"fail", &DmTool::fail},
                                              {"write-block", &DmTool::writeBlock},
                                              {"read-block", &DmTool::readBlock},
                                              {"list", &DmTool::list}};

base::Status DmTool::create(const std::vector<std::string>& args) {
  if (args.size() != 1) return failure("usage: create CATALOG");
  return dmhost::HostDatamap::createFromCatalogFile(mapPath_, args[0]);
}

base::Status DmTool::set(const std::vector<std::string>& args) {
  if (args.empty() || args.size() % 2 != 0) return failure("usage: set KEY VALUE [KEY VALUE]...");
  base::Status status = map_.open(mapPath_);
  for (size_t i = 0; status.ok() && i < args.size(); i += 2) {
    status = checkPair(args[i], args[i + 1]);
  }
  for (size_t i = 0; status.ok() && i < args.size(); i += 2) {
    status = map_.setText(args[i], args[i + 1]);
  }
  return status;
}

base::Status DmTool::get(const std::vector<std::string>& args) {
  if (args.size() != 1) return failure("usage: get KEY");
  std::string value;
  base::Status status = map_.open(mapPath_);
  if (status.ok()) status = map_.getText(args[0], &value);
  return status.ok() ? writeStdout(value + '\n') : status;
}

base::Status DmTool::fail(const std::vector<std::string>& args) {
  if (args.size() != 2) return failure("usage: fail KEY CODE");
  const std::string& text = args[1];
  char* end = nullptr;
  errno = 0;
  long code = strtol(text.c_str(), &end, 10);
  bool numeric = !text.empty() && (isdigit(static_cast<unsigned char>(text[0])) || text[0] == '-');
  if (!numeric || *end != '\0' || errno != 0 || code < -2147483647L - 1 || code > 0) {
    return failure("bad CODE \"" + text + "\": a negative number, or 0 to clear");
  }
  base::Status status = map_.open(mapPath_);
  return status.ok() ? map_.setFail(args[0], static_cast<int>(code)) : status;
}

base::Status DmTool::writeBlock(const std::vector<std::string>& args) {
  if (args.size() != 2) return failure("usage: write-block BLOCK OFFSET");
  int block = 0;
  size_t offset = 0;
  base::Status status = parseBlock(args[0], &block);
  if (status.ok()) status = parseSize("OFFSET", args[1], &offset);
  if (status.ok()) status = map_.open(mapPath_);
  if (!status.ok()) return status;
  std::string data;
  // One byte beyond the largest block write is read, enough to refuse it.
  if (!base::InputFile::readUpTo(STDIN_FILENO, dmhost::kBlockSize, "standard input", &data).ok()) {
    return failure("cannot read standard input");
  }
  return map_.writeBlock(block, offset, data.data(), data.size());
}

base::Status DmTool::readBlock(const std::vector<std::string>& args) {
  if (args.size() != 3) return failure("usage: read-block BLOCK OFFSET LENGTH");
  int block = 0;
  size_t offset = 0;
  size_t length = 0;
  base::Status status = parseBlock(args[0], &block);
  if (status.ok()) status = parseSize("OFFSET", args[1], &offset);
  if (status.ok()) status = parseSize("LENGTH", args[2], &length);
  if (status.ok()) status = map_.open(mapPath_);
  std::string data;
  if (status.ok()) status = map_.readBlock(block, offset, length, &data);
  return status.ok() ? writeStdout(data) : status;
}

base::Status DmTool::list(const std::vector<std::string>& args) {
  if (!args.empty()) return failure("usage: list");
  base::Status status = map_.open(mapPath_);
  if (!status.ok()) return status;
  std::string text;
  for (const dmhost::KeyInfo& key : map_.list()) {
    text += std::to_string(key.index) + " " + std::to_string(key.type) + " " + key.key + "\n";
  }
  return writeStdout(text);
}

base::Status DmTool::checkPair(const std::string& key, const std::string& value) {
  dmhost::KeyInfo info;
  if (!map_.lookup(key, &info)) return failure("unknown key \"" + key + "\"");
  unsigned char storage[dmhost::kValueCapacity];
  base::Status parsed = dmhost::ValueText::parse(info.type, value, storage);
  if (!parsed.ok()) {
    return failure("bad value \"" + value + "\" for key \"" + key + "\": " + parsed.message());
  }
  return base::Status::Ok();
}

// Decimal or 0x-hex, not negative.
base::Status DmTool::parseSize(const std::string& what, const std::string& text, size_t* value) {
  bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* digits = text.c_str() + (hex ? 2 : 0);
  bool ok = hex ? isxdigit(static_cast<unsigned char>(*digits)) != 0
                : isdigit(static_cast<unsigned char>(*digits)) != 0;
  char* end = nullptr;
  errno = 0;
  unsigned long long parsed = ok ? strtoull(digits, &end, hex ? 16 : 10) : 0;
  if (!ok || *end != '\0' || errno != 0 || parsed > static_cast<size_t>(-1)) {
    return failure("bad " + what + " \"" + text + "\": a decimal or 0x-hex number");
  }
  *value = static_cast<size_t>(parsed);
  return base::Status::Ok();
}

base::Status DmTool::parseBlock(const std::string& text, int* block) {
  if (text == "1" || text == "2" || text == "18" || text == "19") {
    *block = atoi(text.c_str());
    return base::Status::Ok();
  }
  return failure("bad BLOCK \"" + text + "\": 1, 2, 18 or 19");
}

base::Status DmTool::failure(const std::string& message) {
  return base::Status::Error("", message);
}

void DmTool::printUsage(FILE* stream) { fputs(kUsage, stream); }

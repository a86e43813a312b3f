#include "tools/dmtool/DmTool.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/InputFile.h"
#include "base/WriteAll.h"
#include "platform/host/MapFormat.h"
#include "platform/host/ValueText.h"

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

bool writeAllStdout(const std::string& data) { return base::writeAll(STDOUT_FILENO, data).ok(); }

}  // namespace

int DmTool::run(const std::vector<std::string>& args) {
  size_t next = 0;
  mapPath_ = dmhost::mapPath();
  if (next < args.size() && args[next] == "--map") {
    if (next + 1 >= args.size() || args[next + 1].empty()) {
      error("--map needs a PATH");
      return 1;
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
  return dispatch(args[next], rest) ? 0 : 1;
}

bool DmTool::dispatch(const std::string& command, const std::vector<std::string>& args) {
  if (command == "create") return create(args);
  if (command == "set") return set(args);
  if (command == "get") return get(args);
  if (command == "fail") return fail(args);
  if (command == "write-block") return writeBlock(args);
  if (command == "read-block") return readBlock(args);
  if (command == "list") return list(args);
  fprintf(stderr, "dmtool: unknown command \"%s\"\n", command.c_str());
  printUsage(stderr);
  return false;
}

bool DmTool::create(const std::vector<std::string>& args) {
  if (args.size() != 1) return error("usage: create CATALOG");
  std::string message;
  if (!dmhost::HostDatamap::createFromCatalogFile(mapPath_, args[0], &message)) {
    return error(message);
  }
  return true;
}

bool DmTool::set(const std::vector<std::string>& args) {
  if (args.empty() || args.size() % 2 != 0) return error("usage: set KEY VALUE [KEY VALUE]...");
  if (!openMap()) return false;
  for (size_t i = 0; i < args.size(); i += 2) {
    if (!checkPair(args[i], args[i + 1])) return false;
  }
  std::string message;
  for (size_t i = 0; i < args.size(); i += 2) {
    if (!map_.setText(args[i], args[i + 1], &message)) return error(message);
  }
  return true;
}

bool DmTool::get(const std::vector<std::string>& args) {
  if (args.size() != 1) return error("usage: get KEY");
  if (!openMap()) return false;
  std::string value;
  std::string message;
  if (!map_.getText(args[0], &value, &message)) return error(message);
  value += '\n';
  return writeAllStdout(value) || error("cannot write to standard output");
}

bool DmTool::fail(const std::vector<std::string>& args) {
  if (args.size() != 2) return error("usage: fail KEY CODE");
  const std::string& text = args[1];
  char* end = nullptr;
  errno = 0;
  long code = strtol(text.c_str(), &end, 10);
  bool numeric = !text.empty() && (isdigit(static_cast<unsigned char>(text[0])) || text[0] == '-');
  if (!numeric || *end != '\0' || errno != 0 || code < -2147483647L - 1 || code > 0) {
    return error("bad CODE \"" + text + "\": a negative number, or 0 to clear");
  }
  if (!openMap()) return false;
  std::string message;
  return map_.setFail(args[0], static_cast<int>(code), &message) || error(message);
}

bool DmTool::writeBlock(const std::vector<std::string>& args) {
  if (args.size() != 2) return error("usage: write-block BLOCK OFFSET");
  int block = 0;
  size_t offset = 0;
  if (!parseBlock(args[0], &block) || !parseSize("OFFSET", args[1], &offset)) return false;
  if (!openMap()) return false;
  std::string data;
  // One byte beyond the largest block write is read, enough to refuse it.
  if (!base::InputFile::readUpTo(STDIN_FILENO, dmhost::kBlockSize, "standard input", &data).ok()) {
    return error("cannot read standard input");
  }
  std::string message;
  return map_.writeBlock(block, offset, data.data(), data.size(), &message) || error(message);
}

bool DmTool::readBlock(const std::vector<std::string>& args) {
  if (args.size() != 3) return error("usage: read-block BLOCK OFFSET LENGTH");
  int block = 0;
  size_t offset = 0;
  size_t length = 0;
  if (!parseBlock(args[0], &block) || !parseSize("OFFSET", args[1], &offset) ||
      !parseSize("LENGTH", args[2], &length)) {
    return false;
  }
  if (!openMap()) return false;
  std::string data;
  std::string message;
  if (!map_.readBlock(block, offset, length, &data, &message)) return error(message);
  return writeAllStdout(data) || error("cannot write to standard output");
}

bool DmTool::list(const std::vector<std::string>& args) {
  if (!args.empty()) return error("usage: list");
  if (!openMap()) return false;
  std::string text;
  for (const dmhost::KeyInfo& key : map_.list()) {
    text += std::to_string(key.index) + " " + std::to_string(key.type) + " " + key.key + "\n";
  }
  return writeAllStdout(text) || error("cannot write to standard output");
}

bool DmTool::openMap() {
  std::string message;
  return map_.open(mapPath_, &message) || error(message);
}

bool DmTool::checkPair(const std::string& key, const std::string& value) {
  dmhost::KeyInfo info;
  if (!map_.lookup(key, &info)) return error("unknown key \"" + key + "\"");
  unsigned char storage[dmhost::kValueCapacity];
  std::string reason;
  if (!dmhost::ValueText::parse(info.type, value, storage, &reason)) {
    return error("bad value \"" + value + "\" for key \"" + key + "\": " + reason);
  }
  return true;
}

// Decimal or 0x-hex, not negative.
bool DmTool::parseSize(const std::string& what, const std::string& text, size_t* value) {
  bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* digits = text.c_str() + (hex ? 2 : 0);
  bool ok = hex ? isxdigit(static_cast<unsigned char>(*digits)) != 0
                : isdigit(static_cast<unsigned char>(*digits)) != 0;
  char* end = nullptr;
  errno = 0;
  unsigned long long parsed = ok ? strtoull(digits, &end, hex ? 16 : 10) : 0;
  if (!ok || *end != '\0' || errno != 0 || parsed > static_cast<size_t>(-1)) {
    return error("bad " + what + " \"" + text + "\": a decimal or 0x-hex number");
  }
  *value = static_cast<size_t>(parsed);
  return true;
}

bool DmTool::parseBlock(const std::string& text, int* block) {
  if (text == "1" || text == "2" || text == "18" || text == "19") {
    *block = atoi(text.c_str());
    return true;
  }
  return error("bad BLOCK \"" + text + "\": 1, 2, 18 or 19");
}

bool DmTool::error(const std::string& message) {
  fprintf(stderr, "dmtool: %s\n", message.c_str());
  return false;
}

void DmTool::printUsage(FILE* stream) { fputs(kUsage, stream); }

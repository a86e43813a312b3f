#include "hoststore/CatalogParser.h"

#include <unordered_set>

#include "base/TextLines.h"
#include "hoststore/ValueText.h"

namespace dmhost {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

size_t skipBlanks(const std::string& line, size_t at) {
  while (at < line.size() && isBlank(line[at])) ++at;
  return at;
}

size_t skipWord(const std::string& line, size_t at) {
  while (at < line.size() && !isBlank(line[at])) ++at;
  return at;
}

}  // namespace

base::Status CatalogParser::parseLine(const std::string& line, CatalogEntry* entry) {
  size_t keyStart = skipBlanks(line, 0);
  size_t keyEnd = skipWord(line, keyStart);
  entry->key = line.substr(keyStart, keyEnd - keyStart);
  if (entry->key.size() >= kKeyCapacity) {
    return base::Status::Error("",
                               "key longer than " + std::to_string(kKeyCapacity - 1) + " bytes");
  }
  size_t typeStart = skipBlanks(line, keyEnd);
  size_t typeEnd = skipWord(line, typeStart);
  if (typeStart == typeEnd) {
    return base::Status::Error("", "missing type after key \"" + entry->key + "\"");
  }
  std::string typeText = line.substr(typeStart, typeEnd - typeStart);
  if (!ValueText::typeFromName(typeText, &entry->type)) {
    return base::Status::Error(
        "", "unknown type \"" + typeText + "\" (a type name or a number 0..255)");
  }
  std::string value = typeEnd < line.size() ? line.substr(typeEnd + 1) : std::string();
  if (value.empty()) return base::Status::Ok();
  base::Status parsed = ValueText::parse(entry->type, value, entry->value);
  if (!parsed.ok()) {
    return base::Status::Error(
        "", "bad value \"" + value + "\" for key \"" + entry->key + "\": " + parsed.message());
  }
  return base::Status::Ok();
}

base::Status CatalogParser::parse(const std::string& text, const std::string& origin,
                                  std::vector<CatalogEntry>* entries) {
  entries->clear();
  std::unordered_set<std::string> seen;
  base::TextLines lines(text);
  std::string line;
  while (lines.next(&line)) {
    size_t first = skipBlanks(line, 0);
    if (first == line.size() || line[first] == '#') continue;
    CatalogEntry entry;
    base::Status parsed = parseLine(line, &entry);
    std::string what = parsed.ok() ? std::string() : parsed.message();
    if (parsed.ok()) {
      if (!seen.insert(entry.key).second) what = "duplicate key \"" + entry.key + "\"";
      if (entries->size() >= kMaxKeys) what = "too many keys";
    }
    if (!what.empty()) {
      return base::Status::Error("", origin + ":" + std::to_string(lines.number()) + ": " + what);
    }
    entries->push_back(entry);
  }
  return base::Status::Ok();
}

}  // namespace dmhost

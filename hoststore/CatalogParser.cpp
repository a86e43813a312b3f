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

bool CatalogParser::parseLine(const std::string& line, CatalogEntry* entry, std::string* what) {
  size_t keyStart = skipBlanks(line, 0);
  size_t keyEnd = skipWord(line, keyStart);
  entry->key = line.substr(keyStart, keyEnd - keyStart);
  if (entry->key.size() >= kKeyCapacity) {
    *what = "key longer than " + std::to_string(kKeyCapacity - 1) + " bytes";
    return false;
  }
  size_t typeStart = skipBlanks(line, keyEnd);
  size_t typeEnd = skipWord(line, typeStart);
  if (typeStart == typeEnd) {
    *what = "missing type after key \"" + entry->key + "\"";
    return false;
  }
  std::string typeText = line.substr(typeStart, typeEnd - typeStart);
  if (!ValueText::typeFromName(typeText, &entry->type)) {
    *what = "unknown type \"" + typeText + "\" (a type name or a number 0..255)";
    return false;
  }
  std::string value = typeEnd < line.size() ? line.substr(typeEnd + 1) : std::string();
  if (value.empty()) return true;
  std::string reason;
  if (!ValueText::parse(entry->type, value, entry->value, &reason)) {
    *what = "bad value \"" + value + "\" for key \"" + entry->key + "\": " + reason;
    return false;
  }
  return true;
}

bool CatalogParser::parse(const std::string& text, const std::string& origin,
                          std::vector<CatalogEntry>* entries, std::string* error) {
  entries->clear();
  std::unordered_set<std::string> seen;
  base::TextLines lines(text);
  std::string line;
  while (lines.next(&line)) {
    size_t first = skipBlanks(line, 0);
    if (first == line.size() || line[first] == '#') continue;
    CatalogEntry entry;
    std::string what;
    if (parseLine(line, &entry, &what)) {
      if (!seen.insert(entry.key).second) what = "duplicate key \"" + entry.key + "\"";
      if (entries->size() >= kMaxKeys) what = "too many keys";
    }
    if (!what.empty()) {
      *error = origin + ":" + std::to_string(lines.number()) + ": " + what;
      return false;
    }
    entries->push_back(entry);
  }
  return true;
}

}  // namespace dmhost

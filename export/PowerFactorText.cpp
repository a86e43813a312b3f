#include "export/PowerFactorText.h"

#include <charconv>
#include <cmath>

namespace ldexport {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// True when [begin, end) is word, letter case ignored.
bool equalsWord(const char* begin, const char* end, const char* word) {
  for (; begin != end; ++begin, ++word) {
    if (*word == '\0' || lower(*begin) != *word) return false;
  }
  return *word == '\0';
}

}  // namespace

bool parsePowerFactorText(const char* text, size_t size, double* value) {
  const char* end = text;
  while (static_cast<size_t>(end - text) < size && *end != '\0') ++end;
  const char* p = text;
  while (p != end && isBlank(*p)) ++p;
  double number = 0;
  auto [after, error] = std::from_chars(p, end, number, std::chars_format::fixed);
  if (error != std::errc() || after == p) return false;
  if (!std::isfinite(number) || number < 0 || number > 1) return false;
  p = after;
  while (p != end && isBlank(*p)) ++p;
  if (p != end && p == after) return false;  // the word must stand apart
  const char* word = p;
  while (p != end && !isBlank(*p)) ++p;
  const char* wordEnd = p;
  while (p != end && isBlank(*p)) ++p;
  if (p != end) return false;
  if (word == wordEnd || equalsWord(word, wordEnd, "lag")) {
    *value = number;
  } else if (equalsWord(word, wordEnd, "lead")) {
    *value = number == 0 ? 0.0 : -number;
  } else {
    return false;
  }
  return true;
}

}  // namespace ldexport

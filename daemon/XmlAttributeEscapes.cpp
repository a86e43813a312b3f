#include "daemon/XmlAttributeEscapes.h"

#include <string.h>

const XMLSpecialChars::Pair XMLSpecialChars::m_xmlSpecialChar[XMLSpecialChars::kPairCount] = {
    {"&", "&#38;"}, {"'", "&#39;"}, {"\"", "&#34;"}, {"<", "&lt;"},
    {"<", "&#60;"}, {">", "&gt;"},  {">", "&#62;"},
};

std::string XMLSpecialChars::toSymbols(const std::string& text) {
  std::string result = text;
  for (const Pair& pair : m_xmlSpecialChar) {
    const size_t sequenceLength = strlen(pair.escapeSequence);
    const size_t symbolLength = strlen(pair.symbol);
    size_t at = result.find(pair.escapeSequence);
    while (at != std::string::npos) {
      result.replace(at, sequenceLength, pair.symbol);
      at = result.find(pair.escapeSequence, at + symbolLength);
    }
  }
  return result;
}

std::string XMLSpecialChars::toEscapeSequences(const std::string& text) {
  // One pass: the first row of a symbol gives its sequence. Equivalent to
  // replacing row by row with '&' first, since no sequence holds another symbol.
  std::string result;
  result.reserve(text.size());
  for (char c : text) {
    const char* sequence = nullptr;
    for (const Pair& pair : m_xmlSpecialChar) {
      if (pair.symbol[0] == c) {
        sequence = pair.escapeSequence;
        break;
      }
    }
    if (sequence != nullptr) {
      result += sequence;
    } else {
      result += c;
    }
  }
  return result;
}

bool mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(mxml_node_t* node, const char* name,
                                                     std::string* value) {
  if (node == nullptr || name == nullptr) return false;
  const char* raw = mxmlElementGetAttr(node, name);
  if (raw == nullptr) return false;
  *value = XMLSpecialChars::toSymbols(raw);
  return true;
}

bool mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(mxml_node_t* node, const char* name,
                                                             const std::string& value) {
  if (node == nullptr || name == nullptr || mxmlGetType(node) != MXML_ELEMENT) return false;
  mxmlElementSetAttr(node, name, XMLSpecialChars::toEscapeSequences(value).c_str());
  return true;
}

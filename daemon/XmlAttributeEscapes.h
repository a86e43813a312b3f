// Reserved XML characters in attribute values: the symbols & ' " < > and the
// escape sequences that stand for them, with two helpers that read and write
// an element's attribute through that table.
//
// Nothing in the daemon calls these helpers today; they are kept for
// configuration tools that store texts with such characters in attributes.
// Mini-XML already decodes the standard entities when it loads a file, so the
// helpers matter for values that carry escape sequences of their own (for
// example texts taken over from other programs).
//
// Thread-safety: the table is constant; the helpers touch only the node given.
#ifndef DAEMON_XMLATTRIBUTEESCAPES_H_
#define DAEMON_XMLATTRIBUTEESCAPES_H_

#include <mxml.h>

#include <string>

class XMLSpecialChars {
 public:
  struct Pair {
    const char* symbol;
    const char* escapeSequence;
  };
  static constexpr int kPairCount = 7;

  // ("&","&#38;"), ("'","&#39;"), ("\"","&#34;"), ("<","&lt;"), ("<","&#60;"),
  // (">","&gt;"), (">","&#62;"). '&' comes first, so that unescaping "&#38;"
  // happens before the other rows and escaping never doubles an escape.
  static const Pair m_xmlSpecialChar[kPairCount];

  // Replaces every escape sequence of the table by its symbol, row by row in
  // table order (each row over the whole text before the next row). A text
  // written as "&#38;lt;" therefore becomes "<", not "&lt;".
  static std::string toSymbols(const std::string& text);

  // Replaces every symbol by the first escape sequence the table gives it:
  // & -> &#38;  ' -> &#39;  " -> &#34;  < -> &lt;  > -> &gt;
  static std::string toEscapeSequences(const std::string& text);
};

// Reads attribute name of node with its escape sequences turned into symbols.
// Returns false, leaving *value untouched, when node is null or has no such
// attribute.
bool mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(mxml_node_t* node, const char* name,
                                                     std::string* value);

// Sets attribute name of node to value with its symbols escaped. Returns false
// (nothing set) when node is null or not an element.
bool mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(mxml_node_t* node, const char* name,
                                                             const std::string& value);

#endif  // DAEMON_XMLATTRIBUTEESCAPES_H_

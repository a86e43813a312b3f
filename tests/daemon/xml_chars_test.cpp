// The XML attribute helpers and their table of reserved characters.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "daemon/XmlAttributeEscapes.h"

namespace {

TEST(XMLSpecialCharsTest, TableHoldsTheSevenPairsInOrder) {
  const char* expected[7][2] = {{"&", "&#38;"}, {"'", "&#39;"}, {"\"", "&#34;"}, {"<", "&lt;"},
                                {"<", "&#60;"}, {">", "&gt;"},  {">", "&#62;"}};
  ASSERT_EQ(7, XMLSpecialChars::kPairCount);
  for (int i = 0; i < 7; ++i) {
    EXPECT_STREQ(expected[i][0], XMLSpecialChars::m_xmlSpecialChar[i].symbol) << i;
    EXPECT_STREQ(expected[i][1], XMLSpecialChars::m_xmlSpecialChar[i].escapeSequence) << i;
  }
}

TEST(XMLSpecialCharsTest, EverySequenceBecomesItsSymbol) {
  EXPECT_EQ("a & b ' \" < < > > c",
            XMLSpecialChars::toSymbols("a &#38; b &#39; &#34; &lt; &#60; &gt; &#62; c"));
  EXPECT_EQ("<<>>", XMLSpecialChars::toSymbols("&lt;&#60;&gt;&#62;"));
  EXPECT_EQ("plain text", XMLSpecialChars::toSymbols("plain text"));
  EXPECT_EQ("", XMLSpecialChars::toSymbols(""));
}

TEST(XMLSpecialCharsTest, SequencesOutsideTheTableStay) {
  EXPECT_EQ("&amp; &quot; &apos; &#38", XMLSpecialChars::toSymbols("&amp; &quot; &apos; &#38"));
}

TEST(XMLSpecialCharsTest, RowsApplyInTableOrder) {
  // The ampersand row runs first, so a sequence it uncovers is replaced by a
  // later row...
  EXPECT_EQ("<", XMLSpecialChars::toSymbols("&#38;lt;"));
  EXPECT_EQ("'", XMLSpecialChars::toSymbols("&#38;#39;"));
  // ...but a row does not rescan its own output.
  EXPECT_EQ("&#38;", XMLSpecialChars::toSymbols("&#38;#38;"));
}

TEST(XMLSpecialCharsTest, SymbolsBecomeTheirFirstSequence) {
  EXPECT_EQ("a&#38;b&#39;c&#34;d&lt;e&gt;f", XMLSpecialChars::toEscapeSequences("a&b'c\"d<e>f"));
  EXPECT_EQ("&#38;#38;", XMLSpecialChars::toEscapeSequences("&#38;"));
  EXPECT_EQ("&lt;&lt;&gt;", XMLSpecialChars::toEscapeSequences("<<>"));
  EXPECT_EQ("no symbols", XMLSpecialChars::toEscapeSequences("no symbols"));
}

TEST(XMLSpecialCharsTest, PlainTextSurvivesARoundTrip) {
  const std::string text = "Tom & Jerry's \"<b>\" > 5";
  EXPECT_EQ(text, XMLSpecialChars::toSymbols(XMLSpecialChars::toEscapeSequences(text)));
}

class XMLAttributeTest : public ::testing::Test {
 protected:
  XMLAttributeTest() : node_(mxmlNewElement(MXML_NO_PARENT, "limit")) {}
  ~XMLAttributeTest() override { mxmlDelete(node_); }
  mxml_node_t* node_;
};

TEST_F(XMLAttributeTest, SetEscapesTheValue) {
  ASSERT_TRUE(mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(node_, "label",
                                                                      "Volts \"A\" < 5 & >"));
  EXPECT_STREQ("Volts &#34;A&#34; &lt; 5 &#38; &gt;", mxmlElementGetAttr(node_, "label"));
}

TEST_F(XMLAttributeTest, GetUnescapesTheValue) {
  mxmlElementSetAttr(node_, "label", "it&#39;s &#60;ok&#62;");
  std::string value = "old";
  ASSERT_TRUE(mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(node_, "label", &value));
  EXPECT_EQ("it's <ok>", value);
}

TEST_F(XMLAttributeTest, SetThenGetGivesTheTextBack) {
  ASSERT_TRUE(mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(node_, "name", "a<b>&'c'"));
  std::string value;
  ASSERT_TRUE(mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(node_, "name", &value));
  EXPECT_EQ("a<b>&'c'", value);
}

TEST_F(XMLAttributeTest, MissingAttributeOrNodeLeavesTheValue) {
  std::string value = "unchanged";
  EXPECT_FALSE(mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(node_, "absent", &value));
  EXPECT_FALSE(mxmlElementGetAttr_XMLSpecialChars_toSymbol_str(nullptr, "label", &value));
  EXPECT_EQ("unchanged", value);
}

TEST_F(XMLAttributeTest, SetRefusesNodesThatAreNotElements) {
  mxml_node_t* text = mxmlNewText(node_, 0, "body");
  EXPECT_FALSE(mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(text, "label", "x"));
  EXPECT_FALSE(mxmlElementSetAttr_XMLSpecialChars_toEscapeSequence_str(nullptr, "label", "x"));
  EXPECT_EQ(nullptr, mxmlElementGetAttr(node_, "label"));
}

}  // namespace

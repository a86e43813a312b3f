// TextLines: the line reader of the catalogues.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/TextLines.h"

namespace {

std::vector<std::string> allLines(const std::string& text, size_t* lastNumber) {
  base::TextLines lines(text);
  std::vector<std::string> out;
  std::string line;
  while (lines.next(&line)) out.push_back(line);
  *lastNumber = lines.number();
  return out;
}

TEST(TextLinesTest, CarriageReturnsDroppedAndLastLineWithoutNewlineCounts) {
  size_t number = 0;
  EXPECT_EQ(allLines("a\r\n\nb c\r\nlast", &number),
            (std::vector<std::string>{"a", "", "b c", "last"}));
  EXPECT_EQ(number, 4u);
}

TEST(TextLinesTest, EmptyTextHasNoLinesAndFinalNewlineNoExtraLine) {
  size_t number = 7;
  EXPECT_TRUE(allLines("", &number).empty());
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(allLines("x\n", &number), (std::vector<std::string>{"x"}));
  EXPECT_EQ(number, 1u);
}

}  // namespace

// Catalogue parsing, value text forms, the writer API and atomic replacement.
#include <string>

#include <gtest/gtest.h>

#include "hoststore/HostDatamap.h"
#include "platform/datamap.h"
#include "tests/support/StatusAssertions.h"
#include "tests/support/TempDir.h"

namespace {

using dmhost::HostDatamap;
using dmhost::KeyInfo;

class CatalogTest : public ::testing::Test {
 protected:
  bool create(const std::string& text) {
    base::Status status = HostDatamap::createFromCatalogText(path_, text, "cat.txt");
    error_ = status.ok() ? std::string() : status.message();
    return status.ok();
  }
  std::string get(const std::string& key) {
    HostDatamap map;
    EXPECT_TRUE(testsupport::IsOk(map.open(path_)));
    std::string value;
    EXPECT_TRUE(testsupport::IsOk(map.getText(key, &value)));
    return value;
  }

  testsupport::TempDir dir_;
  std::string path_ = dir_.file("datamap");
  std::string error_;
};

TEST_F(CatalogTest, EveryTypeNameAndCode) {
  ASSERT_TRUE(create(
      "a sint16\nb uint16\nc sint32\nd uint32\ne sint64\nf uint64\ng ts8\nh flt32\n"
      "i flt64\nj string16\nk string64\nl ts12\nm boolean\nn string32\n"
      "o 0\np 8\nq 16\nr 21\ns 22\nt 255\nu 7\nv 019\n"))
      << error_;
  HostDatamap map;
  ASSERT_TRUE(testsupport::IsOk(map.open(path_)));
  const unsigned int types[] = {1, 2, 3, 4, 5, 6, 7, 17, 18, 19, 20, 23, 24, 25,
                                0, 8, 16, 21, 22, 255, 7, 19};
  std::vector<KeyInfo> keys = map.list();
  ASSERT_EQ(22u, keys.size());
  for (size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(i, keys[i].index);
    EXPECT_EQ(types[i], keys[i].type) << keys[i].key;
    EXPECT_EQ(std::string(1, static_cast<char>('a' + i)), keys[i].key);
  }
}

TEST_F(CatalogTest, DefaultsAreZeroEmptyAndZeroTimestamp) {
  ASSERT_TRUE(create("n flt64\nu uint16\ns string32\nt ts8\nb boolean\nw ts12 \n")) << error_;
  EXPECT_EQ("0", get("n"));
  EXPECT_EQ("0", get("u"));
  EXPECT_EQ("", get("s"));
  EXPECT_EQ("0000-00-00 00:00:00", get("t"));
  EXPECT_EQ("0", get("b"));
  EXPECT_EQ("0000-00-00 00:00:00", get("w"));
}

TEST_F(CatalogTest, ValuesKeepBlanksAfterTheSingleSeparator) {
  ASSERT_TRUE(create("s1 string64 two  words \ns2 string16  lead\n  indented\tflt64\t2.5\r\n"))
      << error_;
  EXPECT_EQ("two  words ", get("s1"));
  EXPECT_EQ(" lead", get("s2"));
  EXPECT_EQ("2.5", get("indented"));
}

TEST_F(CatalogTest, CommentsAndBlankLinesAreIgnored) {
  ASSERT_TRUE(create("# heading\n\n   \n  # indented comment\nk uint32 0x10\n#last")) << error_;
  EXPECT_EQ("16", get("k"));
  HostDatamap map;
  ASSERT_TRUE(testsupport::IsOk(map.open(path_)));
  EXPECT_EQ(1u, map.list().size());
}

TEST_F(CatalogTest, ValueTextForms) {
  ASSERT_TRUE(create(
      "a sint16 -32768\nb uint16 65535\nc sint64 -0x10\nd uint64 0xFFFFFFFFFFFFFFFF\n"
      "e flt64 0.1\nf flt32 0.1\ng boolean false\nh boolean TRUE\ni ts12 1999-12-31 23:59:58\n"
      "j string16 0123456789abcdefXYZ\nk 12 -1.5e3\nl 0 2\nm flt64 1e-300\n"))
      << error_;
  EXPECT_EQ("-32768", get("a"));
  EXPECT_EQ("65535", get("b"));
  EXPECT_EQ("-16", get("c"));
  EXPECT_EQ("18446744073709551615", get("d"));
  EXPECT_EQ("0.1", get("e"));
  EXPECT_EQ("0.1", get("f"));
  EXPECT_EQ("0", get("g"));
  EXPECT_EQ("1", get("h"));
  EXPECT_EQ("1999-12-31 23:59:58", get("i"));
  EXPECT_EQ("0123456789abcde", get("j"));
  EXPECT_EQ("-1500", get("k"));
  EXPECT_EQ("2", get("l"));
  EXPECT_EQ("1e-300", get("m"));
}

struct BadLine {
  std::string text;
  std::string message;
};

TEST_F(CatalogTest, BadLinesNameFileAndLine) {
  const BadLine table[] = {
      {"ok uint16\nlonely\n", "cat.txt:2: missing type after key \"lonely\""},
      {"x float\n", "cat.txt:1: unknown type \"float\" (a type name or a number 0..255)"},
      {"# c\n\nx 256\n", "cat.txt:3: unknown type \"256\" (a type name or a number 0..255)"},
      {"x -1\n", "cat.txt:1: unknown type \"-1\" (a type name or a number 0..255)"},
      {"x uint16 65536\n", "cat.txt:1: bad value \"65536\" for key \"x\": out of range for uint16"},
      {"x uint16 -1\n", "cat.txt:1: bad value \"-1\" for key \"x\": out of range for uint16"},
      {"x sint16 32768\n", "cat.txt:1: bad value \"32768\" for key \"x\": out of range for sint16"},
      {"x uint32 12abc\n",
       "cat.txt:1: bad value \"12abc\" for key \"x\": not an integer (decimal or 0x-hex)"},
      {"x sint32  5\n",
       "cat.txt:1: bad value \" 5\" for key \"x\": not an integer (decimal or 0x-hex)"},
      {"x flt64 1.5x\n", "cat.txt:1: bad value \"1.5x\" for key \"x\": not a number"},
      {"x boolean yes\n",
       "cat.txt:1: bad value \"yes\" for key \"x\": not a boolean (0, 1, true or false)"},
      {"x ts8 2022-10-05 19:03\n",
       "cat.txt:1: bad value \"2022-10-05 19:03\" for key \"x\": not a timestamp "
       "(CCYY-MM-DD hh:mm:ss)"},
      {"x ts12 2022/10/05 19:03:30\n",
       "cat.txt:1: bad value \"2022/10/05 19:03:30\" for key \"x\": not a timestamp "
       "(CCYY-MM-DD hh:mm:ss)"},
      {"x uint16\ny flt64\nx sint16\n", "cat.txt:3: duplicate key \"x\""},
      {std::string(128, 'k') + " uint16\n", "cat.txt:1: key longer than 127 bytes"},
  };
  for (const BadLine& bad : table) {
    const std::string& text = bad.text;
    EXPECT_FALSE(create(text)) << text;
    EXPECT_EQ(bad.message, error_) << text;
    EXPECT_FALSE(testsupport::fileExists(path_)) << text;
  }
}

TEST_F(CatalogTest, FailedCreateKeepsTheOldMap) {
  ASSERT_TRUE(create("k uint16 7\n")) << error_;
  std::string before = testsupport::readFile(path_);
  EXPECT_FALSE(create("k uint16 7\nbad\n"));
  EXPECT_EQ(before, testsupport::readFile(path_));
  ASSERT_TRUE(create("other flt64 1\n")) << error_;
  EXPECT_EQ("1", get("other"));
}

TEST_F(CatalogTest, CatalogFileErrorsUseItsPath) {
  std::string catalog = dir_.file("meter.catalog");
  testsupport::writeFile(catalog, "a flt64 1\nb bogus\n");
  EXPECT_EQ(catalog + ":2: unknown type \"bogus\" (a type name or a number 0..255)",
            HostDatamap::createFromCatalogFile(path_, catalog).message());
  EXPECT_EQ(dir_.file("none") + ": No such file or directory",
            HostDatamap::createFromCatalogFile(path_, dir_.file("none")).message());
}

TEST_F(CatalogTest, SetTextRejectsBadValuesAndUnknownKeys) {
  ASSERT_TRUE(create("u uint16 5\ns string16 x\n")) << error_;
  HostDatamap map;
  ASSERT_TRUE(testsupport::IsOk(map.open(path_)));
  EXPECT_EQ("bad value \"70000\" for key \"u\": out of range for uint16",
            map.setText("u", "70000").message());
  EXPECT_EQ("unknown key \"zz\"", map.setText("zz", "1").message());
  EXPECT_EQ("5", get("u"));
  EXPECT_TRUE(testsupport::IsOk(map.setText("s", "")));
  EXPECT_EQ("", get("s"));
}

TEST_F(CatalogTest, TypedSetters) {
  ASSERT_TRUE(create("u uint16\nb boolean\ns string16\nt ts8\nf flt32\nd flt64\n")) << error_;
  HostDatamap map;
  ASSERT_TRUE(testsupport::IsOk(map.open(path_)));
  KeyInfo u, b, s, t, f;
  ASSERT_TRUE(map.lookup("u", &u) && map.lookup("b", &b) && map.lookup("s", &s) &&
              map.lookup("t", &t) && map.lookup("f", &f));
  EXPECT_EQ(0u, u.index);
  EXPECT_EQ(2u, u.size);
  EXPECT_TRUE(map.setDouble(u.index, 65535.9));
  EXPECT_EQ("65535", get("u"));
  EXPECT_TRUE(map.setSigned(u.index, -1));
  EXPECT_EQ("65535", get("u"));
  EXPECT_TRUE(map.setUnsigned(b.index, 2));
  EXPECT_EQ("1", get("b"));
  EXPECT_TRUE(map.setDouble(f.index, 0.25));
  EXPECT_EQ("0.25", get("f"));
  EXPECT_FALSE(map.setDouble(s.index, 1.0));
  EXPECT_FALSE(map.setString(u.index, "x"));
  EXPECT_TRUE(map.setString(s.index, "abcdefghijklmnopqrst"));
  EXPECT_EQ("abcdefghijklmno", get("s"));
  ZUL_TIMESTAMP_12B_STRUCT ts = {20, 24, 2, 29, 23, 59, 1, 0, {0, 0, 0, 0}};
  EXPECT_TRUE(map.setTimestamp(t.index, ts));
  EXPECT_EQ("2024-02-29 23:59:01", get("t"));
  EXPECT_FALSE(map.setTimestamp(u.index, ts));
  EXPECT_FALSE(map.setDouble(99, 1.0));
  EXPECT_FALSE(map.lookup("missing", &u));
}

}  // namespace

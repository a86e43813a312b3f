// CopiedPtr: copies own copies of the object, made by the copier.
#include "base/CopiedPtr.h"

#include <ctype.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

struct Upper {
  std::unique_ptr<std::string> operator()(const std::string& text) const {
    auto copy = std::make_unique<std::string>(text);
    for (char& c : *copy) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return copy;
  }
};

TEST(CopiedPtrTest, CopyOwnsAnEqualObjectOfItsOwn) {
  base::CopiedPtr<std::string> original(std::make_unique<std::string>("abc"));
  base::CopiedPtr<std::string> copy(original);
  ASSERT_TRUE(copy);
  EXPECT_EQ("abc", *copy);
  EXPECT_NE(original.get(), copy.get());
  *copy += "d";
  EXPECT_EQ("abc", *original);
}

TEST(CopiedPtrTest, AssignmentReplacesAndNullStaysNull) {
  base::CopiedPtr<std::string> empty;
  base::CopiedPtr<std::string> full(std::make_unique<std::string>("x"));
  base::CopiedPtr<std::string> target(empty);
  EXPECT_TRUE(target == nullptr);
  target = full;
  ASSERT_TRUE(target != nullptr);
  EXPECT_EQ("x", *target);
  EXPECT_NE(full.get(), target.get());
  target = empty;
  EXPECT_FALSE(target);
  full.reset();
  EXPECT_FALSE(full);
}

TEST(CopiedPtrTest, CopiesWithTheGivenCopier) {
  base::CopiedPtr<std::string, Upper> original(std::make_unique<std::string>("abc"));
  base::CopiedPtr<std::string, Upper> copy = original;
  EXPECT_EQ("ABC", *copy);
  EXPECT_EQ("abc", *original);
}

}  // namespace

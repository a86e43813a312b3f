// MosquittoLibrary: libmosquitto loaded by soname, every function resolved, and
// one line naming what is missing when it cannot be.
#include <gtest/gtest.h>

#include "export/MosquittoLibrary.h"

namespace {

using ldexport::MosquittoLibrary;

TEST(MosquittoLibrary, LoadsDebiansLibraryWithEveryFunction) {
  MosquittoLibrary library;
  base::Status status = library.load();
  ASSERT_TRUE(status.ok()) << status.message();
  EXPECT_TRUE(library.loaded());
#define LDX_EXPECT_RESOLVED(symbol, member) EXPECT_NE(nullptr, library.member) << #symbol;
  LDX_MOSQUITTO_FUNCTIONS(LDX_EXPECT_RESOLVED)
#undef LDX_EXPECT_RESOLVED
  // The pointers lead into the library.
  EXPECT_STREQ("No error.", library.strerror(MOSQ_ERR_SUCCESS));
}

TEST(MosquittoLibrary, AMissingLibraryIsOneLineNamingIt) {
  MosquittoLibrary library;
  base::Status status = library.load("libldx-no-such-library.so.1");
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(0u, status.message().find("--mqtt: needs libldx-no-such-library.so.1: "))
      << status.message();
  EXPECT_EQ(std::string::npos, status.message().find('\n'));
  EXPECT_FALSE(library.loaded());
  EXPECT_EQ(nullptr, library.libInit);
}

TEST(MosquittoLibrary, ALibraryWithoutItsFunctionsIsRefusedUntouched) {
  MosquittoLibrary library;
  base::Status status = library.load("libm.so.6");
  ASSERT_FALSE(status.ok());
  EXPECT_EQ("--mqtt: libm.so.6 has no mosquitto_lib_init", status.message());
  EXPECT_FALSE(library.loaded());
  EXPECT_EQ(nullptr, library.libInit);
}

}  // namespace

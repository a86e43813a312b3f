#include "base/Status.h"

#include <errno.h>
#include <string.h>

#include <gtest/gtest.h>

namespace {

TEST(Status, DefaultIsOk) {
  base::Status status;
  EXPECT_TRUE(status.ok());
  EXPECT_EQ(status.message(), "ok");
  EXPECT_TRUE(base::Status::Ok().ok());
}

TEST(Status, MessageNamesSubjectStepAndErrno) {
  base::Status status = base::Status::Error("/tmp/x", "open", ENOENT);
  EXPECT_FALSE(status.ok());
  EXPECT_EQ(status.subject(), "/tmp/x");
  EXPECT_EQ(status.step(), "open");
  EXPECT_EQ(status.errnum(), ENOENT);
  EXPECT_EQ(status.message(), std::string("/tmp/x: open: ") + strerror(ENOENT));
}

TEST(Status, MessageWithoutErrnoOrSubject) {
  EXPECT_EQ(base::Status::Error("/tmp/x", "not a regular file").message(),
            "/tmp/x: not a regular file");
  EXPECT_EQ(base::Status::Error("", "bad option").message(), "bad option");
}

TEST(Status, AnEmptyStepStillFails) {
  EXPECT_FALSE(base::Status::Error("x", "").ok());
}

}  // namespace

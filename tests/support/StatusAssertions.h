// GoogleTest checks of a base::Status: EXPECT_TRUE(testsupport::IsOk(status))
// prints the status's message when it failed.
#ifndef TESTS_SUPPORT_STATUSASSERTIONS_H_
#define TESTS_SUPPORT_STATUSASSERTIONS_H_

#include <gtest/gtest.h>

#include "base/Status.h"

namespace testsupport {

inline ::testing::AssertionResult IsOk(const base::Status& status) {
  if (status.ok()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << status.message();
}

}  // namespace testsupport

#endif  // TESTS_SUPPORT_STATUSASSERTIONS_H_

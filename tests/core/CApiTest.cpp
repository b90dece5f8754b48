#include "tests/core/CApi.h"

#include <gtest/gtest.h>

TEST(CApi, ACProgramCallsEveryFunction) {
  EXPECT_EQ(checkCApi(), 0) << "is the line of tests/core/CApi.c that failed";
}

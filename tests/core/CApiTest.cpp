#include <gtest/gtest.h>

extern "C" int checkCApi();

TEST(CApi, ACProgramCallsEveryFunction) {
  EXPECT_EQ(checkCApi(), 0) << "is the line of tests/core/CApi.c that failed";
}

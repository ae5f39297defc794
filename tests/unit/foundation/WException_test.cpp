#include <gtest/gtest.h>

#include "foundation/WString.h"
#include "support/Values.h"

namespace {

TEST(WException, IsEqualByCodeRoleAndCategory) {
  const WException error("code", "role", "category", "text");
  EXPECT_TRUE(error == WException("code", "role", "category", "other", "f.cpp", 7));
  for (const WException& other :
       {WException("", "role", "category", "text"), WException("code", "", "category", "text"),
        WException("code", "role", "", "text")}) {
    EXPECT_FALSE(error == other) << other.toWString().c_str();
  }
}

TEST(WException, IsNullWithoutThem) {
  EXPECT_TRUE(WException("", "", "", "text").isNull());
  EXPECT_FALSE(WException("code", "", "", "").isNull());
  EXPECT_FALSE(WException("", "role", "", "").isNull());
  EXPECT_FALSE(WException("", "", "category", "").isNull());
}

TEST(WException, DescribesExhaustedMemory) {
  const WException& memory = WException::getDefaultMemoryException();
  EXPECT_EQ(memory.getDescription(false), "Memory allocation failed");
  EXPECT_EQ(memory.getDescription(true),
            "Code = SDKC-OUT_OF_MEMORY, Category = System, Severity = ERROR, Description = Memory "
            "allocation failed, File = Unknown file, line = 0");
}

}  // namespace

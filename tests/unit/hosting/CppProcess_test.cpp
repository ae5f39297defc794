#include "hosting/CppProcess.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

int addArguments(int argc, char** /*argv*/) {
  return 40 + argc;
}

int stops = 0;
void countStop() {
  ++stops;
}

class SharedProcess : public testing::Test {
 protected:
  void TearDown() override { CppProcess::DestroySharedProcess(); }
};

TEST_F(SharedProcess, IsTheFirstThatIsCreated) {
  CppProcess::CreateSharedProcess(nullptr, addArguments, countStop);
  CppProcess* const first = CppProcess::GetSharedProcess();
  stops = 0;
  CppProcess::CreateSharedProcess(nullptr, nullptr, nullptr);
  EXPECT_EQ(CppProcess::GetSharedProcess(), first);
  EXPECT_EQ(first->AppMain(2, nullptr), 42);
  first->AppStop();
  EXPECT_EQ(stops, 1);
}

TEST_F(SharedProcess, IsGoneAfterItsDestruction) {
  CppProcess::CreateSharedProcess(nullptr, addArguments, nullptr);
  CppProcess::GetSharedProcess()->AppStop();
  CppProcess::DestroySharedProcess();
  EXPECT_EQ(CppProcess::GetSharedProcess(), nullptr);
  CppProcess::DestroySharedProcess();
}

TEST_F(SharedProcess, LoadsNoLibraryOverAnother) {
  CppProcess::CreateSharedProcess(nullptr, addArguments, nullptr);
  EXPECT_FALSE(CppProcess::LoadSharedLibrary("/no/such/library.so"));
}

}  // namespace

#include "platform/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/module_copy.h"

namespace sc3xxmon::platform {
namespace {

void SomeFunction() {}

TEST(ModuleFileNameTest, IsTheFileWithoutItsFolder) {
  EXPECT_EQ(ModuleFileNameOf(test::FunctionInModuleNamed("some-Module.so.7")), L"some-Module.so.7");
}

TEST(ModuleFileNameTest, KnowsThisProgram) {
  EXPECT_EQ(ModuleFileNameOf(reinterpret_cast<const void*>(&SomeFunction)), L"platform_tests");
}

TEST(ModuleFileNameTest, AnAddressInNoModuleGivesNothing) {
  EXPECT_EQ(ModuleFileNameOf(nullptr), L"");
  const auto onTheHeap = std::make_unique<int>(1);
  EXPECT_EQ(ModuleFileNameOf(onTheHeap.get()), L"");
}

}  // namespace
}  // namespace sc3xxmon::platform

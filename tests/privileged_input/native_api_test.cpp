#include "privileged_input/native_api.h"

#include "tests/privileged_input/input_test.h"

#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

class NativeTable : public tests::InputTest {
 protected:
  /// The exports that were looked up, in order. Expects ntdll.dll to have been asked for once.
  std::vector<std::string> LookedUp() const {
    const auto modules = CallsOf("GetModuleHandleW");
    EXPECT_EQ(modules.size(), 1U);
    for (const auto& call : modules)
      EXPECT_EQ(call.Argument("lpModuleName"), "ntdll.dll");
    std::vector<std::string> names;
    for (const auto& call : CallsOf("GetProcAddress"))
      names.push_back(call.Argument("lpProcName"));
    return names;
  }
};

TEST_F(NativeTable, ComesFromNtdll) {
  const NativeApi api = LoadNativeApi();
  EXPECT_NE(api.queryDosDevice, nullptr);
  EXPECT_NE(api.ntCreateFile, nullptr);
  EXPECT_NE(api.rtlNtStatusToDosError, nullptr);
  EXPECT_EQ(LookedUp(), (std::vector<std::string>{"NtCreateFile", "RtlNtStatusToDosError"}));
}

TEST_F(NativeTable, LacksWhatIsNotExported) {
  process.missingExports = {"RtlNtStatusToDosError"};
  EXPECT_NE(LoadNativeApi().ntCreateFile, nullptr);
  EXPECT_EQ(LoadNativeApi().rtlNtStatusToDosError, nullptr);
  process.ntdllMissing = true;
  EXPECT_EQ(LoadNativeApi().ntCreateFile, nullptr);
  EXPECT_NE(LoadNativeApi().queryDosDevice, nullptr);
}

// Given no module, GetProcAddress searches the program itself.
TEST_F(NativeTable, IsNotLookedUpWithoutNtdll) {
  process.ntdllMissing = true;
  LoadNativeApi();
  LoadKeyDeletionApi();
  EXPECT_EQ(CallsOf("GetModuleHandleW").size(), 2U);
  EXPECT_TRUE(CallsOf("GetProcAddress").empty());
}

TEST_F(NativeTable, ForKeyDeletionComesFromNtdll) {
  const KeyDeletionApi api = LoadKeyDeletionApi();
  EXPECT_NE(api.ntDeleteKey, nullptr);
  EXPECT_NE(api.rtlNtStatusToDosError, nullptr);
  EXPECT_EQ(LookedUp(), (std::vector<std::string>{"NtDeleteKey", "RtlNtStatusToDosError"}));
}

TEST_F(NativeTable, ForKeyDeletionLacksWhatIsNotExported) {
  process.missingExports = {"NtDeleteKey"};
  EXPECT_EQ(LoadKeyDeletionApi().ntDeleteKey, nullptr);
  EXPECT_NE(LoadKeyDeletionApi().rtlNtStatusToDosError, nullptr);
  process.missingExports = {};
  process.ntdllMissing = true;
  EXPECT_EQ(LoadKeyDeletionApi().ntDeleteKey, nullptr);
  EXPECT_EQ(LoadKeyDeletionApi().rtlNtStatusToDosError, nullptr);
}

}  // namespace
}  // namespace vorn::privileged_input

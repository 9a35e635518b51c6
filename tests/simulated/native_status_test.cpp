#include "platform/simulated/native_status.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using NativeExports = FileWorld;

struct StatusCase {
  std::uint32_t status;
  std::uint32_t error;
};

TEST(NativeStatus, HasItsWin32Code) {
  const StatusCase cases[] = {
      {0x00000000, 0},    {0x80000005, 234},  {0x80000006, 18},   {0xC0000001, 31},
      {0xC0000002, 1},    {0xC0000004, 24},   {0xC0000005, 998},  {0xC0000008, 6},
      {0xC000000D, 87},   {0xC000000E, 2},    {0xC000000F, 2},    {0xC0000010, 1},
      {0xC0000011, 38},   {0xC0000017, 8},    {0xC0000022, 5},    {0xC0000024, 6},
      {0xC0000033, 123},  {0xC0000034, 2},    {0xC0000035, 183},  {0xC0000039, 161},
      {0xC000003A, 3},    {0xC000003B, 161},  {0xC0000043, 32},   {0xC0000056, 5},
      {0xC0000058, 1305}, {0xC000005A, 1307}, {0xC0000061, 1314}, {0xC0000077, 1336},
      {0xC0000078, 1337}, {0xC0000079, 1338}, {0xC000007F, 112},  {0xC000009A, 1450},
      {0xC00000A2, 19},   {0xC00000A3, 21},   {0xC00000BA, 5},    {0xC00000BB, 50},
      {0xC00000BE, 53},   {0xC0000101, 145},  {0xC0000103, 267},  {0xC000011F, 4},
      {0xC0000120, 995},  {0xC0000121, 5},    {0xC000017C, 1018}, {0xC0000180, 1020},
      {0xC0000276, 4393}, {0xC0000279, 1920}, {0xC0000280, 1921}, {0xC000050B, 4395},
  };
  for (const StatusCase& row : cases)
    EXPECT_EQ(ToDosError(static_cast<NTSTATUS>(row.status)), row.error) << std::hex << row.status;
}

TEST(NativeStatus, WithoutACodeMapsToNoMessage) {
  EXPECT_EQ(ToDosError(static_cast<NTSTATUS>(0xC0001234)), 317U);
}

TEST(NativeStatus, OfAnotherFacilityOrWrappedAroundACodePassesThrough) {
  EXPECT_EQ(ToDosError(static_cast<NTSTATUS>(0xE0000225)), 0xE0000225U);
  EXPECT_EQ(ToDosError(static_cast<NTSTATUS>(0xC0070005)), 5U);
  EXPECT_EQ(ToDosError(static_cast<NTSTATUS>(0x80070020)), 32U);
}

TEST_F(NativeExports, AreFoundByTheirExactName) {
  TheProcess();
  const HMODULE ntdll = GetModuleHandleW(u"NTDLL.dll");
  ASSERT_NE(ntdll, nullptr);
  EXPECT_EQ(GetModuleHandleW(u"ntdll"), ntdll);
  EXPECT_NE(GetProcAddress(ntdll, "NtCreateFile"), nullptr);
  EXPECT_NE(GetProcAddress(ntdll, "NtDeleteKey"), nullptr);
  const auto translate = reinterpret_cast<RtlNtStatusToDosErrorFunction>(
      GetProcAddress(ntdll, "RtlNtStatusToDosError"));
  ASSERT_NE(translate, nullptr);
  EXPECT_EQ(translate(STATUS_SHARING_VIOLATION), ERROR_SHARING_VIOLATION);
  EXPECT_TRUE(FailsWith(GetProcAddress(ntdll, "ntcreatefile") != nullptr, ERROR_PROC_NOT_FOUND));
}

TEST_F(NativeExports, CanBeMissing) {
  TheProcess().missingExports = {"NtCreateFile"};
  const HMODULE ntdll = GetModuleHandleW(u"ntdll.dll");
  EXPECT_TRUE(FailsWith(GetProcAddress(ntdll, "NtCreateFile") != nullptr, ERROR_PROC_NOT_FOUND));
  EXPECT_NE(GetProcAddress(ntdll, "NtDeleteKey"), nullptr);
  TheProcess().ntdllMissing = true;
  EXPECT_TRUE(FailsWith(GetModuleHandleW(u"ntdll.dll") != nullptr, ERROR_MOD_NOT_FOUND));
}

TEST_F(NativeExports, AreNotFoundInOtherModules) {
  TheProcess();
  EXPECT_TRUE(FailsWith(GetModuleHandleW(u"other.dll") != nullptr, ERROR_MOD_NOT_FOUND));
  const HMODULE program = GetModuleHandleW(nullptr);
  EXPECT_TRUE(FailsWith(GetProcAddress(program, "NtCreateFile") != nullptr, ERROR_PROC_NOT_FOUND));
  EXPECT_TRUE(FailsWith(GetProcAddress(nullptr, "NtCreateFile") != nullptr, ERROR_MOD_NOT_FOUND));
}

}  // namespace
}  // namespace vorn::platform::simulated

#include "privileged_input/path_rules.h"

#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "privileged_input/directory.h"
#include "tests/privileged_input/input_test.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::Repeat;

/// `start`, extended to `length` units by names of up to 200 units.
std::u16string PathOfLength(std::u16string start, std::size_t length) {
  while (start.size() < length) {
    if (!start.empty()) start += u'\\';
    start += Repeat(u'a', std::min<std::size_t>(200, length - start.size()));
  }
  return start;
}

bool IsForbidden(char16_t unit) {
  return unit < 0x20 || unit == 0x7F ||
         std::u16string_view(u"\\/:<>\"|?*").find(unit) != std::u16string_view::npos;
}

/// Every UTF-16 code unit.
std::vector<char16_t> EveryUnit() {
  std::vector<char16_t> units(0x10000);
  std::iota(units.begin(), units.end(), char16_t{0});
  return units;
}

class PathComponent : public tests::InputTest {
 protected:
  void ExpectSafe(std::u16string_view name) {
    EXPECT_TRUE(IsSafeComponentName(name)) << testing::PrintToString(name);
  }
  void ExpectRefused(std::u16string_view name) {
    platform::SetLastError(0);
    EXPECT_FALSE(IsSafeComponentName(name)) << testing::PrintToString(name);
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME) << testing::PrintToString(name);
  }
};

TEST_F(PathComponent, HasOneTo255Units) {
  ExpectRefused(u"");
  ExpectSafe(u"a");
  ExpectSafe(Repeat(u'a', 255));
  ExpectRefused(Repeat(u'a', 256));
}

TEST_F(PathComponent, DoesNotEndInADotOrABlank) {
  for (const char16_t* name : {u".", u"..", u"...", u"file.", u"file ", u"file.inf ", u" "}) {
    ExpectRefused(name);
  }
  for (const char16_t* name : {u".hidden", u"..hidden", u" leading", u"a.b.c", u"a b"}) {
    ExpectSafe(name);
  }
}

TEST_F(PathComponent, ContainsNoControlCharacter) {
  for (char16_t unit = 0; unit < 0x20; ++unit) {
    ExpectRefused(std::u16string{u'a', unit, u'b'});
  }
  ExpectRefused(u"a\u007Fb");
  ExpectSafe(u"a\u0080b");
  ExpectSafe(u"a\u0020b");
}

TEST_F(PathComponent, ContainsNoSeparatorStreamOrWildcardCharacter) {
  for (const char16_t unit : std::u16string_view(u"\\/:<>\"|?*")) {
    ExpectRefused(std::u16string{u'a', unit, u'b'});
  }
  ExpectSafe(u"a';=+[]{}()!@#$%^&,~`-_b");
}

// Nothing beyond ASCII is special: neither the control characters from U+0080, nor unpaired
// surrogates, nor noncharacters, nor other blanks at the end.
TEST_F(PathComponent, MayContainAndEndInAnyOtherCodeUnit) {
  for (const char16_t unit : EveryUnit()) {
    const bool forbidden = IsForbidden(unit);
    ASSERT_EQ(IsSafeComponentName(std::u16string{u'a', unit, u'b'}), !forbidden) << int{unit};
    ASSERT_EQ(IsSafeComponentName(std::u16string{u'a', unit}),
              !forbidden && unit != u'.' && unit != u' ')
        << int{unit};
  }
}

TEST_F(PathComponent, IsNotADeviceNameWhateverItsExtension) {
  for (const char16_t* name :
       {u"CON", u"con", u"PRN", u"AUX", u"NUL", u"Nul.txt", u"aux.inf", u"Aux.Cat.Old", u"CONIN$",
        u"conout$", u"CLOCK$.cat", u"clock$", u"nul..x"}) {
    ExpectRefused(name);
  }
  for (const char16_t* name : {u"CON1", u"CONX", u"xCON", u"AUXX", u"AU", u"CONIN", u"CLOCK",
                               u"CONIN$X", u"CONOUT", u"CLOCK$$", u"CON .txt", u"x.con", u"NULL"}) {
    ExpectSafe(name);
  }
}

TEST_F(PathComponent, RefusesEveryNumberedPort) {
  for (const std::u16string port : {u"COM", u"LPT", u"com", u"Lpt"}) {
    for (char16_t digit = u'0'; digit <= u'9'; ++digit) {
      ExpectRefused(port + digit);
      ExpectRefused(port + digit + u".inf");
    }
  }
}

TEST_F(PathComponent, RefusesASuperscriptPort) {
  for (const char16_t* name : {u"com\u00B9.x", u"com\u00B2", u"COM\u00B3", u"LPT\u00B9"}) {
    ExpectRefused(name);
  }
}

TEST_F(PathComponent, RefusesPortsOfTenDigitsAndThreeSuperscriptsOnly) {
  for (const std::u16string port : {u"COM", u"LPT"}) {
    std::u16string refused;
    for (const char16_t unit : EveryUnit()) {
      const bool refusedAnywhere = IsForbidden(unit) || unit == u'.' || unit == u' ';
      if (!refusedAnywhere && !IsSafeComponentName(port + unit)) refused += unit;
    }
    EXPECT_EQ(refused, u"0123456789\u00B2\u00B3\u00B9");
  }
}

TEST_F(PathComponent, AcceptsWhatOnlyResemblesAPort) {
  for (const char16_t* name :
       {u"COM", u"LPT", u"COM10", u"LPTA", u"COMA", u"xCOM1", u"COM\u2074", u"COM\u00B4", u"COM .1",
        u"LPT-", u"PRN1", u"AUX1", u"NUL1", u"CON1"}) {
    ExpectSafe(name);
  }
}

TEST_F(PathComponent, FoldsAsciiLettersOnlyBeforeComparing) {
  ExpectSafe(u"c\u00F6n");
  ExpectSafe(u"\uFF23\uFF2F\uFF2E");  // full-width CON
  ExpectSafe(u"\u212Aon");            // a Kelvin sign is no K
}

TEST_F(PathComponent, IsADeviceNameInEitherCaseOfAsciiLettersOnly) {
  for (const std::u16string_view device :
       {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$", u"CLOCK$"}) {
    for (std::size_t i = 0; i < device.size(); ++i) {
      for (const char16_t unit : EveryUnit()) {
        // No character in this range has an ASCII letter as its other case.
        if (unit >= 0x2200 && unit < 0xFF00) continue;
        if (IsForbidden(unit) || unit == u'.' || unit == u' ') continue;
        std::u16string name(device);
        name[i] = unit;
        const bool same = unit == device[i] || (device[i] != u'$' && unit == device[i] + 0x20);
        ASSERT_EQ(IsSafeComponentName(name), !same) << testing::PrintToString(name);
      }
    }
  }
}

class AbsolutePathRule : public tests::InputTest {
 protected:
  void ExpectRefused(std::u16string_view path) {
    std::vector<std::u16string> components;
    platform::SetLastError(0);
    EXPECT_FALSE(ParseAbsolutePath(path, components)) << testing::PrintToString(path);
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME) << testing::PrintToString(path);
  }
};

TEST_F(AbsolutePathRule, SplitsAPathIntoItsNamesOutermostFirst) {
  std::vector<std::u16string> components;
  EXPECT_TRUE(ParseAbsolutePath(u"c:\\Pkg\\driver\\VORN_audio.inf", components));
  EXPECT_EQ(components, (std::vector<std::u16string>{u"Pkg", u"driver", u"VORN_audio.inf"}));
}

TEST_F(AbsolutePathRule, AppendsToTheList) {
  std::vector<std::u16string> components = {u"before"};
  EXPECT_TRUE(ParseAbsolutePath(u"C:\\a", components));
  EXPECT_EQ(components, (std::vector<std::u16string>{u"before", u"a"}));
}

TEST_F(AbsolutePathRule, ReturnsNoNamesForADriveRoot) {
  std::vector<std::u16string> components;
  EXPECT_TRUE(ParseAbsolutePath(u"C:\\", components));
  EXPECT_TRUE(components.empty());
}

TEST_F(AbsolutePathRule, RefusesEveryOtherForm) {
  for (const char16_t* path : {u"",
                               u"C",
                               u"C:",
                               u"C:\\\\",
                               u"C:\\a\\",
                               u"C:\\a\\\\b",
                               u"C:a",
                               u"C:/a",
                               u"C:\\a/b",
                               u"a\\b",
                               u"\\a\\b",
                               u"\\\\server\\share",
                               u"\\\\.\\C:\\x",
                               u"\\\\?\\C:\\x",
                               u"\\??\\C:\\x",
                               u"1:\\x",
                               u"[:\\x",
                               u"@:\\x",
                               u"`:\\x",
                               u"{:\\x",
                               u"\u00C4:\\x",
                               u"C;\\x",
                               u"C:\\a\\..\\b",
                               u"C:\\.",
                               u"C:\\a:stream",
                               u"C:\\com1\\x",
                               u"C:\\a\\nul.txt"}) {
    ExpectRefused(path);
  }
}

TEST_F(AbsolutePathRule, KeepsTheNamesBeforeTheRefusedOne) {
  std::vector<std::u16string> components;
  EXPECT_FALSE(ParseAbsolutePath(u"C:\\a\\b\\aux\\c", components));
  EXPECT_EQ(components, (std::vector<std::u16string>{u"a", u"b"}));
}

TEST_F(AbsolutePathRule, AcceptsEveryDriveLetter) {
  for (const char16_t letter : std::u16string_view(u"AZaz")) {
    std::vector<std::u16string> components;
    EXPECT_TRUE(ParseAbsolutePath(std::u16string{letter, u':', u'\\', u'x'}, components));
  }
}

TEST_F(AbsolutePathRule, Accepts32760UnitsAndNoMore) {
  std::vector<std::u16string> components;
  EXPECT_TRUE(ParseAbsolutePath(PathOfLength(u"C:", 32760), components));
  ExpectRefused(PathOfLength(u"C:", 32761));
}

class RelativePathRule : public tests::InputTest {};

TEST_F(RelativePathRule, SplitsFromTheFirstCodeUnit) {
  std::vector<std::u16string> components;
  EXPECT_TRUE(ParseRelativePath(u"a\\b\\c", components));
  EXPECT_EQ(components, (std::vector<std::u16string>{u"a", u"b", u"c"}));
}

TEST_F(RelativePathRule, Accepts32760UnitsAndNoMore) {
  std::vector<std::u16string> components;
  EXPECT_TRUE(ParseRelativePath(PathOfLength({}, 32760), components));
  platform::SetLastError(0);
  EXPECT_FALSE(ParseRelativePath(PathOfLength({}, 32761), components));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(RelativePathRule, RefusesEmptyNamesUnsafeNamesAndALongPath) {
  for (const std::u16string& path : {std::u16string(), Repeat(u'a', 32761), std::u16string(u"a\\"),
                                     std::u16string(u"\\a"), std::u16string(u"a\\..\\b")}) {
    std::vector<std::u16string> components;
    platform::SetLastError(0);
    EXPECT_FALSE(ParseRelativePath(path, components));
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  }
}

TEST(HardDiskVolumeDevice, IsThePrefixFollowedByDigits) {
  EXPECT_TRUE(IsHardDiskVolumeDevice(u"\\Device\\HarddiskVolume1"));
  EXPECT_TRUE(IsHardDiskVolumeDevice(u"\\Device\\HarddiskVolume12"));
  EXPECT_TRUE(IsHardDiskVolumeDevice(u"\\Device\\HarddiskVolume0123456789"));
  for (const char16_t* target :
       {u"", u"\\Device\\HarddiskVolume", u"\\Device\\HarddiskVolume3\\sub",
        u"\\Device\\HarddiskVolume3 ", u"\\Device\\HarddiskVolumeX", u"\\device\\HarddiskVolume3",
        u"\\Device\\harddiskvolume3", u"\\Device\\HarddiskVolumeShadowCopy1",
        u"\\Device\\Mup\\server\\share", u"\\Device\\CdRom0", u"\\??\\C:\\folder",
        u"\\Device\\HarddiskVolume\uFF13"}) {
    EXPECT_FALSE(IsHardDiskVolumeDevice(target)) << testing::PrintToString(target);
  }
}

class DriveRule : public tests::InputTest {};

TEST_F(DriveRule, QueriesTheLetterAsTypedIntoALargeBuffer) {
  std::u16string device;
  EXPECT_TRUE(IsHardDiskVolumeDrive(LoadNativeApi(), u'c', &device));
  EXPECT_EQ(device, u"\\Device\\HarddiskVolume3");
  const auto calls = CallsOf("QueryDosDeviceW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("lpDeviceName"), "c:");
  EXPECT_EQ(calls[0].Argument("ucchMax"), "32768");
}

TEST_F(DriveRule, NeedsTheEntryPoint) {
  EXPECT_FALSE(IsHardDiskVolumeDrive({}, u'C'));
  EXPECT_LAST_ERROR(ERROR_PROC_NOT_FOUND);
}

TEST_F(DriveRule, KeepsTheErrorOfAFailedQuery) {
  EXPECT_FALSE(IsHardDiskVolumeDrive(LoadNativeApi(), u'Q'));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  FailCall("QueryDosDeviceW", platform::ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_FALSE(IsHardDiskVolumeDrive(LoadNativeApi(), u'C'));
  EXPECT_LAST_ERROR(ERROR_NOT_ENOUGH_MEMORY);
}

TEST_F(DriveRule, RefusesATargetThatIsNotAHardDiskVolume) {
  for (const char16_t* target : {u"\\??\\C:\\folder", u"\\Device\\Mup\\server\\share",
                                 u"\\Device\\CdRom0", u"\\Device\\HarddiskVolume"}) {
    Files().dosDevices[u"D:"] = target;
    EXPECT_FALSE(IsHardDiskVolumeDrive(LoadNativeApi(), u'D'));
    EXPECT_LAST_ERROR(ERROR_BAD_DEVICE);
  }
}

TEST_F(DriveRule, RefusesAnAnswerThatFillsTheWholeBuffer) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t size) {
    std::fill_n(targets, size, u'x');
    platform::SetLastError(platform::ERROR_MORE_DATA);
    return size;
  };
  EXPECT_FALSE(IsHardDiskVolumeDrive(api, u'C'));
  EXPECT_LAST_ERROR(ERROR_MORE_DATA);
}

TEST_F(DriveRule, RefusesAnAnswerThatExceedsTheBuffer) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t size) {
    std::copy_n(u"\\Device\\HarddiskVolume7", 24, targets);
    platform::SetLastError(platform::ERROR_MORE_DATA);
    return size + 1;
  };
  EXPECT_FALSE(IsHardDiskVolumeDrive(api, u'C'));
  EXPECT_LAST_ERROR(ERROR_MORE_DATA);
}

TEST_F(DriveRule, LooksAtTheFirstTargetOnly) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t) {
    constexpr char16_t kTargets[] = u"\\Device\\Mup\\share\0\\Device\\HarddiskVolume7\0";
    std::copy(std::begin(kTargets), std::end(kTargets), targets);
    return static_cast<std::uint32_t>(std::size(kTargets));
  };
  EXPECT_FALSE(IsHardDiskVolumeDrive(api, u'C'));
  EXPECT_LAST_ERROR(ERROR_BAD_DEVICE);
}

TEST_F(DriveRule, AcceptsAnAnswerThatJustFits) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t size) {
    std::copy_n(u"\\Device\\HarddiskVolume7", 24, targets);
    return size - 1;
  };
  EXPECT_TRUE(IsHardDiskVolumeDrive(api, u'C'));
}

TEST_F(DriveRule, RefusesAnAnswerThatWasNotWritten) {
  // The memory of this answer, which the next one gets, would pass.
  ASSERT_TRUE(IsHardDiskVolumeDrive(LoadNativeApi(), u'C'));
  NativeApi api;
  ASSERT_TRUE(IsHardDiskVolumeDrive(LoadNativeApi(), u'C'));  // leaves nothing for the next query
  api.queryDosDevice = [](const char16_t*, char16_t*, std::uint32_t) { return std::uint32_t{24}; };
  EXPECT_FALSE(IsHardDiskVolumeDrive(api, u'C'));
  EXPECT_LAST_ERROR(ERROR_BAD_DEVICE);
}

TEST_F(DriveRule, ReadsZerosWhereTheAnswerPromisesMoreThanWasWritten) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t size) {
    std::fill_n(targets, size, u'7');
    return size;
  };
  ASSERT_FALSE(IsHardDiskVolumeDrive(api, u'C'));
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t) {
    std::copy_n(u"\\Device\\HarddiskVolume7", 23, targets);
    return std::uint32_t{25};
  };
  std::u16string device;
  EXPECT_TRUE(IsHardDiskVolumeDrive(api, u'C', &device));
  EXPECT_EQ(device, u"\\Device\\HarddiskVolume7");
}

TEST_F(DriveRule, JudgesTheFirstTargetOfSeveral) {
  NativeApi api;
  api.queryDosDevice = [](const char16_t*, char16_t* targets, std::uint32_t) {
    constexpr std::u16string_view two(u"\\Device\\HarddiskVolume7\0\\Device\\Old\0\0", 37);
    std::copy(two.begin(), two.end(), targets);
    return static_cast<std::uint32_t>(two.size());
  };
  std::u16string device;
  EXPECT_TRUE(IsHardDiskVolumeDrive(api, u'C', &device));
  EXPECT_EQ(device, u"\\Device\\HarddiskVolume7");
}

TEST(VolumeGuidRoot, HasAFixedPrefixSuffixAndLength) {
  EXPECT_TRUE(IsVolumeGuidRoot(kGuidRoot));
  EXPECT_TRUE(IsVolumeGuidRoot(u"\\\\?\\Volume{" + Repeat(u'?', 36) + u"}\\"));
  for (const std::u16string& path :
       {std::u16string(), u"\\\\?\\Volume{" + Repeat(u'0', 35) + u"}\\",
        u"\\\\?\\Volume{" + Repeat(u'0', 37) + u"}\\",
        u"\\\\?\\volume{" + Repeat(u'0', 36) + u"}\\", u"\\\\?\\Volume{" + Repeat(u'0', 37) + u"\\",
        u"\\\\?\\Volume{" + Repeat(u'0', 36) + u"}/", std::u16string(kGuidRoot) + u"a",
        Repeat(u'a', 49)}) {
    EXPECT_FALSE(IsVolumeGuidRoot(path)) << testing::PrintToString(path);
  }
}

class VolumeRootQuery : public tests::InputTest {};

TEST_F(VolumeRootQuery, AsksForTheGuidFormOfTheName) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", LoadNativeApi());
  process.calls.clear();
  EXPECT_EQ(QueryVolumeGuidRoot(root.Handle()), kGuidRoot);
  const auto calls = CallsOf("GetFinalPathNameByHandleW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("cchFilePath"), "32768");
  EXPECT_EQ(calls[0].Argument("dwFlags"), "0x1");
}

TEST_F(VolumeRootQuery, TakesWhateverStandsBetweenTheBraces) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", LoadNativeApi());
  const std::u16string odd = u"\\\\?\\Volume{" + Repeat(u'?', 36) + u"}\\";
  Files().volumes[0].reportedRoot = odd;
  EXPECT_EQ(QueryVolumeGuidRoot(root.Handle()), odd);
}

TEST_F(VolumeRootQuery, IsEmptyForAFolderBelowTheRoot) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\Temp", LoadNativeApi());
  EXPECT_EQ(QueryVolumeGuidRoot(folder.Handle()), u"");
}

TEST_F(VolumeRootQuery, IsEmptyWhenThePlatformFails) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", LoadNativeApi());
  FailCall("GetFinalPathNameByHandleW", platform::ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(QueryVolumeGuidRoot(root.Handle()), u"");
}

TEST_F(DriveRule, NeedNotReturnTheDevice) {
  EXPECT_TRUE(IsHardDiskVolumeDrive(LoadNativeApi(), u'C', nullptr));
  Files().dosDevices[u"D:"] = u"\\Device\\CdRom0";
  EXPECT_FALSE(IsHardDiskVolumeDrive(LoadNativeApi(), u'D', nullptr));
}

TEST_F(VolumeRootQuery, IsEmptyForANameThatFillsTheWholeBuffer) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", LoadNativeApi());
  Files().volumes[0].reportedRoot = Repeat(u'x', 32768);
  EXPECT_EQ(QueryVolumeGuidRoot(root.Handle()), u"");
}

}  // namespace
}  // namespace vorn::privileged_input

#include "package/windows_inf_folder.h"

#include "package_world.h"

#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;

std::optional<std::u16string> ReadFolderOf(std::u16string windowsFolder,
                                           const std::vector<Fault>& faults = {}) {
  Machine machine = tests::BareMachine();
  machine.files.windowsFolder = std::move(windowsFolder);
  Process process(machine);
  process.faults = faults;
  return ReadWindowsFolder();
}

TEST(WindowsFolder, IsAsThePlatformNamesIt) {
  EXPECT_EQ(ReadFolderOf(u"C:\\Windows"), u"C:\\Windows");
}

TEST(WindowsFolder, IsNothingWhenTheCallFails) {
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  EXPECT_FALSE(ReadFolderOf(u"C:\\Windows", {fault}));
}

TEST(WindowsFolder, IsNotBelievedWhenTheCallFails) {
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  fault.kind = FaultKind::FailAfterEffect;
  EXPECT_FALSE(ReadFolderOf(u"C:\\Windows", {fault}));
}

TEST(WindowsFolder, HasUpTo32767Units) {
  const std::u16string longest = u"C:\\" + std::u16string(32764, u'w');
  EXPECT_EQ(ReadFolderOf(longest), longest);
  EXPECT_FALSE(ReadFolderOf(longest + u"w"));
}

}  // namespace
}  // namespace vorn

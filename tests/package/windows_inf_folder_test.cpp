#include "package/windows_inf_folder.h"

#include "package_world.h"

namespace vorn {
namespace {

using namespace platform::simulated;

struct Answer {
  bool known = false;
  std::u16string folder = u"left over";
};

Answer ReadFolderOf(std::u16string windowsFolder, const std::vector<Fault>& faults = {}) {
  Machine machine = tests::BareMachine();
  machine.files.windowsFolder = std::move(windowsFolder);
  Process process(machine);
  process.faults = faults;
  Answer answer;
  answer.known = ReadWindowsFolder(answer.folder);
  return answer;
}

TEST(WindowsFolder, IsAsThePlatformNamesIt) {
  const Answer answer = ReadFolderOf(u"C:\\Windows");
  EXPECT_TRUE(answer.known);
  EXPECT_EQ(answer.folder, u"C:\\Windows");
}

TEST(WindowsFolder, IsEmptyWhenThePlatformDoesNotSay) {
  Fault fault;
  fault.call = "GetWindowsDirectoryW";
  const Answer answer = ReadFolderOf(u"C:\\Windows", {fault});
  EXPECT_FALSE(answer.known);
  EXPECT_EQ(answer.folder, u"");
}

TEST(WindowsFolder, HasUpTo32767Units) {
  const std::u16string longest = u"C:\\" + std::u16string(32764, u'w');
  EXPECT_EQ(ReadFolderOf(longest).folder, longest);
  const Answer longer = ReadFolderOf(longest + u"w");
  EXPECT_FALSE(longer.known);
  EXPECT_EQ(longer.folder, u"");
}

}  // namespace
}  // namespace vorn

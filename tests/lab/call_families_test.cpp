// Every platform call belongs to the family whose header declares it.

#include "lab/call_families.h"

#include "lab/call_names.h"
#include "tests/lab/lab_process.h"
#include "tests/lab/temporary_folder.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

fs::path PlatformFolder() {
  fs::path folder = fs::path(LabProgram()).parent_path();
  while (!fs::exists(folder / "platform" / "files.h") && folder != folder.root_path())
    folder = folder.parent_path();
  return folder / "platform";
}

bool Names(const std::string& header, const std::string& call) {
  const std::string method = call.substr(call.find("::") == call.npos ? 0 : call.find("::") + 2);
  return std::regex_search(ReadHostFile(PlatformFolder() / (header + ".h")),
                           std::regex("\\b" + method + "\\b"));
}

TEST(CallFamilies, HaveEveryCallOfTheirHeader) {
  for (const std::string_view name : CallNames()) {
    const CallFamily& family = CallFamilies()[FamilyOf(name)];
    EXPECT_TRUE(Names(std::string(family.header), std::string(name)))
        << name << " is not of " << family.header;
  }
}

TEST(CallFamilies, AllHaveACall) {
  std::set<std::size_t> used;
  for (const std::string_view name : CallNames())
    used.insert(FamilyOf(name));
  EXPECT_EQ(used.size(), CallFamilies().size());
}

TEST(CallFamilies, RefuseAnUnknownCall) {
  EXPECT_THROW(FamilyOf("Explode"), std::invalid_argument);
}

}  // namespace
}  // namespace vorn::lab

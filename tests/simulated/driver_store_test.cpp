// The driver store: what an uninstallation removes, and when it refuses.

#include "platform/files.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/neighbours.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

constexpr char16_t kPublishedInf[] = u"C:\\Windows\\INF\\oem3.inf";

/// A machine whose device was removed and whose package remains.
Machine WithUnusedPackage() {
  Machine machine = InstalledMachine();
  RemoveDeviceNode(machine, kRootId);
  return machine;
}

}  // namespace

TEST(DriverStore, ForgetsAnUninstalledPackageAndItsInf) {
  Machine machine = WithUnusedPackage();
  const auto foreign = DescribeForeignParts(machine);
  EXPECT_EQ(UninstallPackage(machine, u"OEM3.inf", 0), 0u);
  EXPECT_EQ(machine.store.Find(u"oem3.inf"), nullptr);
  EXPECT_FALSE(FindNode(machine.files, kPublishedInf));
  EXPECT_EQ(DescribeForeignParts(machine), foreign);
}

TEST(DriverStore, RefusesAPackageThatADeviceUses) {
  Machine machine = InstalledMachine();
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), ERROR_INF_IN_USE_BY_DEVICES);
  machine.devices.Find(kRootId)->present = false;
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), ERROR_INF_IN_USE_BY_DEVICES) << "absent";
  EXPECT_NE(machine.store.Find(u"oem3.inf"), nullptr);
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", SUOI_FORCEDELETE), 0u);
}

TEST(DriverStore, RefusesNamesThatAreNotPackages) {
  Machine machine = WithUnusedPackage();
  for (const char16_t* name : {u"machine.inf", u"oem.inf", u"oem3.pnf", u"oemx.inf",
                               u"C:\\Windows\\INF\\oem3.inf", u"..\\oem3.inf", u""}) {
    EXPECT_EQ(UninstallPackage(machine, name, 0), ERROR_NOT_AN_INSTALLED_OEM_INF);
  }
  EXPECT_EQ(UninstallPackage(machine, u"oem77.inf", 0), ERROR_FILE_NOT_FOUND);
}

TEST(DriverStore, DoesNotFindAPackageWhoseInfVanished) {
  Machine machine = WithUnusedPackage();
  RemovePath(machine.files, kPublishedInf);
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), ERROR_FILE_NOT_FOUND);
}

TEST(DriverStore, ReturnsTheConfiguredErrorOfAPackage) {
  Machine machine = WithUnusedPackage();
  machine.store.Find(u"oem3.inf")->uninstallError = ERROR_ACCESS_DENIED;
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(FindNode(machine.files, kPublishedInf));
}

TEST(DriverStore, CanFeignAnUninstallation) {
  Machine machine = WithUnusedPackage();
  machine.store.Find(u"oem3.inf")->uninstallKeepsFile = true;
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), 0u);
  EXPECT_TRUE(FindNode(machine.files, kPublishedInf));
}

TEST(DriverStore, CannotDeleteAnInfThatIsHeldOpen) {
  Machine machine = WithUnusedPackage();
  const auto open = HoldOpen(machine.files, kPublishedInf, FILE_READ_DATA, FILE_SHARE_READ);
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), ERROR_SHARING_VIOLATION);
  EXPECT_NE(machine.store.Find(u"oem3.inf"), nullptr);
  ReleaseHold(machine.files, open);
  HoldOpen(machine.files, kPublishedInf, FILE_READ_ATTRIBUTES, FILE_SHARE_READ);
  EXPECT_EQ(UninstallPackage(machine, u"oem3.inf", 0), 0u) << "attributes hold nothing";
}

TEST(DriverStore, UsesANumberOnlyOnce) {
  Machine machine = WithUnusedPackage();
  ASSERT_EQ(UninstallPackage(machine, u"oem3.inf", 0), 0u);
  EXPECT_EQ(PublishPackage(machine, kSampleInf, kSampleHardwareId), u"oem4.inf");
}

TEST(DriverStore, ReportsWhyItRefusesAPackage) {
  Machine machine = CleanMachine();
  std::uint32_t error = 0;
  EXPECT_FALSE(PublishPackage(machine, u"C:\\nothing.inf", kSampleHardwareId, &error));
  EXPECT_EQ(error, ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(PublishPackage(machine, kSampleInf, u"Root\\Other", &error));
  EXPECT_EQ(error, ERROR_NO_MORE_ITEMS);
  EXPECT_FALSE(PublishPackage(machine, kSampleInf, u"Root\\Other"));
}

TEST(DriverStore, RefusesAPackageWhoseInfHasNoFolder) {
  std::uint32_t error = 0;
  Machine elsewhere = CleanMachine();
  elsewhere.files.windowsFolder = u"X:\\Windows";
  EXPECT_FALSE(PublishPackage(elsewhere, kSampleInf, kSampleHardwareId, &error));
  EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
  error = 0;
  Machine blocked = CleanMachine();
  RemovePath(blocked.files, u"C:\\Windows\\INF");
  PutFile(blocked.files, u"C:\\Windows\\INF", "a file");
  EXPECT_FALSE(PublishPackage(blocked, kSampleInf, kSampleHardwareId, &error));
  EXPECT_EQ(error, ERROR_PATH_NOT_FOUND);
  RemovePath(blocked.files, u"C:\\Windows");
  EXPECT_TRUE(PublishPackage(blocked, kSampleInf, kSampleHardwareId));
}

TEST(DriverPackageInf, FitsThisSystemByItsDecorationOnly) {
  struct Case {
    const char* decoration;
    bool fits;
  };
  const Case cases[] = {
      {"NTamd64", true},
      {"NTamd64.10.0", true},
      {"NTamd64.10.0...19041", true},
      {"ntAMD64.6.1", true},
      {"NTamd64.10.0...19045", true},
      {"NTamd64.10.0.1..19041", true},
      {"NTamd64.10.0...22000", false},
      {"NTamd64.11.0", false},
      {"NTamd64.10.0.3", false},
      {"NTx86.10.0", false},
      {"NTarm64", false},
      {"NT", false},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.decoration);
    const std::string text = std::string(
                                 "[Version]\r\nSignature=\"$Windows NT$\"\r\n"
                                 "[Manufacturer]\r\nM=Models,") +
                             each.decoration + "\r\n[Models." + each.decoration +
                             "]\r\nName=Install,Root\\Other,Root\\VornAudio\r\n";
    std::uint32_t error = 0;
    const auto package =
        ReadDriverPackage(Bytes(text.begin(), text.end()), kSampleHardwareId, &error);
    ASSERT_TRUE(package);
    EXPECT_EQ(package->hasModel, each.fits);
  }
}

TEST(DriverPackageInf, UsesTheModelsThatFitBest) {
  const std::string text =
      "[Version]\nSignature=\"$Windows NT$\"\n"
      "[Manufacturer]\nM=Models,NTamd64.6.1,NTamd64.10.0...19041,NTamd64.10.0...22000\n"
      "[Models.NTamd64.6.1]\nN=Old,Root\\VornAudio\n"
      "[Models.NTamd64.10.0...19041]\nN=Now,Root\\VornAudio\n"
      "[Models.NTamd64.10.0...22000]\nN=Later,Root\\VornAudio\n"
      "[Old.Services]\nAddService=Old,2,S\n"
      "[Now.Services]\nAddService=Now,2,S\n"
      "[Later.Services]\nAddService=Later,2,S\n"
      "[S]\nServiceBinary=%12%\\now.sys\n";
  std::uint32_t error = 0;
  const auto package =
      ReadDriverPackage(Bytes(text.begin(), text.end()), kSampleHardwareId, &error);
  ASSERT_TRUE(package);
  EXPECT_EQ(package->service, u"Now");
  EXPECT_EQ(package->image, u"now.sys");
}

TEST(DriverPackageInf, OfARecipeHasTheValuesOfTheRecipe) {
  PackageRecipe recipe;
  recipe.service = u"VornTwo";
  const std::string text = InfText(recipe);
  std::uint32_t error = 0;
  const auto package =
      ReadDriverPackage(Bytes(text.begin(), text.end()), kSampleHardwareId, &error);
  ASSERT_TRUE(package);
  EXPECT_TRUE(package->hasModel);
  EXPECT_EQ(package->version, kSampleVersion);
  EXPECT_EQ(package->rank.year, 2026u);
  EXPECT_EQ(package->rank.month, 8u);
  EXPECT_EQ(package->rank.day, 10u);
  EXPECT_EQ(package->service, u"VornTwo");
  EXPECT_EQ(package->catalog, u"vorn_audio.cat");
  EXPECT_EQ(package->className, u"MEDIA");
  EXPECT_EQ(package->classGuid, kMediaClass);
  EXPECT_EQ(package->files, std::vector<std::u16string>{u"vorn_audio.sys"});
}

TEST(DriverCatalog, ListsCompleteLinesOnly) {
  const Bytes content = {1, 2, 3};
  const std::string line = CatalogLine(content);
  const auto lists = [&](const std::string& catalog) {
    return CatalogLists(Bytes(catalog.begin(), catalog.end()), content);
  };
  EXPECT_TRUE(lists(line));
  EXPECT_TRUE(lists("# catalog\r\n" + line + "\r\n"));
  EXPECT_TRUE(lists("\n\n" + line + "\n"));
  EXPECT_FALSE(lists(""));
  EXPECT_FALSE(lists(" " + line));
  EXPECT_FALSE(lists(line + "0"));
  EXPECT_FALSE(lists(line.substr(0, line.size() - 1)));
}

}  // namespace vorn::tests

// The driver update: what it checks, publishes, binds and restarts.

#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/neighbours.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

/// A package in a folder of its own.
std::u16string Write(World& world, const PackageRecipe& recipe,
                     std::u16string_view folder = u"C:\\pkg\\candidate") {
  return WritePackage(world.machine.files, folder, recipe);
}

PackageRecipe Newer() {
  PackageRecipe recipe;
  recipe.version = u"26.8.11.0";
  recipe.date = u"09/01/2026";
  return recipe;
}

std::uint32_t UpdateError(const std::u16string& inf, std::uint32_t flags = INSTALLFLAG_FORCE,
                          const char16_t* hardwareId = kSampleHardwareId) {
  bool restart = true;
  if (UpdateDriverForPlugAndPlayDevicesW(hardwareId, inf.c_str(), flags, &restart)) return 0;
  EXPECT_TRUE(restart) << "untouched on failure";
  return GetLastError();
}

}  // namespace

TEST(StoreUpdate, PublishesBindsAndStarts) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  EXPECT_EQ(Update(kSampleInf), false);
  const Device& root = world.Device(kRootId);
  EXPECT_EQ(root.publishedInf, u"oem3.inf");
  EXPECT_EQ(root.service, u"VornAudio");
  EXPECT_EQ(StringProperty(root, kDriverInfPathKey), u"oem3.inf");
  EXPECT_EQ(StringProperty(root, kDriverVersionKey), kSampleVersion);
  EXPECT_EQ(StringProperty(root, kServiceKey), u"VornAudio");
  EXPECT_FALSE(IsStarted(root));
  world.Wait(399);
  EXPECT_FALSE(IsStarted(world.Device(kRootId)));
  world.Wait(1);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  EXPECT_EQ(world.Device(kRootId).resident, SoundImage(kSampleVersion));
  world.Wait(1500);
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
}

TEST(StoreUpdate, CopiesTheInfByteForByteAndRemembersItsNames) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  Update(kSampleInf);
  EXPECT_EQ(ReadWholeFile(world.machine.files, u"C:\\Windows\\INF\\oem3.inf"),
            ReadWholeFile(world.machine.files, kSampleInf));
  const PublishedPackage* package = world.machine.store.Find(u"OEM3.INF");
  ASSERT_NE(package, nullptr);
  EXPECT_EQ(package->originalInf, u"vorn_audio.inf");
  EXPECT_EQ(package->originalCatalog, u"vorn_audio.cat");
}

TEST(StoreUpdate, AcceptsAVolumeGuidPath) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  const std::u16string path = u"\\\\?\\Volume{" + world.machine.files.volumes.front().guid +
                              u"}\\pkg\\driver\\vorn_audio.inf";
  EXPECT_EQ(Update(path.c_str()), false);
  EXPECT_EQ(world.machine.store.Find(u"oem3.inf")->originalInf, u"vorn_audio.inf");
}

TEST(StoreUpdate, WorksWhileTheCallerHoldsTheInfOpenForReading) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  HoldOpen(world.machine.files, kSampleInf, FILE_READ_DATA, FILE_SHARE_READ);
  EXPECT_EQ(Update(kSampleInf), false);
}

TEST(StoreUpdate, FailsWhileSomebodyHoldsTheInfExclusively) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  HoldOpen(world.machine.files, kSampleInf, FILE_READ_DATA, 0);
  EXPECT_EQ(UpdateError(kSampleInf), ERROR_SHARING_VIOLATION);
}

TEST(StoreUpdate, GivesTheSameBytesTheSameName) {
  World world(InstalledMachine());
  const auto packages = world.machine.store.packages;
  EXPECT_EQ(Update(kSampleInf), false);
  EXPECT_EQ(world.machine.store.packages, packages);
  EXPECT_EQ(world.Device(kRootId).publishedInf, u"oem3.inf");
}

TEST(StoreUpdate, GivesOtherBytesOfTheSameVersionAnotherName) {
  World world(InstalledMachine());
  PackageRecipe recipe;
  recipe.extraInfText = "; rebuilt\r\n";
  EXPECT_EQ(UpdateError(Write(world, recipe)), 0u);
  EXPECT_EQ(world.Device(kRootId).publishedInf, u"oem4.inf");
  EXPECT_NE(world.machine.store.Find(u"oem3.inf"), nullptr);
}

TEST(StoreUpdate, SkipsNamesInUse) {
  World world(CleanMachine());
  PutFile(world.machine.files, u"C:\\Windows\\INF\\oem3.inf", "; somebody's\r\n");
  AddRoot(world.machine, kRootId);
  Update(kSampleInf);
  EXPECT_EQ(world.Device(kRootId).publishedInf, u"oem4.inf");
}

TEST(StoreUpdate, ReadsUtf16Infs) {
  World world(CleanMachine());
  AddRoot(world.machine, kRootId);
  PackageRecipe recipe;
  recipe.utf16 = true;
  EXPECT_EQ(UpdateError(Write(world, recipe)), 0u);
  EXPECT_EQ(StringProperty(world.Device(kRootId), kDriverVersionKey), kSampleVersion);
}

TEST(StoreUpdate, StopsTheOlderDriverAndStartsTheNewOne) {
  World world(OutdatedMachine());
  const auto ids = world.machine.audio.remembered;
  EXPECT_EQ(Update(kSampleInf), false);
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  EXPECT_FALSE(world.Device(kRootId).resident.has_value());
  world.Wait(5'000);
  EXPECT_EQ(world.Device(kRootId).resident, SoundImage(kSampleVersion));
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
  EXPECT_EQ(world.machine.audio.remembered, ids) << "endpoints keep their ids";
}

TEST(StoreUpdate, ChangesNothingWhenItFails) {
  struct Case {
    const char* what;
    PackageRecipe recipe;
    std::uint32_t error;
  };
  PackageRecipe noCatalog = Newer();
  noCatalog.withoutCatalog = true;
  PackageRecipe unlisted = Newer();
  unlisted.brokenCatalog = true;
  PackageRecipe otherDevice = Newer();
  otherDevice.hardwareId = u"Root\\Other";
  PackageRecipe noCatalogName = Newer();
  noCatalogName.catalogName = u"";
  const Case cases[] = {
      {"no catalog beside the INF", noCatalog, ERROR_NO_CATALOG_FOR_OEM_INF},
      {"the catalog does not list the INF", unlisted, ERROR_FILE_HASH_NOT_IN_CATALOG},
      {"no model for the hardware id", otherDevice, ERROR_NO_MORE_ITEMS},
      {"the INF names no catalog", noCatalogName, ERROR_NO_CATALOG_FOR_OEM_INF},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    World world(OutdatedMachine());
    const std::u16string inf = Write(world, each.recipe);
    const Machine before = world.machine;
    EXPECT_EQ(UpdateError(inf), each.error);
    EXPECT_EQ(world.machine.devices, before.devices);
    EXPECT_EQ(world.machine.store, before.store);
    EXPECT_EQ(world.machine.files, before.files);
  }
}

TEST(StoreUpdate, FailsWhenTheInfDoesNotExist) {
  World world(OutdatedMachine());
  EXPECT_EQ(UpdateError(u"C:\\pkg\\driver\\missing.inf"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(UpdateError(u"C:\\nowhere\\vorn_audio.inf"), ERROR_FILE_NOT_FOUND);
}

TEST(StoreUpdate, FailsForInvalidPaths) {
  World world(OutdatedMachine());
  for (const char16_t* path : {u"", u"vorn_audio.inf", u"X:\\a.inf", u"\\\\server\\share\\a.inf",
                               kSampleFolder, u"C:", u"\\\\?\\Volume{no}\\a.inf"}) {
    EXPECT_NE(UpdateError(path), 0u);
  }
}

TEST(StoreUpdate, WithoutForceNeedsAPresentDevice) {
  World world(DuplicatesMachine());
  RemoveDeviceNode(world.machine, u"ROOT\\MEDIA\\0002");
  world.Device(u"ROOT\\MEDIA\\0001").publishedInf.clear();
  EXPECT_EQ(UpdateError(kSampleInf, 0), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(world.Device(u"ROOT\\MEDIA\\0001").publishedInf, u"");
}

TEST(StoreUpdate, FailsForAFileThatIsNotAnInf) {
  World world(OutdatedMachine());
  PutFile(world.machine.files, u"C:\\pkg\\text.inf", "hello\r\n");
  EXPECT_NE(UpdateError(u"C:\\pkg\\text.inf"), 0u);
}

TEST(StoreUpdate, FailsWhenTheImageIsMissingOrWasExchanged) {
  World world(OutdatedMachine());
  const std::u16string inf = Write(world, Newer());
  PutFile(world.machine.files, u"C:\\pkg\\candidate\\vorn_audio.sys", "version=6.6.6.6\r\n");
  EXPECT_EQ(UpdateError(inf), ERROR_FILE_HASH_NOT_IN_CATALOG);
  RemovePath(world.machine.files, u"C:\\pkg\\candidate\\vorn_audio.sys");
  EXPECT_EQ(UpdateError(inf), ERROR_FILE_NOT_FOUND);
}

TEST(StoreUpdate, LooksForADeviceBeforeItReadsTheInf) {
  World world(CleanMachine());
  EXPECT_EQ(UpdateError(u"C:\\pkg\\nowhere.inf"), ERROR_NO_SUCH_DEVINST);
  AddRoot(world.machine, kRootId);
  EXPECT_EQ(UpdateError(u"C:\\pkg\\nowhere.inf"), ERROR_FILE_NOT_FOUND);
}

TEST(StoreUpdate, FailsWithoutAPresentDevice) {
  World world(CleanMachine());
  EXPECT_EQ(UpdateError(kSampleInf), ERROR_NO_SUCH_DEVINST);
  AddRoot(world.machine, kRootId).present = false;
  EXPECT_EQ(UpdateError(kSampleInf), ERROR_NO_SUCH_DEVINST);
  EXPECT_EQ(world.machine.store.Find(u"oem3.inf"), nullptr);
}

TEST(StoreUpdate, WithoutForceBindsOnlyABetterPackage) {
  World world(InstalledMachine());
  PackageRecipe older;
  older.version = u"26.8.10.6";
  older.date = u"08/09/2026";
  EXPECT_EQ(UpdateError(Write(world, older), 0), ERROR_NO_MORE_ITEMS) << "an older date";
  EXPECT_EQ(UpdateError(kSampleInf, 0), ERROR_NO_MORE_ITEMS) << "the same";
  PackageRecipe newer;
  newer.version = u"26.8.10.10";
  EXPECT_EQ(UpdateError(Write(world, newer), 0), 0u) << "the same date, a higher version";
}

TEST(StoreUpdate, RefusesWrongParameters) {
  World world(InstalledMachine());
  bool restart = false;
  EXPECT_FALSE(UpdateDriverForPlugAndPlayDevicesW(nullptr, kSampleInf, 1, &restart));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(UpdateError(kSampleInf, 0x100), ERROR_INVALID_FLAGS);
}

TEST(StoreUpdate, FindsTheHardwareIdInAnyCaseAndPlace) {
  World world(InstalledMachine());
  world.Device(kRootId).hardwareIds = {u"Root\\First", u"ROOT\\VORNAUDIO"};
  EXPECT_EQ(UpdateError(Write(world, Newer()), INSTALLFLAG_FORCE, u"root\\vornaudio"), 0u);
}

TEST(StoreUpdate, SelectsButDoesNotStartADisabledDevice) {
  World world(DisabledMachine());
  EXPECT_EQ(UpdateError(Write(world, Newer())), 0u);
  world.Wait(60'000);
  const Device& root = world.Device(kRootId);
  EXPECT_EQ(root.problem, CM_PROB_DISABLED);
  EXPECT_EQ(StringProperty(root, kDriverVersionKey), u"26.8.11.0");
  EXPECT_FALSE(root.resident.has_value());
}

TEST(StoreUpdate, SelectsForAbsentDevicesToo) {
  World world(DuplicatesMachine());
  EXPECT_EQ(UpdateError(Write(world, Newer())), 0u);
  world.Wait(60'000);
  EXPECT_EQ(world.Device(u"ROOT\\MEDIA\\0001").publishedInf, u"oem4.inf");
  EXPECT_FALSE(world.Device(u"ROOT\\MEDIA\\0001").present);
  EXPECT_TRUE(IsStarted(world.Device(u"ROOT\\MEDIA\\0002"))) << "a second present one starts";
}

TEST(StoreUpdate, LeavesNeighboursAlone) {
  World world(OutdatedMachine());
  const auto foreign = DescribeForeignParts(world.machine);
  Update(kSampleInf);
  world.Wait(60'000);
  EXPECT_EQ(DescribeForeignParts(world.machine), foreign);
}

TEST(StoreUpdateRestart, IsRequestedByAnImageThatNeedsIt) {
  World world(OutdatedMachine());
  PackageRecipe recipe = Newer();
  recipe.image = SoundImage(recipe.version);
  recipe.image->needsRestart = true;
  const DriverImage older = *world.Device(kRootId).resident;
  EXPECT_EQ(Update(Write(world, recipe).c_str()), true);
  world.Wait(60'000);
  const Device& root = world.Device(kRootId);
  EXPECT_TRUE(IsStarted(root));
  EXPECT_EQ(root.resident, older) << "what runs goes on running";
  EXPECT_EQ(StringProperty(root, kDriverVersionKey), u"26.8.11.0");
  EXPECT_EQ(StringProperty(root, kDriverInfPathKey), root.publishedInf);
  EXPECT_EQ(root.pendingInf, root.publishedInf);
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
  Reboot(world.machine);
  EXPECT_EQ(world.Device(kRootId).resident, recipe.image);
  EXPECT_EQ(world.Device(kRootId).pendingInf, u"");
}

TEST(StoreUpdateRestart, IsRequestedByTheStoreOrByThePlan) {
  World world(OutdatedMachine());
  world.machine.store.updateNeedsRestart = true;
  EXPECT_EQ(Update(kSampleInf), true);
  world.machine.store.updateNeedsRestart = false;
  Fault fault;
  fault.call = "UpdateDriverForPlugAndPlayDevicesW";
  fault.first = 2;
  fault.last = 2;
  fault.kind = FaultKind::AskRestart;
  world.process.faults = {fault};
  EXPECT_EQ(Update(kSampleInf), true);
  EXPECT_EQ(Update(kSampleInf), false);
}

TEST(StoreUpdateRestart, IsOverWhenAnotherPackageIsSelectedWithoutOne) {
  World world(OutdatedMachine());
  const std::u16string previous = world.Device(kRootId).publishedInf;
  Fault fault;
  fault.call = "UpdateDriverForPlugAndPlayDevicesW";
  fault.kind = FaultKind::AskRestart;
  world.process.faults = {fault};
  EXPECT_EQ(Update(kSampleInf), true);
  // A published INF has no catalog beside it, because the store trusts its own packages.
  EXPECT_EQ(Update((u"C:\\Windows\\INF\\" + previous).c_str()), false);
  world.Wait(5'000);
  EXPECT_EQ(world.Device(kRootId).publishedInf, previous);
  EXPECT_EQ(world.Device(kRootId).pendingInf, u"");
  EXPECT_EQ(world.Device(kRootId).resident, SoundImage(u"26.8.9.4"));
}

TEST(StoreUpdateRestart, LeavesANewDeviceWaiting) {
  World world(CleanMachine());
  world.machine.store.updateNeedsRestart = true;
  AddRoot(world.machine, kRootId);
  EXPECT_EQ(Update(kSampleInf), true);
  world.Wait(60'000);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_NEED_RESTART);
  Reboot(world.machine);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(StoreUpdateRestart, TakesEffectWhenTheDeviceIsRestartedInPlace) {
  World world(OutdatedMachine());
  world.machine.store.updateNeedsRestart = true;
  EXPECT_EQ(Update(kSampleInf), true);
  RestartDevice(world.machine, kRootId);
  world.Wait(5'000);
  EXPECT_EQ(world.Device(kRootId).resident, SoundImage(kSampleVersion));
  EXPECT_EQ(world.Device(kRootId).pendingInf, u"");
}

TEST(StoreUpdate, FailsWithTheConfiguredError) {
  World world(OutdatedMachine());
  world.machine.store.updateError = ERROR_ACCESS_DENIED;
  const auto devices = world.machine.devices;
  EXPECT_EQ(UpdateError(kSampleInf), ERROR_ACCESS_DENIED);
  EXPECT_EQ(world.machine.devices, devices);
}

}  // namespace vorn::tests

#include "lab/machine_folder.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/registry_facts.h"
#include "lab/volume_form.h"
#include "tests/lab/temporary_folder.h"
#include "tests/lab/unusual_machine.h"
#include "tests/support/sample.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

namespace vorn::lab {

using tests::kSampleInf;
namespace {

using platform::simulated::Device;
using platform::simulated::DriverImage;
using platform::simulated::Machine;

namespace fs = std::filesystem;

/// The machine document of a machine, including its files.
std::string TextOf(const LabMachine& lab) {
  MachineDocument document;
  document.machine = lab.machine;
  document.process = lab.process;
  document.heldFiles = ListHeldFiles(lab.machine.files);
  for (VolumeForm& form : TakeVolumesApart(lab.machine.files, lab.volumeFolders))
    document.volumes.push_back(std::move(form.facts));
  return WriteDocument(document);
}

/// The ids of open files are not observable, so they are not compared.
platform::simulated::FileSystem WithoutOpens(platform::simulated::FileSystem files) {
  files.opens.clear();
  return files;
}

/// The times of every file, which the model leaves out of its comparisons.
std::vector<std::int64_t> TimesOf(const platform::simulated::FileSystem& files) {
  std::vector<std::int64_t> times;
  for (platform::simulated::NodeId id = 0; id < files.nextNode; ++id) {
    if (const platform::simulated::Node* const node = files.nodes.Find(id)) {
      const auto& of = node->times;
      times.insert(times.end(), {of.creation, of.lastAccess, of.lastWrite, of.change});
    }
  }
  return times;
}

/// What other processes hold open.
std::vector<platform::simulated::Open> OpensOf(const platform::simulated::FileSystem& files) {
  std::vector<platform::simulated::Open> opens;
  for (const auto& [key, open] : files.opens)
    opens.push_back(open);
  return opens;
}

/// The keys below a key by their paths, without the numbers by which they find each other.
void CollectKeys(const platform::simulated::Registry& registry, platform::simulated::KeyId id,
                 const std::u16string& path,
                 std::map<std::u16string, platform::simulated::Key>& keys) {
  platform::simulated::Key key = registry.keys.at(id);
  for (const platform::simulated::KeyId child : key.children)
    CollectKeys(registry, child, path + u"\\" + registry.keys.at(child).name, keys);
  key.children.clear();
  key.parent = 0;
  keys[path] = std::move(key);
}

std::map<std::u16string, platform::simulated::Key> KeysOf(
    const platform::simulated::Registry& registry) {
  std::map<std::u16string, platform::simulated::Key> keys;
  CollectKeys(registry, registry.localMachine, {}, keys);
  return keys;
}

void ExpectSameProcess(const ProcessFacts& left, const ProcessFacts& right) {
  EXPECT_EQ(left.token.sids, right.token.sids);
  EXPECT_EQ(left.token.owner, right.token.owner);
  EXPECT_EQ(left.token.holdsBackup, right.token.holdsBackup);
  EXPECT_EQ(left.token.holdsRestore, right.token.holdsRestore);
  EXPECT_EQ(left.token.backupEnabled, right.token.backupEnabled);
  EXPECT_EQ(left.token.restoreEnabled, right.token.restoreEnabled);
  EXPECT_EQ(left.standardOutputClosed, right.standardOutputClosed);
  EXPECT_EQ(left.ntdllMissing, right.ntdllMissing);
  EXPECT_EQ(left.missingExports, right.missingExports);
  EXPECT_EQ(left.faults, right.faults);
}

/// The machines themselves are compared: a fact that no document has is missing from both texts.
void ExpectSame(const LabMachine& left, const LabMachine& right) {
  EXPECT_EQ(TextOf(left), TextOf(right));
  EXPECT_TRUE(WithoutOpens(left.machine.files) == WithoutOpens(right.machine.files));
  EXPECT_EQ(TimesOf(left.machine.files), TimesOf(right.machine.files));
  EXPECT_TRUE(OpensOf(left.machine.files) == OpensOf(right.machine.files));
  EXPECT_EQ(left.machine.files.scanMs, right.machine.files.scanMs);
  EXPECT_TRUE(left.machine.devices == right.machine.devices);
  EXPECT_TRUE(left.machine.store == right.machine.store);
  EXPECT_TRUE(left.machine.audio == right.machine.audio);
  EXPECT_TRUE(left.machine.clock == right.machine.clock);
  EXPECT_TRUE(left.machine.services == right.machine.services);
  EXPECT_EQ(left.machine.serviceManagerError, right.machine.serviceManagerError);
  EXPECT_EQ(left.machine.randomState, right.machine.randomState);
  EXPECT_EQ(left.machine.classNames, right.machine.classNames);
  EXPECT_TRUE(KeysOf(left.machine.registry) == KeysOf(right.machine.registry));
  ExpectSameProcess(left.process, right.process);
}

struct NamedPreset {
  const char* name;
  Machine (*make)();
};

TEST(MachineFolder, RestoresEveryPreset) {
  using namespace platform::simulated;
  const NamedPreset presets[] = {{"clean", CleanMachine},
                                 {"installed", [] { return InstalledMachine(); }},
                                 {"outdated", OutdatedMachine},
                                 {"duplicates", DuplicatesMachine},
                                 {"disabled", DisabledMachine}};
  for (const NamedPreset& preset : presets) {
    SCOPED_TRACE(preset.name);
    TemporaryFolder temporary;
    LabMachine lab;
    lab.machine = preset.make();
    CreateMachineFolder(temporary / "m", lab);
    ExpectSame(MachineFolder(temporary / "m").Load(), lab);
  }
}

TEST(MachineFolder, RestoresAMachineWithoutAnyDefault) {
  TemporaryFolder temporary;
  const LabMachine lab = UnusualMachine();
  CreateMachineFolder(temporary / "m", lab);
  ExpectSame(MachineFolder(temporary / "m").Load(), lab);
}

// Names of one file are read in the order of the host, where a capital stands before "_" and other
// letters behind it; the machine compares capitals.
TEST(MachineFolder, RestoresTheSecurityOfAFileInFoldersWithDifferentLists) {
  TemporaryFolder temporary;
  LabMachine lab = {platform::simulated::CleanMachine(), {}, {}};
  auto& files = lab.machine.files;
  MakeFolder(files, u"C:\\order\\_first");
  NodeAt(files, u"C:\\order\\_first").security =
      platform::simulated::ParseSddl(u"O:SYD:P(A;OICI;FA;;;SY)").value();
  PutFile(files, u"C:\\order\\last\\file", std::string_view("x"));
  AddHardLink(files, u"C:\\order\\last\\file", u"C:\\order\\_first\\file");
  CreateMachineFolder(temporary / "m", lab);
  ExpectSame(MachineFolder(temporary / "m").Load(), lab);
}

TEST(MachineFolder, ForgetsWhoHoldsAFileWithoutAName) {
  TemporaryFolder temporary;
  LabMachine lab = {platform::simulated::CleanMachine(), {}, {}};
  auto& files = lab.machine.files;
  HoldOpen(files, kSampleInf, 1, 7);
  RemovePath(files, kSampleInf);
  CreateMachineFolder(temporary / "m", lab);
  const LabMachine restored = MachineFolder(temporary / "m").Load();
  EXPECT_FALSE(FindNode(restored.machine.files, kSampleInf).has_value());
  EXPECT_TRUE(restored.machine.files.opens.empty());
}

TEST(MachineFolder, IsWrittenTheSameEachTime) {
  TemporaryFolder temporary;
  CreateMachineFolder(temporary / "m", UnusualMachine());
  const std::string text = ReadHostFile(temporary / "m/machine.json");
  const MachineFolder folder(temporary / "m");
  folder.Save(folder.Load());
  EXPECT_EQ(ReadHostFile(temporary / "m/machine.json"), text);
}

TEST(MachineFolder, IsLockedWhileItIsInUse) {
  TemporaryFolder temporary;
  CreateMachineFolder(temporary / "m", UnusualMachine());
  const std::string path = temporary.Name("m");
  const int other = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(other, 0);
  {
    const MachineFolder used(path);
    EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  }
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
}

TEST(MachineFolder, DoesNotRewriteUnchangedFiles) {
  TemporaryFolder temporary;
  CreateMachineFolder(temporary / "m", {platform::simulated::CleanMachine(), {}, {}});
  const fs::path unchanged = temporary / "m/C/pkg/driver/vorn_audio.inf";
  const auto longAgo = fs::last_write_time(unchanged) - std::chrono::hours(1);
  fs::last_write_time(unchanged, longAgo);
  const MachineFolder folder(temporary / "m");
  LabMachine lab = folder.Load();
  PutFile(lab.machine.files, u"C:\\new.txt", "new");
  folder.Save(lab);
  EXPECT_EQ(fs::last_write_time(unchanged), longAgo);
  EXPECT_EQ(ReadHostFile(temporary / "m/C/new.txt"), "new");
}

// A field that is added to a record must be added to the document too. These counts show where.

/// Only asked what it could become; it never does.
struct AnyValue {
  template <class T>
  operator T() const {  // NOLINT(google-explicit-constructor)
    std::abort();
  }
};

template <class T, class... Values>
constexpr std::size_t CountFields() {
  if constexpr (requires { T{Values{}..., AnyValue{}}; }) {
    return CountFields<T, Values..., AnyValue>();
  } else {
    return sizeof...(Values);
  }
}

TEST(MachineDocument, KnowsEveryFieldOfTheModel) {
  using namespace platform::simulated;
  EXPECT_EQ((CountFields<Machine>()), 10U);
  EXPECT_EQ((CountFields<FileSystem>()), 12U);
  EXPECT_EQ((CountFields<Volume>()), 10U);
  EXPECT_EQ((CountFields<Entry>()), 4U);
  EXPECT_EQ((CountFields<Node>()), 16U);
  EXPECT_EQ((CountFields<Open>()), 6U);
  EXPECT_EQ((CountFields<SecurityRecord>()), 7U);
  EXPECT_EQ((CountFields<AccessEntry>()), 4U);
  EXPECT_EQ((CountFields<Key>()), 9U);
  EXPECT_EQ((CountFields<RegistryValue>()), 3U);
  EXPECT_EQ((CountFields<Device>()), 26U);
  EXPECT_EQ((CountFields<DeviceTemper>()), 12U);
  EXPECT_EQ((CountFields<DeviceInterface>()), 4U);
  EXPECT_EQ((CountFields<DeviceProperty>()), 3U);
  EXPECT_EQ((CountFields<DriverImage>()), 21U);
  EXPECT_EQ((CountFields<PoolEntry>()), 3U);
  EXPECT_EQ((CountFields<DriverStore>()), 4U);
  EXPECT_EQ((CountFields<PublishedPackage>()), 7U);
  EXPECT_EQ((CountFields<AudioCatalog>()), 21U);
  EXPECT_EQ((CountFields<AudioEndpoint>()), 15U);
  EXPECT_EQ((CountFields<RememberedEndpoint>()), 2U);
  EXPECT_EQ((CountFields<Service>()), 3U);
  EXPECT_EQ((CountFields<Clock>()), 3U);
  EXPECT_EQ((CountFields<Event>()), 3U);
  EXPECT_EQ((CountFields<Token>()), 6U);
}

// ------------------------------------------------------------------------------------------------
// Folders edited by hand.

class HandMade : public testing::Test {
 protected:
  void SetUp() override {
    CreateMachineFolder(folder(), {platform::simulated::CleanMachine(), {}, {}});
  }
  fs::path folder() const { return temporary_ / "m"; }
  Machine Load() const { return MachineFolder(folder()).Load().machine; }

  /// Why the folder in its present state is refused.
  std::string Refusal() const {
    try {
      Load();
    } catch (const BadInput& bad) {
      const std::string text = bad.what();
      EXPECT_TRUE(text.starts_with(folder().string() + "/")) << text;
      return text.substr(std::min(text.size(), folder().string().size() + 1));
    }
    return "accepted";
  }

  TemporaryFolder temporary_;
};

std::string ContentOf(const Machine& machine, std::u16string_view path) {
  const auto content = ReadWholeFile(machine.files, path);
  return content ? std::string(content->begin(), content->end()) : "none";
}

TEST_F(HandMade, FilesMayBeAddedChangedAndDeleted) {
  WriteHostFile(folder() / "C/pkg/driver/vorn_audio.inf", "changed");
  fs::create_directories(folder() / "C/added/folder");
  WriteHostFile(folder() / "C/added/folder/file.txt", "added");
  fs::remove(folder() / "C/pkg/driver/vorn_audio.cat");
  fs::remove_all(folder() / "C/Users");
  const Machine machine = Load();
  EXPECT_EQ(ContentOf(machine, kSampleInf), "changed");
  EXPECT_EQ(ContentOf(machine, u"C:\\added\\folder\\file.txt"), "added");
  EXPECT_EQ(ContentOf(machine, u"C:\\pkg\\driver\\vorn_audio.cat"), "none");
  EXPECT_FALSE(FindNode(machine.files, u"C:\\Users").has_value());
}

TEST_F(HandMade, AnAddedFileInheritsItsSecurity) {
  WriteHostFile(folder() / "C/Windows/INF/added.inf", "x");
  const Machine machine = Load();
  const auto& security = NodeAt(machine.files, u"C:\\Windows\\INF\\added.inf").security;
  EXPECT_TRUE(security == InheritFrom(NodeAt(machine.files, u"C:\\Windows\\INF").security, false,
                                      platform::simulated::kAdministrators));
}

TEST_F(HandMade, NamesThatDifferInCaseOnlyAreRefused) {
  WriteHostFile(folder() / "C/pkg/READ.ME", "x");
  WriteHostFile(folder() / "C/pkg/read.me", "x");
  EXPECT_EQ(Refusal(), "C/pkg/read.me: another name of the folder differs from it in case only");
}

TEST_F(HandMade, LinksOfTheHostAreRefused) {
  fs::create_symlink("/etc/passwd", folder() / "C/pkg/link");
  EXPECT_EQ(Refusal(), "C/pkg/link: is neither a file nor a folder");
}

TEST_F(HandMade, NamesThatAreNotUtf8AreRefused) {
  WriteHostFile(folder() / "C/pkg/caf\xE9", "x");
  EXPECT_EQ(Refusal(), "C/pkg/caf\xE9: is not a UTF-8 name");
}

TEST_F(HandMade, AFileInThePlaceOfAVolumeIsRefused) {
  fs::remove_all(folder() / "C");
  WriteHostFile(folder() / "C", "x");
  EXPECT_EQ(Refusal(), "C: is not a folder");
}

TEST_F(HandMade, AFolderWithoutADocumentIsRefused) {
  fs::remove(folder() / "machine.json");
  EXPECT_THROW(MachineFolder{folder()}, BadInput);
  EXPECT_THROW(MachineFolder{temporary_ / "missing"}, BadInput);
}

TEST_F(HandMade, AMachineIsNotCreatedOverAnExistingFolder) {
  EXPECT_THROW(CreateMachineFolder(folder(), {}), BadInput);
  WriteHostFile(temporary_ / "file", "x");
  EXPECT_THROW(CreateMachineFolder(temporary_ / "file", {}), BadInput);
  fs::create_directory(temporary_ / "empty");
  CreateMachineFolder(temporary_ / "empty", {platform::simulated::CleanMachine(), {}, {}});
  EXPECT_TRUE(fs::exists(temporary_ / "empty/machine.json"));
}

}  // namespace
}  // namespace vorn::lab

#include "removal_world.h"

#include "base/text.h"
#include "platform/registry.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/neighbours.h"

#include <algorithm>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr char16_t kHardwareId[] = u"Root\\VornAudio";

/// Every record, by display path.
std::vector<std::u16string> AllRecords(const Registry& registry) {
  std::vector<std::u16string> paths;
  for (const std::u16string flow : {u"Render", u"Capture"}) {
    const auto key = FindKey(registry, kEndpointRecordsPath + (u"\\" + flow));
    if (!key) continue;
    for (const KeyId record : registry.keys.at(*key).children)
      paths.push_back(flow + u"\\" + registry.keys.at(record).name);
  }
  return paths;
}

std::u16string FullPath(const std::u16string& record) {
  return kEndpointRecordsPath + (u"\\" + record);
}

/// Whether a record's marker proves that it is the program's.
bool IsOurs(const Registry& registry, const std::u16string& record) {
  const RegistryValue* marker =
      FindValue(registry, FullPath(record) + u"\\Properties", kCableMarkerName);
  return marker != nullptr && marker->type == platform::REG_DWORD && marker->data.size() == 4 &&
         marker->data[0] < 10 && marker->data[1] + marker->data[2] + marker->data[3] == 0;
}

/// The keys of a record, as they are but for the state, which Windows keeps up to date.
std::vector<Key> KeysOf(const Registry& registry, KeyId id) {
  std::vector<Key> keys = {registry.keys.at(id)};
  std::erase_if(keys.front().values,
                [](const RegistryValue& value) { return value.name == u"DeviceState"; });
  for (const KeyId child : registry.keys.at(id).children) {
    const std::vector<Key> below = KeysOf(registry, child);
    keys.insert(keys.end(), below.begin(), below.end());
  }
  return keys;
}

void JudgeRecords(const Machine& before, const Machine& after, std::vector<std::string>& broken) {
  for (const std::u16string& record : AllRecords(before.registry)) {
    if (IsOurs(before.registry, record)) continue;
    const auto now = FindKey(after.registry, FullPath(record));
    const auto then = FindKey(before.registry, FullPath(record));
    if (!now || KeysOf(after.registry, *now) != KeysOf(before.registry, *then)) {
      broken.push_back("a record that is not ours was touched: " + ToUtf8(record));
    }
  }
}

bool IsExactPackage(const Machine& machine, const PublishedPackage& package) {
  const auto path = PublishedInfPath(machine, package.publishedInf);
  const auto published = ReadWholeFile(machine.files, path);
  return published && published == ReadWholeFile(machine.files, kInfArgument) &&
         package.originalInf == u"vorn_audio.inf" && package.originalCatalog == u"vorn_audio.cat";
}

void JudgePackages(const Machine& before, const Machine& after, std::vector<std::string>& broken) {
  for (const PublishedPackage& package : before.store.packages) {
    const PublishedPackage* now = after.store.Find(package.publishedInf);
    if (now != nullptr) {
      if (!(*now == package)) broken.push_back("a package changed");
      continue;
    }
    if (!IsExactPackage(before, package)) {
      broken.push_back("a package of other bytes or identity was uninstalled");
    }
    if (!InstalledRootIds(after).empty()) {
      broken.push_back("a package was uninstalled while a root remains");
    }
  }
}

}  // namespace

RunResult Remove(Machine& machine, const RunOptions& options, const std::u16string& infPath) {
  return RunCommand(machine, {u"remove", infPath}, options);
}

std::vector<std::string> Transcript(const RunResult& result) {
  std::vector<std::string> lines;
  for (const ConsoleWrite& write : result.console) {
    std::string text = ToUtf8(write.text);
    if (text.ends_with('\n')) {
      text.pop_back();
    } else {
      text += " (without an end)";
    }
    lines.push_back((write.error ? "err: " : "out: ") + text);
  }
  return lines;
}

std::vector<std::string> MarkedRecords(const Machine& machine) {
  std::vector<std::string> records;
  for (const std::u16string& record : AllRecords(machine.registry)) {
    if (IsOurs(machine.registry, record)) records.push_back(ToUtf8(record));
  }
  return records;
}

std::vector<std::string> RemovedRecordLines(const std::vector<std::string>& records) {
  std::vector<std::string> lines;
  for (const std::string& record : records)
    lines.push_back("out: vorn_devnode: removed VORN endpoint record " + record);
  return lines;
}

std::string OkLine(int roots, int packages, std::size_t records, std::size_t retained) {
  return "out: vorn_devnode: RESULT=OK - removed " + std::to_string(roots) +
         " Root\\VornAudio device(s), " + std::to_string(packages) +
         " exact driver package(s) and " + std::to_string(records) + " VORN endpoint record(s) (" +
         std::to_string(retained) + " retained); zero installed roots and exact packages verified";
}

std::string RemovalLogText(const Machine& machine) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const auto content = ReadWholeFile(machine.files, kRemovalLogPath);
  if (!content) return "no file";
  const std::string text(content->begin(), content->end());
  return text.starts_with(kMark) ? text.substr(kMark.size()) : "no mark: " + text;
}

void CopyPackage(Machine& machine, std::u16string_view published, std::u16string_view copy) {
  PublishedPackage package = *machine.store.Find(published);
  const auto inf = ReadWholeFile(machine.files, PublishedInfPath(machine, published));
  package.publishedInf = copy;
  machine.store.packages.push_back(std::move(package));
  PutFile(machine.files, PublishedInfPath(machine, copy), *inf);
}

std::vector<std::u16string> InstalledRootIds(const Machine& machine) {
  std::vector<std::u16string> roots;
  for (const Device& device : machine.devices.devices) {
    const auto& ids = device.hardwareIds;
    if (std::find(ids.begin(), ids.end(), kHardwareId) != ids.end()) {
      roots.push_back(device.instanceId);
    }
  }
  return roots;
}

std::vector<std::string> BrokenPromises(const Machine& before, const Machine& after) {
  std::vector<std::string> broken;
  const std::vector<std::u16string> now = DescribeForeignParts(after);
  for (const std::u16string& part : DescribeForeignParts(before)) {
    if (std::find(now.begin(), now.end(), part) == now.end()) {
      broken.push_back("somebody else's thing changed: " + ToUtf8(part));
    }
  }
  JudgeRecords(before, after, broken);
  JudgePackages(before, after, broken);
  return broken;
}

}  // namespace vorn::tests

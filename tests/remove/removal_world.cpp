#include "removal_world.h"

#include "base/text.h"
#include "platform/registry.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/neighbours.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

std::u16string FullPath(const std::u16string& record) {
  return kEndpointRecordsPath + (u"\\" + record);
}

/// The keys of a record, without its state, which Windows keeps up to date.
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
  for (const std::u16string& record : OtherRecords(before)) {
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
  return published && published == ReadWholeFile(machine.files, kSampleInf) &&
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
    if (!InstalledRoots(after).empty()) {
      broken.push_back("a package was uninstalled while a root remains");
    }
  }
}

}  // namespace

RunResult Remove(Machine& machine, const RunOptions& options, const std::u16string& infPath) {
  return RunCommand(machine, {u"remove", infPath}, options);
}

Console RemovedRecordLines(const std::vector<std::u16string>& records) {
  Console lines;
  for (const std::u16string& record : records)
    lines.push_back(Out("vorn_devnode: removed VORN endpoint record " + ToUtf8(record)));
  return lines;
}

ConsoleLine OkLine(int roots, int packages, std::size_t records, std::size_t retained) {
  return Out("vorn_devnode: RESULT=OK - removed " + std::to_string(roots) +
             " Root\\VornAudio device(s), " + std::to_string(packages) +
             " exact driver package(s) and " + std::to_string(records) +
             " VORN endpoint record(s) (" + std::to_string(retained) +
             " retained); zero installed roots and exact packages verified");
}

std::string RemovalLogText(const Machine& machine) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const auto content = ReadWholeFile(machine.files, kSampleLog);
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

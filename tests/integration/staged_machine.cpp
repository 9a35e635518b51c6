#include "tests/integration/staged_machine.h"

#include "base/text.h"
#include "lab/json_text.h"
#include "lab/machine_folder.h"
#include "lab/machine_report.h"
#include "platform/simulated/other_process.h"
#include "tests/integration/decision_table.h"
#include "tests/support/activation.h"
#include "tests/support/machine_view.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <stdexcept>

namespace vorn::tests {

using lab::Json;
using lab::LabResult;
using platform::simulated::Device;
using platform::simulated::Machine;

namespace {

constexpr char16_t kPackageInf[] = u"vorn_audio.inf";

/// The member of an object, added when it is missing, or the element of a list.
Json& Descend(Json& json, const std::string& key) {
  if (json.As<Json::List>() == nullptr) return json[std::string_view(key)];
  const auto element = std::find_if(json.begin(), json.end(), [&key](const Json& each) {
    const auto* members = each.As<Json::Object>();
    return members != nullptr && std::any_of(members->begin(), members->end(), [&](const auto& m) {
             const auto* text = m.second.template As<std::string>();
             return text != nullptr && *text == key;
           });
  });
  if (element == json.end()) throw std::invalid_argument("no element " + key);
  return *element;
}

std::set<std::string> EndpointIdsOf(const Machine& machine, const std::vector<Device>& roots) {
  std::set<std::string> ids;
  for (const auto& endpoint : machine.audio.endpoints) {
    if (std::any_of(roots.begin(), roots.end(),
                    [&endpoint](const Device& root) { return root.instanceId == endpoint.root; })) {
      ids.insert(ToUtf8(endpoint.id));
    }
  }
  return ids;
}

/// Of the first root that has an image in memory.
std::string ResidentVersionOf(const Machine& machine, const std::vector<Device>& roots) {
  for (const lab::DeviceReport& device : lab::Examine(machine).devices) {
    if (!device.resident.empty() &&
        std::any_of(roots.begin(), roots.end(),
                    [&](const Device& root) { return root.instanceId == device.instanceId; })) {
      return device.resident;
    }
  }
  return {};
}

std::string JournalVersion(const Machine& machine, const std::u16string& path) {
  if (!HasFile(machine, path)) return "none";
  const auto journal = ReadableJournalIn(machine, path);
  return journal ? ToUtf8(journal->target.version) : "unreadable";
}

}  // namespace

StagedMachine::StagedMachine(const std::string& name) {
  static std::map<std::string, std::unique_ptr<StagedMachine>> staged;
  std::unique_ptr<StagedMachine>& first = staged[name];
  if (first == nullptr) {
    first.reset(new StagedMachine());
    first->TakeAll(DecisionTable::Get().StepsOf(name));
  }
  std::filesystem::copy(first->Folder(), Folder(), std::filesystem::copy_options::recursive);
}

LabResult StagedMachine::Take(const Json& step) {
  const std::string& command = *step[0].As<std::string>();
  if (command == "set") {
    Set(*step[1].As<std::string>(), step[2]);
    return {};
  }
  if (command == "delete") {
    EXPECT_EQ(Delete(*step[1].As<std::string>()), 0U) << ToReadableText(step);
    return {};
  }
  std::vector<std::string> words;
  int expected = 0;
  for (std::size_t i = 1; i < step.size(); ++i) {
    if (const auto* word = step[i].As<std::string>()) {
      words.push_back(*word);
    } else {
      expected = static_cast<int>(*step[i].As<std::uint64_t>());
    }
  }
  LabResult result = Lab(command, words);
  EXPECT_EQ(result.status, expected)
      << ToReadableText(step) << result.Output() << result.ErrorOutput();
  return result;
}

void StagedMachine::TakeAll(const Json& steps) {
  for (const Json& step : steps)
    Take(step);
}

std::uint32_t StagedMachine::Delete(const std::string& path) {
  const lab::MachineFolder folder(Folder());
  lab::LabMachine lab = folder.Load();
  platform::simulated::OtherProcess administrator(lab.machine, platform::simulated::Token{});
  const std::uint32_t error = administrator.Delete(ToUtf16(path));
  folder.Save(lab);
  return error;
}

LabResult StagedMachine::Run(const std::vector<std::string>& words) {
  return Lab("run", words);
}

Machine StagedMachine::Load() const {
  return lab::MachineFolder(Folder()).Load().machine;
}

MachinePicture StagedMachine::Look() const {
  const Machine machine = Load();
  const std::u16string state = ToUtf16(DecisionTable::Get().Named("STATE"));
  MachinePicture picture;
  picture.endpoints = ActiveEndpointIds(machine).size();
  for (const Device* root : InstalledRoots(machine))
    picture.roots.push_back(*root);
  picture.runs = ResidentVersionOf(machine, picture.roots);
  picture.endpointIds = EndpointIdsOf(machine, picture.roots);
  if (HasFile(machine, state)) picture.journalText = TextOf(machine, state);
  picture.journal = JournalVersion(machine, state);
  for (const auto& package : machine.store.packages) {
    if (EqualsIgnoringCase(package.originalInf, kPackageInf))
      picture.packages.push_back(package.publishedInf);
  }
  picture.tick = machine.clock.tick;
  return picture;
}

LabResult StagedMachine::Lab(const std::string& command, const std::vector<std::string>& words) {
  std::vector<std::string> all = {command, Folder()};
  all.insert(all.end(), words.begin(), words.end());
  return lab::RunLab(all);
}

void StagedMachine::Set(const std::string& place, const Json& value) {
  const std::string file = Folder() + "/machine.json";
  Json document = lab::ParseJson(lab::ReadHostFile(file));
  Json* at = &document;
  for (std::size_t from = 0; from <= place.size();) {
    const std::size_t end = std::min(place.find('/', from), place.size());
    at = &Descend(*at, place.substr(from, end - from));
    from = end + 1;
  }
  *at = value;
  lab::WriteHostFile(file, ToReadableText(document));
}

}  // namespace vorn::tests

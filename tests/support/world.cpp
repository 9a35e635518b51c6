#include "tests/support/world.h"

#include "base/text.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::Device;
using platform::simulated::DriverImage;
using platform::simulated::FindEndpoint;
using platform::simulated::FindNode;
using platform::simulated::IsStarted;
using platform::simulated::ListFolder;
using platform::simulated::Machine;
using platform::simulated::PackageRecipe;
using platform::simulated::ReadWholeFile;
using platform::simulated::SetEndpointDisabled;
using platform::simulated::SoundImage;
using platform::simulated::StopDevice;
using platform::simulated::WritePackage;

namespace {

constexpr char16_t kHardwareId[] = u"Root\\VornAudio";

bool IsRoot(const Device& device) {
  return device.enumerator == u"ROOT" &&
         std::any_of(device.hardwareIds.begin(), device.hardwareIds.end(),
                     [](const std::u16string& id) { return EqualsIgnoringCase(id, kHardwareId); });
}

const Device* PresentRoot(const Machine& machine) {
  const auto& devices = machine.devices.devices;
  const auto found = std::find_if(devices.begin(), devices.end(), [](const Device& device) {
    return device.present && IsRoot(device);
  });
  return found == devices.end() ? nullptr : &*found;
}

bool IsOfRoot(const Machine& machine, const AudioEndpoint& endpoint) {
  const Device* const root = PresentRoot(machine);
  return root != nullptr && EqualsIgnoringCase(endpoint.root, root->instanceId);
}

bool HasStartedChild(const Machine& machine, const AudioEndpoint& endpoint) {
  const Device* const child = machine.devices.Find(u"SWD\\MMDEVAPI\\" + endpoint.id);
  return child != nullptr && child->present && IsStarted(*child);
}

std::vector<std::string> ForeignThings(const Machine& machine) {
  std::vector<std::string> things;
  for (const Device& device : machine.devices.devices) {
    if (device.foreign) things.push_back(ToUtf8(device.instanceId + u" " + device.publishedInf));
  }
  for (const auto& package : machine.store.packages) {
    if (package.foreign) things.push_back(ToUtf8(package.publishedInf));
  }
  return things;
}

}  // namespace

std::u16string AddPackage(Machine& machine, const std::u16string& folder,
                          const std::u16string& version, const std::u16string& date,
                          const std::function<void(DriverImage&)>& shape) {
  PackageRecipe recipe;
  recipe.version = version;
  recipe.date = date;
  recipe.image = SoundImage(version);
  if (shape) shape(*recipe.image);
  return WritePackage(machine.files, folder, recipe);
}

std::u16string AddNewPackage(Machine& machine, const std::function<void(DriverImage&)>& shape) {
  return AddPackage(machine, u"C:\\new\\driver", kNewVersion, kNewDate, shape);
}

void DisableEndpoint(Machine& machine, CableFlow cable) {
  const AudioEndpoint* const endpoint = FindEndpoint(machine, kRootId, cable);
  ASSERT_NE(endpoint, nullptr);
  SetEndpointDisabled(machine, std::u16string(endpoint->id), true);
}

void StopRoot(Machine& machine, std::uint32_t problem) {
  StopDevice(machine, kRootId);
  Device& root = RootOf(machine);
  root.status |= platform::DN_HAS_PROBLEM;
  root.problem = problem;
}

std::optional<ActivationState> JournalIn(const Machine& machine, std::u16string_view path) {
  if (!HasFile(machine, path)) return std::nullopt;
  const auto journal = ReadableJournalIn(machine, path);
  EXPECT_TRUE(journal.has_value()) << ToUtf8(path) << " holds no journal";
  return journal;
}

std::optional<ActivationState> ReadableJournalIn(const Machine& machine, std::u16string_view path) {
  const auto bytes = ReadWholeFile(machine.files, path);
  if (!bytes) return std::nullopt;
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes->size(); i += 2)
    text.push_back(static_cast<char16_t>((*bytes)[i] | (*bytes)[i + 1] << 8));
  return ParseActivationState(text);
}

bool HasFile(const Machine& machine, std::u16string_view path) {
  return FindNode(machine.files, path).has_value();
}

std::string ResidentVersion(const Machine& machine) {
  const Device* const root = PresentRoot(machine);
  return root == nullptr || !root->resident ? std::string() : VersionText(*root->resident);
}

std::string BoundVersion(const Machine& machine) {
  const Device* const root = PresentRoot(machine);
  return root == nullptr ? std::string()
                         : ToUtf8(StringProperty(*root, platform::simulated::kDriverVersionKey));
}

std::string PendingPackage(const Machine& machine) {
  const Device* const root = PresentRoot(machine);
  return root == nullptr ? std::string() : ToUtf8(root->pendingInf);
}

std::size_t VisibleEndpoints(const Machine& machine) {
  const auto& endpoints = machine.audio.endpoints;
  return static_cast<std::size_t>(
      std::count_if(endpoints.begin(), endpoints.end(), [&](const AudioEndpoint& endpoint) {
        return endpoint.state == platform::DEVICE_STATE_ACTIVE && IsOfRoot(machine, endpoint) &&
               HasStartedChild(machine, endpoint);
      }));
}

std::vector<std::string> EndpointIds(const Machine& machine) {
  constexpr std::uint32_t kInView = platform::DEVICE_STATE_ACTIVE | platform::DEVICE_STATE_DISABLED;
  std::vector<std::string> ids;
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    const bool inView = (endpoint.state & kInView) != 0;
    if (inView && IsOfRoot(machine, endpoint)) ids.push_back(ToUtf8(endpoint.id));
  }
  return ids;
}

std::size_t RootCount(const Machine& machine) {
  return static_cast<std::size_t>(
      std::count_if(machine.devices.devices.begin(), machine.devices.devices.end(), IsRoot));
}

std::vector<std::string> LeftSnapshots(const Machine& machine) {
  std::vector<std::string> left;
  for (const std::u16string& name : ListFolder(machine.files, machine.files.tempFolder)) {
    if (name.starts_with(u"VORN-input-")) left.push_back(ToUtf8(name));
  }
  return left;
}

void ExpectTidy(const Machine& before, const Machine& after) {
  EXPECT_EQ(ForeignThings(before), ForeignThings(after));
  EXPECT_EQ(LeftSnapshots(after), LeftSnapshots(before));
  EXPECT_EQ(CountOwnOpens(after.files), 0U);
}

}  // namespace vorn::tests

#include "platform/simulated/device_tree.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <iterator>

namespace vorn::platform::simulated {

namespace {

std::vector<DeviceProperty>::iterator FindProperty(Device& device, const DEVPROPKEY& key) {
  return std::find_if(device.properties.begin(), device.properties.end(),
                      [&](const DeviceProperty& property) { return property.key == key; });
}

}  // namespace

bool IsStarted(const Device& device) {
  return (device.status & DN_STARTED) != 0 && device.problem == 0;
}

void SetStringProperty(Device& device, const DEVPROPKEY& key, std::u16string_view text) {
  // Documented: DEVPROP_TYPE_STRING is a text in UTF-16 with its terminator.
  Bytes data;
  data.reserve((text.size() + 1) * sizeof(char16_t));
  const auto append = [&data](char16_t unit) {
    data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    data.push_back(static_cast<std::uint8_t>(unit >> 8));
  };
  std::for_each(text.begin(), text.end(), append);
  append(u'\0');
  const auto property = FindProperty(device, key);
  if (property == device.properties.end()) {
    device.properties.push_back({key, DEVPROP_TYPE_STRING, std::move(data)});
  } else {
    property->type = DEVPROP_TYPE_STRING;
    property->data = std::move(data);
  }
}

std::u16string StringProperty(const Device& device, const DEVPROPKEY& key) {
  const auto property =
      std::find_if(device.properties.begin(), device.properties.end(),
                   [&](const DeviceProperty& candidate) { return candidate.key == key; });
  std::u16string text;
  if (property == device.properties.end() || property->type != DEVPROP_TYPE_STRING) return text;
  for (std::size_t i = 0; i + 1 < property->data.size(); i += sizeof(char16_t)) {
    const auto unit = static_cast<char16_t>(property->data[i] | property->data[i + 1] << 8);
    if (unit == u'\0') break;
    text.push_back(unit);
  }
  return text;
}

Device& AddRoot(Machine& machine, std::u16string_view instanceId) {
  Device root;
  root.instanceId = instanceId;
  root.enumerator = u"ROOT";
  root.classGuid = kMediaClass;
  root.className = u"MEDIA";
  root.hardwareIds = {u"Root\\VornAudio"};
  root.status = DN_ROOT_ENUMERATED | DN_NT_ENUMERATOR | DN_HAS_PROBLEM;
  root.problem = CM_PROB_FAILED_INSTALL;
  return machine.devices.Insert(std::move(root));
}

}  // namespace vorn::platform::simulated

// Attacks by other devices, packages, drivers and registry records. A user cannot create these
// directly: they come from a device that he plugs in, from a driver, or from a key that somebody
// left with a weak access list.

#include "base/text.h"
#include "platform/registry.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/adversaries/attack.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <utility>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr char16_t kRender[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Render";

Attack Row(std::string name, Expectation expectation, std::string why, std::vector<Job> jobs,
           std::function<void(Machine&)> prepare, std::vector<Answer> answers) {
  Attack attack;
  attack.name = std::move(name);
  attack.expectation = expectation;
  attack.why = std::move(why);
  attack.jobs = std::move(jobs);
  attack.prepare = std::move(prepare);
  attack.answers = std::move(answers);
  return attack;
}

std::vector<Answer> AllOk(const std::vector<Job>& jobs) {
  std::vector<Answer> answers;
  for (const Job job : jobs)
    answers.push_back({job, 0, u""});
  return answers;
}

const std::vector<Job> kEvery(std::begin(kAllJobs), std::end(kAllJobs));
// The update is left out: Windows offers a package to every device with its hardware id, whoever
// asks.
const std::vector<Job> kOnInstalled = {Job::Remove,      Job::AuditCurrent, Job::Verify,
                                       Job::HotActivate, Job::AuditCatalog, Job::ResumeEndpoints};

Device Plugged(const char16_t* id) {
  Device device;
  device.instanceId = id;
  device.enumerator = u"USB";
  device.classGuid = kMediaClass;
  device.className = u"MEDIA";
  device.status = platform::simulated::DN_DRIVER_LOADED | 0x8U;  // started
  device.service = u"Borrower";
  device.foreign = true;
  return device;
}

/// A control interface of another device that answers like a sound driver.
void GiveInterfaces(Device& device) {
  device.interfaces = {{kControlInterfaceClass, u"\\\\?\\usb#borrower#control", true, 0},
                       {kAudioInterfaceClass, u"\\\\?\\usb#borrower#audio", true, 0}};
  device.resident = SoundImage(kSampleVersion);
}

std::u16string RecordPath(const char16_t* name) {
  return std::u16string(kRender) + u"\\" + name;
}

/// A record with the driver's marker, stored as that type.
void PutRecord(Machine& machine, const char16_t* name, std::uint32_t type, Bytes marker) {
  PutDword(machine.registry, RecordPath(name), u"DeviceState", 4);
  PutValue(machine.registry, RecordPath(name) + u"\\Properties", kCableMarkerName, type,
           std::move(marker));
}

void MarkPackage(PublishedPackage& package) {
  package.foreign = true;
}

/// Publishes a further package with those bytes.
void Publish(Machine& machine, const char16_t* name, const std::string& inf,
             const char16_t* originalCatalog) {
  PublishedPackage package;
  package.publishedInf = name;
  package.originalInf = u"vorn_audio.inf";
  package.originalCatalog = originalCatalog;
  MarkPackage(package);
  PutFile(machine.files, PublishedInfPath(machine, name), inf);
  machine.store.packages.push_back(std::move(package));
}

/// A plugged-in device with our hardware id and without a driver.
Device Borrower(const char16_t* id) {
  Device device = Plugged(id);
  device.hardwareIds = {kSampleHardwareId};
  device.service = u"";
  device.publishedInf = u"";
  return device;
}

/// An endpoint of another device that carries the marker property of our driver.
void AddMarkedEndpoint(Machine& machine) {
  for (AudioEndpoint endpoint : std::vector<AudioEndpoint>(machine.audio.endpoints)) {
    const Device* owner = machine.devices.Find(endpoint.root);
    if (owner == nullptr || !owner->foreign) continue;
    endpoint.id = u"{0.0.0.00000000}.{f0ab0000-0000-4000-8000-000000000001}";
    endpoint.cable = CableProperty{};
    machine.audio.endpoints.push_back(std::move(endpoint));
    return;
  }
}

std::vector<Attack> MoreBorrowedNames() {
  Attack bound = Row(
      "plugged device that borrows our hardware id, against an install", Expectation::KnownLimit,
      "Windows gives a package to every device with its hardware id, whoever asks",
      {Job::FreshInstall, Job::Update},
      [](Machine& machine) { machine.devices.Insert(Borrower(u"USB\\VID_F0AB&PID_0004\\1")); }, {});
  bound.limits = {"something of somebody else's changed"};
  return {
      bound,
      Row(
          "unplugged device that borrows our hardware id", Expectation::Harmless,
          "only devices of the ROOT enumerator are roots", kOnInstalled,
          [](Machine& machine) {
            Device device = Borrower(u"USB\\VID_F0AB&PID_0005\\1");
            device.present = false;
            device.status = 0;
            machine.devices.Insert(std::move(device));
          },
          AllOk(kOnInstalled)),
      Row(
          "software device that borrows our hardware id", Expectation::Harmless,
          "only devices of the ROOT enumerator are roots", kOnInstalled,
          [](Machine& machine) {
            Device device = Borrower(u"SWD\\BORROWER\\1");
            device.enumerator = u"SWD";
            machine.devices.Insert(std::move(device));
          },
          AllOk(kOnInstalled)),
      Row(
          "root device whose hardware id only begins like ours", Expectation::Harmless,
          "a hardware id is compared whole", kEvery,
          [](Machine& machine) {
            Device device = Plugged(u"ROOT\\MEDIA\\0042");
            device.enumerator = u"ROOT";
            device.hardwareIds = {u"Root\\VornAudio2", u"Root\\Vorn"};
            machine.devices.Insert(std::move(device));
          },
          AllOk(kEvery)),
      Row("endpoint of another device with our cable property", Expectation::Harmless,
          "an endpoint is ours when its topology leads to the live root", kEvery, AddMarkedEndpoint,
          AllOk(kEvery)),
  };
}

std::vector<Attack> BorrowedNames() {
  std::vector<Attack> attacks;
  attacks.push_back(Row(
      "plugged device that borrows our hardware id", Expectation::Harmless,
      "only devices of the ROOT enumerator are roots", kOnInstalled,
      [](Machine& machine) {
        Device device = Plugged(u"USB\\VID_F0AB&PID_0001\\1");
        device.hardwareIds = {u"USB\\VID_F0AB&PID_0001", kSampleHardwareId};
        device.service = u"";
        device.publishedInf = u"";
        machine.devices.Insert(std::move(device));
      },
      AllOk({Job::AuditCurrent, Job::Verify, Job::HotActivate})));
  attacks.push_back(Row(
      "our control interface on another device", Expectation::Harmless,
      "an interface counts when its device has our hardware id and is the live root", kEvery,
      [](Machine& machine) {
        Device device = Plugged(u"USB\\VID_F0AB&PID_0002\\1");
        device.hardwareIds = {u"USB\\VID_F0AB&PID_0002"};
        GiveInterfaces(device);
        machine.devices.Insert(std::move(device));
      },
      AllOk(kEvery)));
  attacks.push_back(Row(
      "our control interface and hardware id on another device", Expectation::Harmless,
      "an interface counts when its device is the live root itself", kOnInstalled,
      [](Machine& machine) {
        Device device = Plugged(u"USB\\VID_F0AB&PID_0003\\1");
        device.hardwareIds = {kSampleHardwareId};
        GiveInterfaces(device);
        machine.devices.Insert(std::move(device));
      },
      AllOk({Job::AuditCurrent, Job::Verify, Job::HotActivate, Job::ResumeEndpoints})));
  const std::vector<Attack> more = MoreBorrowedNames();
  attacks.insert(attacks.end(), more.begin(), more.end());
  return attacks;
}

std::vector<Attack> Packages() {
  const std::vector<Job> jobs = {Job::Remove};
  return {
      Row("foreign package with our names and other bytes", Expectation::Harmless,
          "a package is ours by its bytes", jobs,
          [](Machine& machine) {
            Publish(machine, u"oem40.inf",
                    TextOf(machine, u"C:\\attacker\\twin\\driver\\vorn_audio.inf"),
                    u"vorn_audio.cat");
          },
          {{Job::Remove, 0, u"1 exact driver package(s)"}}),
      Row("foreign package with our bytes and another catalog", Expectation::Refused,
          "a doubtful package keeps all packages", jobs,
          [](Machine& machine) {
            Publish(machine, u"oem40.inf", TextOf(machine, kSampleInf), u"other.cat");
          },
          {{Job::Remove, 13, u"changed or failed structured identity validation"}}),
      Row("our package published once more by somebody else", Expectation::Harmless,
          "a package is ours by its bytes", jobs,
          [](Machine& machine) {
            Publish(machine, u"oem40.inf", TextOf(machine, kSampleInf), u"vorn_audio.cat");
            machine.store.Find(u"oem40.inf")->foreign = false;
          },
          {{Job::Remove, 0, u"2 exact driver package(s)"}}),
      Row("file with our bytes in Windows' INF folder under another kind of name",
          Expectation::Harmless, "a published INF is named oem<number>.inf", jobs,
          [](Machine& machine) {
            PutFile(machine.files, u"C:\\Windows\\INF\\oemvorn.inf", TextOf(machine, kSampleInf));
          },
          {{Job::Remove, 0, u"1 exact driver package(s)"}}),
  };
}

void WithImage(Machine& machine, const std::function<void(DriverImage&)>& change) {
  for (Device& device : machine.devices.devices) {
    if (device.resident && !device.foreign) change(*device.resident);
  }
}

std::vector<Attack> Drivers() {
  const std::vector<Job> jobs = {Job::Verify, Job::AuditCurrent};
  const auto row = [&](std::string name, std::function<void(DriverImage&)> change) {
    return Row("driver that " + std::move(name), Expectation::Refused,
               "a reply counts when its length and every field of it are right", jobs,
               [change](Machine& machine) { WithImage(machine, change); },
               {{Job::Verify, 11, u"RESULT=ENDPOINTS_MISSING"},
                {Job::AuditCurrent, 11, u"RESULT=ENDPOINTS_MISSING"}});
  };
  return {
      row("reports a longer pool than it replies",
          [](DriverImage& image) { image.poolCount = 0xFFFFFFFF; }),
      row("replies nothing for a pool", [](DriverImage& image) { image.poolBytes = 0; }),
      row("replies half a status", [](DriverImage& image) { image.statusBytes = 63; }),
      row("replies a cable that is none",
          [](DriverImage& image) { image.pool.at(0).cable = 0x80000000; }),
      row("replies a name without an end",
          [](DriverImage& image) { image.pool.at(0).name = std::u16string(64, u'x'); }),
      row("replies the same endpoint twice",
          [](DriverImage& image) { image.pool.at(1) = image.pool.at(0); }),
      row("reports another version", [](DriverImage& image) { image.loadedVersion ^= 1; }),
  };
}

/// A link to a foreign key inside a record of ours.
void LinkBelowOwnRecord(Machine& machine) {
  const auto flow = FindKey(machine.registry, kRender);
  for (const KeyId record : machine.registry.keys.at(*flow).children) {
    const std::u16string path = RecordPath(machine.registry.keys.at(record).name.c_str());
    if (FindValue(machine.registry, path + u"\\Properties", kCableMarkerName) == nullptr) continue;
    const KeyId link = MakeKey(machine.registry, path + u"\\linked");
    machine.registry.keys.at(link).linkTarget = kVictimKey;
    return;
  }
}

std::vector<Attack> Records() {
  const std::vector<Job> jobs = {Job::Remove};
  Attack below = Row("registry link below an endpoint record, where keys were loosened",
                     Expectation::KnownLimit,
                     "the deletion follows it; only the system and administrators may create keys "
                     "there",
                     jobs, LinkBelowOwnRecord, {});
  below.limits = {"somebody else's registry key was deleted",
                  "something of somebody else's changed"};  // what is left of the record, warned of
  const std::vector<Answer> removed = {{Job::Remove, 0, u"20 VORN endpoint record(s)"}};
  const auto planted = [&](std::string name, std::uint32_t type, Bytes marker) {
    return Row(
        "planted record whose marker is " + std::move(name), Expectation::Harmless,
        "a marker is a REG_DWORD of 4 bytes below 10", jobs,
        [type, marker](Machine& machine) {
          PutRecord(machine, u"{planted}", type, marker);
          SecureKey(machine.registry, RecordPath(u"{planted}\\kept"), SecurityRecord{});
        },
        removed);
  };
  return {
      planted("a REG_QWORD", 11, Bytes(8, 0)),
      planted("a REG_BINARY of 4 bytes", 3, Bytes(4, 0)),
      planted("a REG_SZ", 1, Bytes{u'1', 0, 0, 0}),
      planted("a REG_DWORD of 10", 4, Bytes{10, 0, 0, 0}),
      planted("a REG_DWORD of 2 bytes", 4, Bytes{1, 0}),
      Row(
          "registry link in place of an endpoint record, where keys were loosened",
          Expectation::Harmless, "a link to a key without a marker is not ours", jobs,
          [](Machine& machine) {
            const KeyId link = MakeKey(machine.registry, RecordPath(u"{linked}"));
            machine.registry.keys.at(link).linkTarget = kVictimKey;
          },
          removed),
      below,
  };
}

}  // namespace

std::vector<Attack> DeviceAttacks() {
  std::vector<Attack> attacks;
  for (const auto& part : {BorrowedNames(), Packages(), Drivers(), Records()}) {
    attacks.insert(attacks.end(), part.begin(), part.end());
  }
  Attack link;
  link.name = "registry link planted in the endpoint records";
  link.expectation = Expectation::Impossible;
  link.why = "Windows gives users no right to create keys there";
  link.jobs = {Job::Remove};
  link.strike = [](Attacker& user) {
    return user.TryLinkRegistryKey(kRender, u"{linked}", kVictimKey);
  };
  attacks.push_back(link);
  return attacks;
}

}  // namespace vorn::tests

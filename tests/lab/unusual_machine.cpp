#include "tests/lab/unusual_machine.h"

#include "platform/files.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/file_values.h"
#include "tests/support/sample.h"

namespace vorn::lab {

using tests::kSampleHardwareId;
using tests::kSampleVersion;

using namespace platform::simulated;

namespace {

Bytes SomeBytes() {
  return {0x00, 0xFF, 0x10, 0x0A};
}

DriverImage UnusualImage() {
  DriverImage image = SoundImage(kSampleVersion);
  image.loadedVersion = 0x011A080A;
  image.revision = 77;
  image.lifecycleAbi = 2;
  image.sharedMemoryAbi = 4;
  image.capabilities = 6;
  image.statusBytes = 100;
  image.pool = {{3, 7, u"Cable"}, {11, 0, std::u16string(64, u'x')}};
  image.poolCount = 21;
  image.poolBytes = 4;
  image.leaseBytes = 8;
  image.failures = {{0x226020, 31}, {0x226010, 5}};
  image.delays = {{0x226000, 700}};
  image.replies = {{0x226010, SomeBytes()}};
  image.refusesToHide = {{{4, 0}, 31}};
  image.refusesToShow = {{{9, 1}, 5}};
  image.startProblem = 10;
  image.startDelay = 12'345;
  image.refusesUnload = true;
  image.needsRestart = true;
  image.registersControlInterface = false;
  image.registersAudioInterface = false;
  return image;
}

Device UnusualDevice() {
  Device device;
  device.instanceId = u"ROOT\\MEDIA\\0042";
  device.enumerator = u"ROOT";
  device.parent = u"HTREE\\ROOT\\0";
  device.present = false;
  device.status = 0x80000408;
  device.problem = 22;
  device.classGuid = kMediaClass;
  device.classGuidText = u"{not a guid}";
  device.className = u"MEDIA";
  device.hardwareIds = {u"Root\\Other", kSampleHardwareId, {char16_t{0xD800}}};
  device.hardwareIdData = SomeBytes();
  SetStringProperty(device, kDriverVersionKey, u"1.2.3.4");
  device.properties.push_back({kServiceKey, 7, SomeBytes()});
  device.properties.push_back({kDriverInfPathKey, 0x12, {}});
  device.interfaces.push_back({kControlInterfaceClass, u"\\\\?\\root#media#0042", false, 5});
  device.installFlags = 0x180;
  device.service = u"VornAudio";
  device.publishedInf = u"oem3.inf";
  device.pendingInf = u"oem4.inf";
  device.resident = UnusualImage();
  device.leaseHeld = true;
  device.generation = 9;
  device.hidden = {{1, 0}, {2, 1}};
  device.statusError = 0x33;
  device.removalPending = true;
  device.queryRemoved = true;
  device.foreign = true;
  device.temper.vetoes = 3;
  device.temper.vetoUntil = 99;
  device.temper.vetoType = 1;
  device.temper.vetoName = u"somebody";
  device.temper.queryRemoveResult = 0x33;
  device.temper.removeError = 5;
  device.temper.removeNeedsRestart = true;
  device.temper.removeKeepsNodeUntilRestart = true;
  device.temper.removeDelay = 20'000;
  device.temper.restartError = 31;
  device.temper.restartNeedsReboot = true;
  device.temper.restartProblem = 10;
  return device;
}

AudioCatalog UnusualCatalog() {
  AudioCatalog audio;
  AudioEndpoint endpoint;
  endpoint.id = u"{0.0.1.00000000}.{x}";
  endpoint.capture = true;
  endpoint.state = 8;
  endpoint.cable = CableProperty{3, 0xFFFFFFFF};
  endpoint.connectedTo = u"{2}.\\\\?\\root#media#0042";
  endpoint.builtFor = CableFlow{8, 1};
  endpoint.root = u"ROOT\\MEDIA\\0042";
  endpoint.propertyStoreError = platform::E_FAIL;
  endpoint.propertyError = platform::E_ACCESSDENIED;
  endpoint.topologyError = platform::E_NOINTERFACE;
  endpoint.connectorError = platform::E_INVALIDARG;
  endpoint.connectedError = platform::E_NOTFOUND;
  endpoint.idError = platform::E_OUTOFMEMORY;
  endpoint.nullId = true;
  endpoint.stateError = platform::AUDCLNT_E_DEVICE_INVALIDATED;
  AudioEndpoint foreign;
  foreign.id = u"{0.0.0.00000000}.{y}";
  audio.endpoints = {endpoint, foreign};
  audio.remembered[u"ROOT\\MEDIA\\0042"] = {{{3, 1}, {u"{x}", true}}, {{4, 0}, {u"{z}", false}}};
  audio.buildDelay = 1;
  audio.late = {{1, 1}};
  audio.lateDelay = 2;
  audio.remintNext = 3;
  audio.neverPublished = {{2, 0}};
  audio.doubled = {{3, 0}};
  audio.properties = {{{6, 1}, {3, 0xFFFFFFFF}}};
  audio.activated = {{4, 1}};
  audio.childDelay = 4;
  audio.childLags = true;
  audio.recordDelay = 5;
  audio.recordsStayActive = true;
  audio.nextGuid = 6;
  audio.redirected = true;
  audio.coInitializeResult = platform::RPC_E_CHANGED_MODE;
  audio.createError = platform::REGDB_E_CLASSNOTREG;
  audio.enumError = platform::E_FAIL;
  audio.countError = platform::E_FAIL;
  audio.itemError = 1;
  return audio;
}

void FillRegistry(Registry& registry) {
  PutDword(registry, u"SOFTWARE\\Vorn", u"DeviceState", 4);
  PutString(registry, u"SOFTWARE\\Vorn", u"", u"unnamed");
  PutValue(registry, u"SOFTWARE\\Vorn", u"raw", 11, SomeBytes());
  PutValue(registry, u"SOFTWARE\\Vorn", u"short number", 4, {1, 2});
  PutValue(registry, u"SOFTWARE\\Vorn", u"no terminator", 1, {0x41, 0x00});
  PutValue(registry, u"SOFTWARE\\Vorn", u"two texts", 1, {0x41, 0, 0, 0, 0x42, 0, 0, 0});
  MakeKey(registry, u"SOFTWARE\\Vorn\\empty");
  MakeKey(registry, u"SOFTWARE\\Vorn\\aaa\\deep");
  SecureKey(registry, u"SOFTWARE\\Vorn\\secured", ParseSddl(u"O:SYD:P(A;;GR;;;BU)").value());
  registry.keys.at(MakeKey(registry, u"SOFTWARE\\Vorn\\link")).linkTarget = u"SOFTWARE\\Elsewhere";
  registry.keys.at(MakeKey(registry, u"SOFTWARE\\Vorn\\aaa")).listError = 5;
  registry.keys.at(MakeKey(registry, u"SOFTWARE\\Vorn\\bbb")).openError = 5;
  MakeKey(registry, u"SOFTWARE\\Vorn\\bbb\\deep");
  auto& failing = registry.keys.at(MakeKey(registry, u"SOFTWARE\\Vorn\\failing"));
  failing.openError = 5;
  failing.listError = 31;
  failing.deleteStatus = static_cast<std::int32_t>(0xC0000022);
}

SecurityRecord DescriptorThatSddlCannotSay() {
  SecurityRecord record;
  record.owner = u"no sid";
  record.group = u"S-1-5-18";
  record.daclAutoInherited = true;
  record.entries = {{17, 0x13, 0x1F01FF, u"S-1-5-32-544"}};
  record.image = SomeBytes();
  return record;
}

void FillFiles(FileSystem& files) {
  AddVolume(files, u'C', u"\\Device\\HarddiskVolume1", u"00000000-0000-0000-0000-000000000001");
  AddVolume(files, u'd', u"\\Device\\CdRom0", u"");
  AddVolume(files, 0, u"\\Device\\HarddiskVolume9", u"00000000-0000-0000-0000-000000000009");
  files.volumes[1].serial = 0xDEADBEEF;
  files.volumes[1].readOnly = true;
  files.volumes[1].scattersListings = true;
  files.volumes[1].omitsDots = true;
  files.volumes[1].freeBytes = 3;
  files.volumes[1].reportedRoot = u"\\\\?\\Volume{short}\\";
  files.dosDevices[u"Z:"] = u"\\Device\\Mup\\server\\share";
  files.windowsFolder = u"D:\\Win";
  files.scanMs = 7;
  files.tempFolder = u"D:\\Temp";
  files.modulePath = u"D:\\prog.exe";
  files.currentFolder = u"D:\\here";

  PutFile(files, u"C:\\a\\plain.txt", "plain");
  PutFile(files, u"C:\\a\\P\u00e4ket\\\u97f3\u58f0.inf", std::string_view("\0\xFF\n", 3));
  PutEmptyFile(files, u"C:\\a\\large.bin", std::uint64_t{600} << 20);
  PutFile(files, u"C:\\a\\" + std::u16string(255, u'\u97f3'), "a name of 765 bytes");
  PutFile(files, std::u16string(u"C:\\a\\lone") + char16_t{0xD800}, "x");
  PutFile(files, u"C:\\a\\%0041", "x");
  PutFile(files, u"\\\\?\\Volume{00000000-0000-0000-0000-000000000009}\\deep\\in", "no letter");
  MakeFolder(files, u"C:\\empty");
  AddHardLink(files, u"C:\\a\\plain.txt", u"C:\\empty\\second name");
  PutLink(files, u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  PutLink(files, u"C:\\symlink", ReparseKind::SymbolicLink, u"C:\\a\\plain.txt", false);
  PutLink(files, u"C:\\cloud", ReparseKind::Other, u"", false);
  SetShortName(files, u"C:\\a\\plain.txt", u"PLAIN~1");
  MarkDeletePending(files, u"C:\\cloud");

  Node& odd = NodeAt(files, u"C:\\a\\plain.txt");
  odd.attributes = platform::FILE_ATTRIBUTE_READONLY | platform::FILE_ATTRIBUTE_HIDDEN;
  odd.security = DescriptorThatSddlCannotSay();
  odd.times = {1, 2, 3, 4};
  odd.reportedLinks = 7;
  odd.reportedType = 3;
  odd.reportedIndex = 0xFFFFFFFFFFFFFFFF;
  Node& folder = NodeAt(files, u"C:\\empty");
  folder.reportedPages = {SomeBytes(), {}};
  folder.security = ParseSddl(u"O:SYD:P(A;OICI;FA;;;SY)").value();
  SecurityRecord flagged = ParseSddl(u"O:SYD:P(A;;FA;;;SY)").value();
  flagged.entries[0].flags = 0x20;  // SDDL has no letters for it
  NodeAt(files, u"C:\\a\\%0041").security = flagged;
  HoldOpen(files, u"C:\\a\\large.bin", platform::FILE_GENERIC_WRITE, 0, 9'000'000);
  HoldOpen(files, u"C:\\", platform::FILE_GENERIC_READ, platform::FILE_SHARE_READ);
}

}  // namespace

LabMachine UnusualMachine() {
  LabMachine lab;
  Machine& machine = lab.machine;
  FillFiles(machine.files);
  FillRegistry(machine.registry);
  Device top;
  top.instanceId = u"HTREE\\ROOT\\0";
  machine.devices.devices = {UnusualDevice(), Device{}, top};
  machine.store.packages = {{u"oem3.inf", u"other.inf", u"other.cat", SomeBytes(), 5, true, true},
                            {u"oem4.inf", u"", u"", {'v', '=', '1', '\n'}, 0, false, false}};
  machine.store.nextNumber = 17;
  machine.store.updateError = 0xE000024B;
  machine.store.updateNeedsRestart = true;
  machine.audio = UnusualCatalog();
  machine.services = {{u"Audiosrv", {false, 5, 1058}}, {u"Other", {true, 0, 0}}};
  machine.serviceManagerError = 1722;
  machine.clock.tick = 1;
  machine.clock.utcAtTickZero = 2;
  for (int kind = 0; kind <= static_cast<int>(EventKind::AnnounceReplug); ++kind) {
    machine.clock.events.push_back({static_cast<std::uint64_t>(10 + kind),
                                    static_cast<EventKind>(kind), u"ROOT\\MEDIA\\0042"});
  }
  machine.randomState = 0xFEDCBA9876543210;
  machine.classNames = {{u"{4D36E96B-E325-11CE-BFC1-08002BE10318}", u"KEYBOARD"}};
  lab.process.token.sids = {u"S-1-1-0"};
  lab.process.token.owner = u"S-1-5-18";
  lab.process.token.holdsBackup = false;
  lab.process.token.holdsRestore = false;
  lab.process.token.backupEnabled = true;
  lab.process.token.restoreEnabled = true;
  lab.process.standardOutputClosed = true;
  lab.process.ntdllMissing = true;
  lab.process.missingExports = {"NtCreateFile"};
  lab.process.faults = {"Sleep#2-:time=7"};
  machine.files.scanMs = 11;
  for (auto& [key, open] : machine.files.opens)
    open.description = u"somebody";
  return lab;
}

}  // namespace vorn::lab

// How a command's cost grows with the machine: entries of the Windows INF folder, foreign packages,
// root devices, the product's own devices, files of the package, endpoints and endpoint records.
// Each row doubles the number of its predecessor and shows how many times it costs: `time_x`,
// `calls_x`, `bytes_x` (the peak of what the run allocates, the simulated machine's growth
// included) and `own_x` (the peak of what the program allocates on its own, outside platform
// calls). A cost that grows with the number has factors of at most 2.1, but where the machine
// outgrows a cache. Times are processor times.
//
//   build/host/vorn_growth [--benchmark_filter=Endpoints] [--benchmark_format=json]

#include "base/text.h"
#include "cli/dispatch.h"
#include "platform/config_manager.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "platform/simulated/registry_values.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

// What the run allocates is counted at the allocator, what the program allocates on its own once
// more by itself.

namespace {

struct Account {
  std::size_t bytes = 0;
  std::size_t most = 0;

  void Add(std::size_t size) {
    bytes += size;
    most = std::max(most, bytes);
  }
  void StartAgain() { most = bytes; }
};

Account everything;
Account program;

/// In front of each block, so that its size and its account are known when it is freed.
struct alignas(std::max_align_t) Header {
  std::size_t size;
  bool isProgram;
};

}  // namespace

void* operator new(std::size_t size) {
  auto* const header = static_cast<Header*>(std::malloc(size + sizeof(Header)));
  if (header == nullptr) throw std::bad_alloc();
  *header = {size, !vorn::platform::simulated::CallUnderWay::IsAny()};
  everything.Add(size);
  if (header->isProgram) program.Add(size);
  return header + 1;
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  Header* const header = static_cast<Header*>(memory) - 1;
  everything.bytes -= header->size;
  if (header->isProgram) program.bytes -= header->size;
  std::free(header);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace vorn {
namespace {

using namespace platform::simulated;

constexpr char16_t kInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
constexpr char16_t kForeignDevice[] =
    u"HDAUDIO\\FUNC_01&VEN_F0AB&DEV_0280&SUBSYS_F0AB0001&"
    u"REV_1000\\4&1A2B3C4D&0&0001";

std::u16string Number(std::size_t number) {
  return ToUtf16(std::to_string(number));
}

/// One cost of a row: how many times that of the row before.
struct Cost {
  double seconds = 0;
  double calls = 0;
  double bytes = 0;
  double ownBytes = 0;
};

/// The processor time of this program in seconds.
double ProcessorSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// A copy that shares nothing that a command writes: sharing would make the first write of each
/// kind pay for the copy.
Machine OwnCopy(const Machine& start) {
  Machine machine = start;
  for (const std::u16string folder : {u"C:\\Windows\\INF\\", u"C:\\pkg\\"}) {
    PutFile(machine.files, folder + u"own", "");
    RemovePath(machine.files, folder + u"own");
  }
  PutDword(machine.registry, u"SOFTWARE\\own", u"", 0);
  RemoveKeyTree(machine.registry, u"SOFTWARE\\own");
  benchmark::DoNotOptimize(machine.devices.devices.begin());
  benchmark::DoNotOptimize(machine.audio.endpoints.begin());
  return machine;
}

/// Runs a command on copies of a machine and reports what it costs, and its factors.
void Measure(benchmark::State& state, const char* family, const Machine& start,
             const std::vector<std::u16string>& arguments) {
  std::vector<std::u16string> words = {u"vorn_devnode.exe"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  Cost cost;
  cost.seconds = 1e9;
  for (auto _ : state) {
    Machine machine = OwnCopy(start);
    const std::size_t before = everything.bytes;
    const std::size_t ownBefore = program.bytes;
    everything.StartAgain();
    program.StartAgain();
    const double begin = ProcessorSeconds();
    {
      Process process(machine);
      benchmark::DoNotOptimize(cli::Run(words));
      cost.calls = static_cast<double>(process.callCount);
    }
    const double taken = ProcessorSeconds() - begin;
    cost.bytes = static_cast<double>(everything.most - before);
    cost.ownBytes = static_cast<double>(program.most - ownBefore);
    cost.seconds = std::min(cost.seconds, taken);
    state.SetIterationTime(taken);
  }
  // A row is made several times until its time is known.
  static std::map<std::pair<std::string, std::int64_t>, Cost> rows;
  const auto row = rows.insert_or_assign({family, state.range(0)}, cost).first;
  if (row != rows.begin() && std::prev(row)->first.first == family) {
    const Cost& previous = std::prev(row)->second;
    state.counters["time_x"] = cost.seconds / previous.seconds;
    state.counters["calls_x"] = cost.calls / previous.calls;
    state.counters["bytes_x"] = cost.bytes / previous.bytes;
    state.counters["own_x"] = cost.ownBytes / previous.ownBytes;
  }
  state.counters["calls"] = cost.calls;
  state.counters["bytes"] = cost.bytes;
  state.counters["own"] = cost.ownBytes;
}

/// Rows that double from `first` to `last`.
void Doubling(benchmark::internal::Benchmark* rows, std::int64_t first, std::int64_t last) {
  for (std::int64_t number = first; number < last; number *= 2)
    rows->Arg(number);
  rows->Arg(last)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(0.2);
}

std::size_t NumberOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

/// remove, which looks at every name in the Windows INF folder.
void InfFolderEntries(benchmark::State& state) {
  Machine machine = InstalledMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i)
    PutFile(machine.files, u"C:\\Windows\\INF\\net" + Number(i) + u".inf", "[Version]\r\n");
  Measure(state, "entries", machine, {u"remove", kInf});
}
BENCHMARK(InfFolderEntries)->Apply([](auto* rows) { Doubling(rows, 1'000, 190'000); });

/// remove among published packages of others, each of which it opens.
void ForeignPackages(benchmark::State& state) {
  Machine machine = InstalledMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i) {
    PublishedPackage package;
    package.publishedInf = u"oem" + Number(100 + i) + u".inf";
    package.originalInf = u"other.inf";
    package.foreign = true;
    PutFile(machine.files, PublishedInfPath(machine, package.publishedInf),
            "[Version]\r\nSignature = \"$Windows NT$\"\r\n; " + std::to_string(i) + "\r\n");
    machine.store.packages.push_back(std::move(package));
  }
  Measure(state, "packages", machine, {u"remove", kInf});
}
BENCHMARK(ForeignPackages)->Apply([](auto* rows) { Doubling(rows, 125, 4'000); });

Device RootDevice(const std::u16string& name, std::size_t number, const std::u16string& hardware) {
  Device device;
  device.instanceId = u"ROOT\\" + name + u"\\" + Number(number);
  device.enumerator = u"ROOT";
  device.classGuid = kMediaClass;
  device.className = u"MEDIA";
  device.hardwareIds = {hardware};
  device.status = DN_ROOT_ENUMERATED | DN_NT_ENUMERATOR | platform::DN_STARTED;
  return device;
}

/// An update beside root-enumerated devices of others.
void ForeignDevices(benchmark::State& state) {
  Machine machine = OutdatedMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i) {
    Device device = RootDevice(u"FABRIKAM", i, u"ROOT\\FabrikamBus");
    device.foreign = true;
    machine.devices.devices.push_back(std::move(device));
  }
  Measure(state, "devices", machine, {u"install", kInf});
}
BENCHMARK(ForeignDevices)->Apply([](auto* rows) { Doubling(rows, 10, 10'000); });

/// The removal of as many of the product's own devices.
void OwnDevices(benchmark::State& state) {
  Machine machine = InstalledMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i)
    machine.devices.devices.push_back(RootDevice(u"MEDIA", 1000 + i, u"Root\\VornAudio"));
  Measure(state, "own devices", machine, {u"remove", kInf});
}
BENCHMARK(OwnDevices)->Apply([](auto* rows) { Doubling(rows, 10, 4'000); });

/// A fresh install of a package with as many more files.
void PackageFiles(benchmark::State& state) {
  Machine machine = CleanMachine();
  const Bytes content(4'096, 'x');
  for (std::size_t i = 0; i < NumberOf(state); ++i)
    PutFile(machine.files, u"C:\\pkg\\driver\\files\\file" + Number(i) + u".bin", content);
  Measure(state, "files", machine, {u"install", kInf});
}
BENCHMARK(PackageFiles)->Apply([](auto* rows) { Doubling(rows, 1, 4'090); });

/// The comparison of the catalog with Plug and Play, beside the endpoints of another device.
void Endpoints(benchmark::State& state) {
  Machine machine = InstalledMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i)
    AddForeignEndpoint(machine, i % 2 != 0, kForeignDevice);
  Measure(state, "endpoints", machine, {u"audit-catalog"});
}
BENCHMARK(Endpoints)->Apply([](auto* rows) { Doubling(rows, 20, 2'000); });

/// An update on a machine whose catalog remembers endpoints that are not present.
void AbsentEndpoints(benchmark::State& state) {
  Machine machine = OutdatedMachine();
  AudioEndpoint absent = std::as_const(machine.audio.endpoints).back();
  absent.state = platform::DEVICE_STATE_NOTPRESENT;
  for (std::size_t i = 0; i < NumberOf(state); ++i) {
    absent.id = u"{0.0.0.00000000}.{00000000-0000-4000-8000-" + Number(100'000'000'000 + i) + u"}";
    machine.audio.endpoints.push_back(absent);
  }
  Measure(state, "absent endpoints", machine, {u"install", kInf});
}
BENCHMARK(AbsentEndpoints)->Apply([](auto* rows) { Doubling(rows, 20, 2'000); });

/// The removal of as many more of the product's endpoint records.
void EndpointRecords(benchmark::State& state) {
  Machine machine = InstalledMachine();
  for (std::size_t i = 0; i < NumberOf(state); ++i) {
    PutDword(machine.registry,
             kEndpointRecordsPath + std::u16string(u"\\Render\\{") + Number(i) + u"}\\Properties",
             kCableMarkerName, static_cast<std::uint32_t>(i % 10));
  }
  Measure(state, "records", machine, {u"remove", kInf});
}
BENCHMARK(EndpointRecords)->Apply([](auto* rows) { Doubling(rows, 20, 4'000); });

}  // namespace
}  // namespace vorn

// How long whole commands take on the simulated machine, and the pieces that many runs repeat. The
// fault harnesses make tens of thousands of runs; this is what they cost.

#include "cli/dispatch.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::CleanMachine;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::PackageRecipe;
using platform::simulated::Process;
using platform::simulated::WritePackage;

void RunCommandOn(benchmark::State& state, const Machine& start,
                  const std::vector<std::u16string>& arguments) {
  for (auto _ : state) {
    Machine machine = start;
    Process process(machine);
    benchmark::DoNotOptimize(cli::Run(arguments));
  }
}

void CopyMachine(benchmark::State& state) {
  const Machine start = InstalledMachine();
  for (auto _ : state) {
    Machine machine = start;
    benchmark::DoNotOptimize(machine);
  }
}
BENCHMARK(CopyMachine);

void FreshInstall(benchmark::State& state) {
  RunCommandOn(state, CleanMachine(),
               {u"vorn_devnode.exe", u"install", u"C:\\pkg\\driver\\vorn_audio.inf"});
}
BENCHMARK(FreshInstall)->Unit(benchmark::kMillisecond);

void Update(benchmark::State& state) {
  Machine machine = InstalledMachine();
  PackageRecipe newer;
  newer.version = u"26.9.1.1";
  newer.date = u"09/01/2026";
  WritePackage(machine.files, u"C:\\pkg2\\driver", newer);
  RunCommandOn(state, machine,
               {u"vorn_devnode.exe", u"install", u"C:\\pkg2\\driver\\vorn_audio.inf",
                u"C:\\pkg\\.vorn-driver-activation-state"});
}
BENCHMARK(Update)->Unit(benchmark::kMillisecond);

void AuditCatalog(benchmark::State& state) {
  RunCommandOn(state, InstalledMachine(), {u"vorn_devnode.exe", u"audit-catalog"});
}
BENCHMARK(AuditCatalog)->Unit(benchmark::kMillisecond);

void Remove(benchmark::State& state) {
  RunCommandOn(state, InstalledMachine(),
               {u"vorn_devnode.exe", u"remove", u"C:\\pkg\\driver\\vorn_audio.inf"});
}
BENCHMARK(Remove)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vorn

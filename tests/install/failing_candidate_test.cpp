// The install command when the new package is bound but cannot be proven.

#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::DriverImage;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using tests::Err;
using tests::ExpectRun;
using tests::Install;
using tests::JournalIn;
using tests::kPersisted;
using tests::kSampleJournal;
using tests::kUpdated;
using tests::RootOf;

struct FailingCandidate {
  const char* name;
  void (*shape)(Machine& machine);
  ExitStatus status;
  std::string line;
};

TEST(FailingCandidate, IsReportedByTheFailedObservationAndLosesItsJournal) {
  const std::string missing = "vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; ";
  const FailingCandidate cases[] = {
      {"an image that stays", [](Machine& m) { RootOf(m).resident->refusesUnload = true; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9 "
           "(0x001A0809) but the package being activated is 26.8.10.5. PnP metadata is not proof "
           "-- the devnode restart did not load the new image.; catalog=healthy; mapping=; "
           "present= (catalog=20, active=20, present-pnp=20)"},
      {"a wrong interface level",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.lifecycleAbi = 2; });
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is "
           "26.8.10.5 but the activated package is 26.8.10.5; resident driver ABI/capability "
           "handshake does not match the activated package; catalog=healthy; mapping=; present= "
           "(catalog=20, active=20, present-pnp=20)"},
      {"an older status reply",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.statusBytes = 100; });
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=resident driver returned a legacy GET_STATUS payload for a "
           "package that requires the SHM v3 lifecycle ABI and four-part loaded DriverVer "
           "identity; catalog=healthy; mapping=; present= (catalog=20, active=20, present-pnp=20)"},
      {"a driver that does not start",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.startProblem = 39; });
       },
       kExitNotStarted,
       "vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=39)"},
      {"a missing endpoint",
       [](Machine& m) {
         m.audio.neverPublished.insert({5, 1});
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=MMDevice catalog has the "
           "wrong VORN endpoint count; present=driver update changed the exact active endpoint "
           "set (catalog=19, active=19, present-pnp=19)"},
      {"a doubled endpoint",
       [](Machine& m) {
         m.audio.doubled.insert({5, 1});
       },
       kExitEndpointsMissing,
       missing + "package=; kernel=; resident=proven; catalog=MMDevice catalog has too many VORN "
                 "endpoints; mapping=MMDevice catalog has the wrong VORN endpoint count; "
                 "present=driver update "
                 "changed the exact active endpoint set (catalog=21, active=21, present-pnp=21)"},
      {"endpoints with new ids, but not all", [](Machine& m) { m.audio.remintNext = 5; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=driver update remapped "
           "only some MMDevice cable identities; present=driver update changed the exact active "
           "endpoint set (catalog=20, active=20, present-pnp=20)"},
      {"all endpoints with new ids", [](Machine& m) { m.audio.remintNext = 20; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=; present=driver update "
           "changed the exact active endpoint set (catalog=20, active=20, present-pnp=20)"},
      {"an endpoint that the user had disabled",
       [](Machine& m) {
         tests::DisableEndpoint(m, {0, 0});
         m.audio.activated.insert({0, 0});
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=driver update activated "
           "an endpoint the user had not claimed; present=driver update changed the exact active "
           "endpoint set (catalog=20, active=20, present-pnp=20)"},
  };
  for (const FailingCandidate& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = OutdatedMachine();
    row.shape(machine);
    ExpectRun(Install(machine), row.status, {kPersisted, kUpdated, Err(row.line)});
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  }
}

}  // namespace
}  // namespace vorn

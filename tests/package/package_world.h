#pragma once

// Machines and INFs for the tests of driver packages: small worlds with a Windows INF folder, the
// product's INF and its variants, and runs that fail one platform call after the other.

#include "package/inf_identity.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/support/planned_faults.h"
#include "tests/support/sample.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kInfFolder[] = u"C:\\Windows\\INF\\";

/// A machine with C: and the Windows INF folder, empty but for an INF of Windows' own.
platform::simulated::Machine BareMachine();

/// As above, with the product's INF at kSampleInf.
platform::simulated::Machine MachineWithInf();
platform::simulated::Machine MachineWithInf(std::string_view text);

/// The product's INF.
std::string SoundInf();

/// A text with the first `from` in it replaced; there must be one.
std::string With(std::string text, std::string_view from, std::string_view to);

/// The product's INF with that one change.
std::string InfWith(std::string_view from, std::string_view to);

/// The bytes of a text in UTF-16, with a byte-order mark.
platform::simulated::Bytes ToUtf16Bytes(std::string_view ascii);

/// Puts an INF into the Windows INF folder and the driver store.
void Publish(platform::simulated::Machine& machine, std::u16string_view publishedInf,
             std::string_view text, std::u16string_view originalInf = u"vorn_audio.inf",
             std::u16string_view originalCatalog = u"vorn_audio.cat");

/// The identity that the product's source INF has.
InfIdentity SoundIdentity();

/// Makes it the identity of an INF with these bytes; everything else stays.
void SetContent(InfIdentity& identity, std::string_view text);

/// One argument of all calls of that name, in order.
std::vector<std::string> ArgumentsOf(const platform::simulated::Process& process,
                                     std::string_view name, std::string_view argument);

/// Whether a call only gives something back, so that its failure changes no result.
bool IsRelease(std::string_view call);

/// Whether the process has nothing open; names what is.
::testing::AssertionResult NothingIsOpen(const platform::simulated::Process& process);

/// Runs `body` once on a copy of `machine` without a fault, then once for each platform call that
/// it makes, with a fault of that kind at that call; `body` is given the name of the call, which is
/// empty in the first run. Native functions fail with a negative status, as on Windows. Afterwards
/// nothing may be open, unless the faulty call was the one to close it.
void FailEachCall(
    const platform::simulated::Machine& machine,
    const std::function<void(platform::simulated::Process&, const std::string& failing)>& body,
    platform::simulated::FaultKind kind = platform::simulated::FaultKind::Fail);

/// As above, but each call takes effect and fails all the same: whatever it wrote, it is not to be
/// believed.
void FailEachCallAfterItsEffect(
    const platform::simulated::Machine& machine,
    const std::function<void(platform::simulated::Process&, const std::string& failing)>& body);

}  // namespace vorn::tests

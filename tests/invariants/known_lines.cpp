// Which lines the program prints, and on which stream: its texts are what installers and people
// rely on, so every line of a run must be one of these.

#include "base/text.h"
#include "tests/invariants/checkers.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vorn::tests {

namespace {

constexpr std::u16string_view kLinePrefix = u"vorn_devnode: ";

// A star stands for what is filled in.
constexpr std::u16string_view kOutputLines[] = {
    u"RESULT=OK - removed * Root\\VornAudio device(s), * exact driver package(s) and * VORN "
    u"endpoint record(s) (* retained); zero installed roots and exact packages verified",
    u"RESULT=OK - root=*, package=* * (*), catalog=20, active=*, present-pnp=*, kernel=20",
    u"RESULT=REBOOT_REQUIRED - removal is pending restart",
    u"Root\\VornAudio already runs the target package; device left untouched",
    u"Root\\VornAudio driver updated on existing devnode",
    u"Root\\VornAudio installed",
    u"VORN root hot-restart preflight passed",
    u"catalog audit OK - catalog=*, active=*, started-present=*",
    u"persisted protected pre-bind activation state",
    u"removed * duplicate/ghost Root\\VornAudio devnode(s)*",
    u"removed VORN endpoint record *",
    u"removed authenticated driver package *",
    u"resume-endpoints: * shown, * failed",
    u"retained activation state matches the live driver (*); retiring it and continuing",
};

constexpr std::u16string_view kErrorLines[] = {
    u"* authenticated VORN package(s) remain after cleanup",
    u"INF has no valid DriverVer date/version",
    u"INF not found: *",
    u"RESULT=* - * installed root(s) remain after removal",
    u"RESULT=* - Windows deferred the driver switch to a restart; *",
    u"RESULT=BIND_REFUSED - VORN root cleanup could not complete synchronously",
    u"RESULT=BIND_REFUSED - Windows rejected the bind",
    u"RESULT=BIND_REFUSED - the VORN device is disabled; enable it in Device Manager before "
    u"updating its driver",
    u"RESULT=DUPLICATE_CLEANUP_REBOOT - duplicate removal is deferred; * present roots remain",
    u"RESULT=ENDPOINTS_MISSING - journal target does not match protected INF DriverVer",
    u"RESULT=ENDPOINTS_MISSING - protected activation state is missing or malformed",
    u"RESULT=ENDPOINTS_MISSING - root=*; package=*; kernel=*; resident=*; catalog=*; mapping=*; "
    u"present=* (catalog=*, active=*, present-pnp=*)",
    u"RESULT=HOT_SWAP_FAILED - VORN endpoints could not be quiesced; no driver mutation attempted",
    u"RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: *",
    u"RESULT=HOT_SWAP_FAILED - protected activation identity is missing or mismatched",
    u"RESULT=HOT_SWAP_FAILED - selected driver could not be activated without restart",
    u"RESULT=NOT_STARTED - Windows requested a restart; candidate must be rolled back",
    u"RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=*)",
    u"RESULT=REBOOT_REQUIRED - rollback package bound; Windows starts it at the next restart",
    u"RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads it at the next restart",
    u"RESULT=REMOVE_BUSY - the device is still held after 10 s; nothing was removed and no restart "
    u"scheduled",
    u"RESULT=REMOVE_FAILED - device roots are absent but exact driver-package cleanup could not be "
    u"proven; residue retained",
    u"RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device was touched",
    u"RESULT=REMOVE_FAILED - partial or unverifiable removal; installed roots=*",
    u"VORN endpoints could not be quiesced; binding directly",
    u"VORN root did not restart during hot-swap preflight (CM_PROB=*)",
    u"WARNING - VORN endpoint record * could not be removed and remains as Windows endpoint "
    u"history",
    u"WARNING - endpoint record * could not be read, so its owner is unknown; left untouched",
    u"WARNING - the MMDevices endpoint records could not all be listed; VORN endpoint history may "
    u"remain",
    u"activation state could not be safely inspected",
    u"activation state missing or unsafe",
    u"catalog audit failed: * / *",
    u"catalog audit root failed: *",
    u"could not hide cable * * (error 0x*)",
    u"could not re-select the previous driver package * (error 0x*)",
    u"could not re-show cable * * (error 0x*)",
    u"driver quiesce could not acquire the controller lease (error 0x*)",
    u"driver quiesce could not open the device: *",
    u"duplicate-root cleanup could not prove the selected live generation",
    u"endpoints could not all be quiesced before removal; trying the removal anyway",
    u"exact-hash package * changed or failed structured identity validation; retaining all "
    u"remaining packages",
    u"existing endpoint baseline is ambiguous: *",
    u"existing root baseline is missing or ambiguous: *",
    u"existing root has no complete MMDevice catalog baseline: *",
    u"expected uninstall INF does not carry the exact VORN package contract",
    u"hot-swap preflight requested a system restart; refusing candidate before bind",
    u"hot-swap preflight requires exactly one present VORN root (found *)",
    u"previous driver package selection is unknown (\"*\"); nothing to re-select",
    u"protected activation state exists and does not match the live driver (readable=*, verify=*); "
    u"recover or roll it back before another bind",
    u"protected local package snapshot refused (error 0x*)",
    u"query-remove attempt *: CONFIGRET *, veto type * by '*'",
    u"query-remove succeeded on attempt * after * ms",
    u"quiesced all endpoints of *",
    u"refusing malformed activation state",
    u"resume-endpoints: *",
    u"resume-endpoints: cable * * failed (error 0x*)",
    u"resume-endpoints: controller lease unavailable (error 0x*)",
    u"resume-endpoints: no live VORN root: *",
    u"target INF identity could not be read",
};

// The labels of failed calls; the error follows.
constexpr std::u16string_view kFailedCalls[] = {
    u"GetWindowsDirectory(package cleanup)",
    u"SetupDiCallClassInstaller(DIF_REGISTERDEVICE)",
    u"SetupDiCallClassInstaller(DIF_REMOVE duplicate)",
    u"SetupDiCallClassInstaller(DIF_REMOVE)",
    u"SetupDiCallClassInstaller(hot-swap preflight)",
    u"SetupDiClassNameFromGuid",
    u"SetupDiCreateDeviceInfo",
    u"SetupDiCreateDeviceInfoList",
    u"SetupDiGetClassDevs",
    u"SetupDiGetClassDevs(hot-swap preflight)",
    u"SetupDiGetClassDevs(prune)",
    u"SetupDiGetDeviceInstallParams(duplicate)",
    u"SetupDiGetDeviceInstallParams(hot-swap preflight)",
    u"SetupDiSetClassInstallParams(DIF_REMOVE duplicate)",
    u"SetupDiSetClassInstallParams(DIF_REMOVE)",
    u"SetupDiSetDeviceRegistryProperty(HARDWAREID)",
    u"SetupOpenInfFile(expected DriverVer)",
    u"SetupUninstallOEMInf(exact VORN package)",
    u"UpdateDriverForPlugAndPlayDevices",
    u"UpdateDriverForPlugAndPlayDevices(existing)",
    u"WriteFile(activation state)",
    u"activation-state security descriptor",
    u"delete handle(activation state)",
    u"safe create(activation state)",
    u"safe open for delete(activation state)",
};

/// Whether a text has a form: the pieces between its stars, in order, the first at the beginning
/// and the last at the end.
bool HasForm(std::u16string_view text, std::u16string_view form) {
  const std::size_t star = form.find(u'*');
  if (star == form.npos) return text == form;
  if (!text.starts_with(form.substr(0, star))) return false;
  text.remove_prefix(star);
  form.remove_prefix(star + 1);
  for (std::size_t next = form.find(u'*'); next != form.npos; next = form.find(u'*')) {
    const std::size_t found = text.find(form.substr(0, next));
    if (found == text.npos) return false;
    text.remove_prefix(found + next);
    form.remove_prefix(next + 1);
  }
  return text.size() >= form.size() && text.ends_with(form);
}

template <std::size_t N>
bool HasAnyForm(std::u16string_view text, const std::u16string_view (&forms)[N]) {
  return std::any_of(std::begin(forms), std::end(forms),
                     [text](std::u16string_view form) { return HasForm(text, form); });
}

/// Whether a text reports a failed call: its label, and the error as eight capital digits.
bool IsFailedCall(std::u16string_view text) {
  constexpr std::u16string_view kBeforeError = u" failed (error 0x";
  const std::size_t end = text.find(kBeforeError);
  if (end == text.npos) return false;
  const std::u16string_view error = text.substr(end + kBeforeError.size());
  const bool digits = error.size() == 9 && error.back() == u')' && IsHexText(error.substr(0, 8)) &&
                      ToUpperAscii(error.substr(0, 8)) == error.substr(0, 8);
  return digits && std::find(std::begin(kFailedCalls), std::end(kFailedCalls),
                             text.substr(0, end)) != std::end(kFailedCalls);
}

bool IsKnown(std::u16string_view line, bool error) {
  if (!line.starts_with(kLinePrefix)) return false;
  line.remove_prefix(kLinePrefix.size());
  if (!error) return HasAnyForm(line, kOutputLines);
  return HasAnyForm(line, kErrorLines) || IsFailedCall(line);
}

/// What went to one of the streams.
std::u16string TextOn(const Observation& run, bool error) {
  std::u16string text;
  for (const auto& write : run.Console()) {
    if (write.error == error) text += write.text;
  }
  return text;
}

}  // namespace

Violations CheckKnownLines(const Observation& run) {
  if (run.run.killed) return {};  // a line may be cut
  for (const bool error : {false, true}) {
    const std::u16string text = TextOn(run, error);
    for (std::size_t from = 0; from < text.size();) {
      const std::size_t end = text.find(u'\n', from);
      if (end == text.npos) return {"a line does not end"};
      const std::u16string_view line = std::u16string_view(text).substr(from, end - from);
      if (!IsKnown(line, error)) {
        return {"nobody knows the line \"" + ToUtf8(line) + "\" on standard " +
                (error ? "error" : "output")};
      }
      from = end + 1;
    }
  }
  return {};
}

}  // namespace vorn::tests

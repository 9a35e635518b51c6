// Captures of arbitrary bytes: a bad one is refused with one line. A good one makes a machine that
// can be stored, whose names stay in its folder, and on which the program runs to its end.

#include "cli/dispatch.h"
#include "lab/bad_input.h"
#include "lab/capture_import.h"
#include "lab/volume_form.h"
#include "platform/simulated/process.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <optional>
#include <string_view>

namespace vorn::tests {

namespace captures {
namespace {

/// A capture with two contents, one of which nobody can take for an INF.
std::optional<lab::ImportedCapture> Import(std::string_view text) {
  lab::CaptureFiles files;
  files.document = text;
  files.contents = {{}, {'x', 0, 0xFF}};
  try {
    return lab::ImportCapture(files);
  } catch (const lab::BadInput& refusal) {
    const std::string_view line = refusal.what();
    Require(!line.empty() && line.find('\n') == line.npos, "one line says what is wrong");
    return std::nullopt;
  }
}

bool StaysInside(const std::string& path) {
  for (std::size_t from = 0; from <= path.size();) {
    const std::size_t end = std::min(path.find('/', from), path.size());
    const std::string name = path.substr(from, end - from);
    if (name.empty() || name == "." || name == ".." || name.find('\0') != name.npos) return false;
    from = end + 1;
  }
  return true;
}

void CheckStored(const lab::LabMachine& imported) {
  lab::MachineDocument document;
  document.machine = imported.machine;
  document.process = imported.process;
  document.heldFiles = lab::ListHeldFiles(imported.machine.files);
  for (lab::VolumeForm& form : lab::TakeVolumesApart(imported.machine.files)) {
    Require(StaysInside(form.facts.folder) && form.facts.folder.find('/') == std::string::npos,
            "a volume's folder is a plain name");
    for (const auto& [path, item] : form.tree)
      Require(StaysInside(path), "a name stays in the machine's folder");
    document.volumes.push_back(std::move(form.facts));
  }
  lab::ReadDocument(lab::WriteDocument(document));
}

void Check(std::string_view text) {
  auto imported = Import(text);
  if (!imported) return;
  CheckStored(imported->lab);
  platform::simulated::Process process(imported->lab.machine);
  process.token = imported->lab.process.token;
  cli::Run({u"vorn_devnode.exe", u"audit-catalog"});
}

}  // namespace
}  // namespace captures

void FuzzCapture(std::span<const std::uint8_t> input) {
  captures::Check({reinterpret_cast<const char*>(input.data()), input.size()});
}

}  // namespace vorn::tests

#include "lab/machine_folder.h"

#include "lab/folder_change.h"
#include "lab/host_folder.h"
#include "lab/volume_form.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <set>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace vorn::lab {

namespace fs = std::filesystem;
using platform::simulated::Machine;

namespace {

constexpr char kDocumentName[] = "machine.json";

std::string ReadDocumentText(const fs::path& path) {
  const StoredItem file = ReadStoredFile(path);
  std::string text(file.content->begin(), file.content->end());
  text.resize(text.size() + static_cast<std::size_t>(file.zeroTail));
  return text;
}

/// A volume's folder must have a plain name that nothing else in the machine's folder uses.
void CheckVolumeFolders(const std::vector<VolumeFacts>& volumes) {
  std::set<std::string> names = {kDocumentName};
  for (std::size_t i = 0; i < volumes.size(); ++i) {
    const std::string& name = volumes[i].folder;
    const std::string path = PathOfElement("volumes", i) + ".folder";
    const bool plain = !name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
                       name.find('\0') == std::string::npos;
    if (!plain) throw BadInput(path, "must be a plain name that does not begin with a dot");
    if (!names.insert(name).second) throw BadInput(path, "is taken");
  }
}

/// The changes that make the folder hold the volume's tree.
void AddVolumeChange(const VolumeTree& old, const VolumeForm& form, FolderChange& change) {
  const std::string prefix = form.facts.folder + "/";
  std::string removed;  // the last folder removed as a whole
  for (const auto& [path, item] : old) {
    const bool gone = !form.tree.contains(path);
    if (!gone || (!removed.empty() && path.starts_with(removed + "/"))) continue;
    change.Remove(prefix + path);
    removed = path;
  }
  for (const auto& [path, item] : form.tree) {
    const auto before = old.find(path);
    if (before != old.end() && before->second == item) continue;
    if (item.directory) {
      change.MakeFolder(prefix + path);
    } else {
      change.PutFile(prefix + path, item);
    }
  }
}

void WriteMachine(const fs::path& folder, const LabMachine& lab,
                  const std::map<std::string, VolumeTree>& known = {}) {
  MachineDocument document;
  document.machine = lab.machine;
  document.process = lab.process;
  document.heldFiles = ListHeldFiles(lab.machine.files);
  FolderChange change(folder);
  for (const VolumeForm& form : TakeVolumesApart(lab.machine.files, lab.volumeFolders)) {
    const std::string& name = form.facts.folder;
    if (!fs::exists(folder / name)) change.MakeFolder(name);
    const auto tree = known.find(name);
    AddVolumeChange(tree == known.end() ? ReadVolumeTree(folder / name, name) : tree->second, form,
                    change);
    document.volumes.push_back(form.facts);
  }
  const std::string text = WriteDocument(document);
  const bool changed =
      !fs::exists(folder / kDocumentName) || ReadDocumentText(folder / kDocumentName) != text;
  if (changed) {
    StoredItem file;
    file.content = std::make_shared<Bytes>(text.begin(), text.end());
    change.PutFile(kDocumentName, file);
  }
  change.Commit();
}

}  // namespace

void CreateMachineFolder(const fs::path& folder, const LabMachine& machine) {
  if (fs::exists(fs::symlink_status(folder)) &&
      !(fs::is_directory(folder) && fs::is_empty(folder))) {
    throw BadInput(folder.string(), "already exists");
  }
  fs::create_directories(folder);
  WriteMachine(folder, machine);
}

MachineFolder::MachineFolder(fs::path folder)
    : folder_(std::move(folder)), lock_(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const bool locked = lock_ >= 0 && flock(lock_, LOCK_EX) == 0;
  if (locked) FinishFolderChange(folder_);
  if (!locked || !fs::is_regular_file(folder_ / kDocumentName)) {
    if (lock_ >= 0) close(lock_);
    throw BadInput(folder_.string(), "is not a machine: it has no machine.json");
  }
}

MachineFolder::~MachineFolder() {
  close(lock_);
}

LabMachine MachineFolder::Load() const {
  const fs::path documentPath = folder_ / kDocumentName;
  try {
    MachineDocument document = ReadDocument(ReadDocumentText(documentPath));
    CheckVolumeFolders(document.volumes);
    LabMachine lab;
    lab.machine = std::move(document.machine);
    lab.process = std::move(document.process);
    std::vector<VolumeForm> forms;
    for (VolumeFacts& volume : document.volumes) {
      const std::string name = volume.folder;
      lab.volumeFolders.push_back(name);
      forms.push_back({std::move(volume), ReadVolumeTree(folder_ / name, name)});
    }
    PutVolumesTogether(forms, lab.machine.files);
    for (VolumeForm& form : forms)
      read_[form.facts.folder] = std::move(form.tree);
    HoldFiles(document.heldFiles, lab.machine.files);
    return lab;
  } catch (const BadHostFile& bad) {
    throw BadInput((folder_ / bad.what()).string());
  } catch (const BadInput& bad) {
    throw BadInput(documentPath.string(), bad.what());
  }
}

void MachineFolder::Save(const LabMachine& machine) const {
  WriteMachine(folder_, machine, read_);
  read_.clear();
}

}  // namespace vorn::lab

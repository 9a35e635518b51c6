#include "lab/folder_change.h"

#include "lab/bad_input.h"
#include "lab/facts.h"
#include "lab/host_folder.h"
#include "lab/json_text.h"

#include <climits>

namespace vorn::lab {

namespace fs = std::filesystem;

namespace {

constexpr char kStaged[] = ".lab-staged";        // being written; not binding yet
constexpr char kCommitted[] = ".lab-committed";  // must be carried out
constexpr char kList[] = "changes.json";

struct PutEntry {
  std::string path;
  std::string staged;  // name in the staging folder
};

/// The changes, in the order in which they are made.
struct ChangeList {
  std::vector<std::string> remove;
  std::vector<std::string> folders;
  std::vector<PutEntry> put;
};

template <class Facts>
void Describe(Facts& facts, PutEntry& entry) {
  facts.Required("path", entry.path);
  facts.Required("staged", entry.staged);
}

template <class Facts>
void Describe(Facts& facts, ChangeList& list) {
  facts.Fact("remove", list.remove);
  facts.Fact("folders", list.folders);
  facts.Fact("put", list.put);
}

StoredItem FileOfText(const std::string& text) {
  StoredItem file;
  file.content = std::make_shared<platform::simulated::Bytes>(text.begin(), text.end());
  return file;
}

/// Every step can safely be repeated.
void Apply(const fs::path& root, const fs::path& committed, const ChangeList& list) {
  for (const std::string& path : list.remove)
    fs::remove_all(root / path);
  for (const std::string& path : list.folders) {
    if (!fs::is_directory(fs::symlink_status(root / path))) fs::remove_all(root / path);
    fs::create_directory(root / path);
  }
  for (const PutEntry& entry : list.put) {
    if (!fs::exists(committed / entry.staged)) continue;  // already in place
    if (fs::is_directory(fs::symlink_status(root / entry.path))) fs::remove_all(root / entry.path);
    fs::rename(committed / entry.staged, root / entry.path);
  }
}

}  // namespace

FolderChange::FolderChange(fs::path root) : root_(std::move(root)) {}

void FolderChange::Remove(std::string path) {
  removals_.push_back(std::move(path));
}
void FolderChange::MakeFolder(std::string path) {
  folders_.push_back(std::move(path));
}
void FolderChange::PutFile(std::string path, StoredItem file) {
  files_.emplace_back(std::move(path), std::move(file));
}

bool FolderChange::IsEmpty() const {
  return removals_.empty() && folders_.empty() && files_.empty();
}

void FolderChange::Commit() {
  if (IsEmpty()) return;
  ChangeList list{removals_, folders_, {}};
  const fs::path staged = root_ / kStaged;
  fs::remove_all(staged);
  fs::create_directory(staged);
  for (const auto& [path, file] : files_) {
    if ((root_ / path).native().size() >= PATH_MAX) {
      throw BadInput(path, "is too long for a folder of the host");
    }
    const std::string name = std::to_string(list.put.size());
    WriteStoredFile(staged / name, file);
    list.put.push_back({path, name});
  }
  WriteStoredFile(staged / kList, FileOfText(ToReadableText(ToJson(list))));
  fs::rename(staged, root_ / kCommitted);
  FinishFolderChange(root_);
}

void FinishFolderChange(const fs::path& root) {
  const fs::path committed = root / kCommitted;
  if (!fs::exists(committed / kList)) {
    fs::remove_all(committed);
    return;
  }
  const StoredItem file = ReadStoredFile(committed / kList);
  ChangeList list;
  FromJson(ParseJson(std::string(file.content->begin(), file.content->end())), "", list);
  Apply(root, committed, list);
  fs::remove(committed / kList);  // from here on nothing is left to finish
  fs::remove_all(committed);
}

}  // namespace vorn::lab

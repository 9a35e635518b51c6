#include "lab/capture_volumes.h"

#include "base/text.h"
#include "lab/stored_name.h"
#include "lab/volume_form.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/path_walk.h"

#include <algorithm>
#include <set>

namespace vorn::lab {

using platform::simulated::FileSystem;
using platform::simulated::IsValidNtName;
using platform::simulated::Machine;
using platform::simulated::SecurityRecord;

namespace {

/// No file that the program looks at is larger: 4 TiB. A file of zeros takes no space.
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 42;
constexpr std::size_t kMostNames = 64;  // on a path
constexpr std::uint32_t kShareAll = 7;

/// Builds the tree of one volume from what the capture says of its files.
class CapturedVolume {
 public:
  CapturedVolume(VolumeFacts& facts, std::string path, const std::vector<Bytes>& contents,
                 std::vector<HeldFile>& held, std::vector<std::string>& notes)
      : facts_(facts), path_(std::move(path)), contents_(contents), held_(held), notes_(notes) {}

  VolumeForm Build(const std::vector<CapturedFile>& captured) {
    for (std::size_t i = 0; i < captured.size(); ++i)
      AddFile(i, captured[i]);
    return {std::move(facts_), std::move(tree_)};
  }

 private:
  [[noreturn]] void Refuse(std::size_t file, const char* key, const std::string& what) const {
    throw BadInput(PathOfElement(path_, file) + "." + key, what);
  }

  /// The stored path of a file; the folders on the way become part of the tree.
  std::string StoredPathOf(std::size_t file, std::u16string_view path) {
    std::string stored;
    for (std::size_t count = 0; !path.empty(); ++count) {
      const std::size_t end = path.find(u'\\');
      const std::u16string_view name = path.substr(0, end);
      if (!IsValidNtName(name) || count == kMostNames) {
        Refuse(file, "path", "is no path of names");
      }
      if (!stored.empty()) {
        const StoredItem& folder = tree_.try_emplace(stored, StoredItem{true, {}, 0}).first->second;
        if (!folder.directory) Refuse(file, "path", "is below a file");
        stored.push_back('/');
      }
      stored += ToStoredName(name);
      if (end == std::u16string_view::npos) break;
      path.remove_prefix(end + 1);
      if (path.empty()) Refuse(file, "path", "is no path of names");
    }
    return stored;
  }

  StoredItem ItemOf(std::size_t file, const CapturedFile& captured) const {
    StoredItem item;
    item.directory = captured.directory;
    item.content = std::make_shared<const Bytes>();
    if (captured.content) {
      if (captured.directory || *captured.content >= contents_.size()) {
        Refuse(file, "content", "is not among the files of the capture");
      }
      item.content = std::make_shared<const Bytes>(contents_[*captured.content]);
      if (captured.size != item.content->size()) Refuse(file, "size", "is not that of the content");
    } else if (!captured.directory) {
      if (captured.size > kMostBytes) Refuse(file, "size", "is more than 4 TiB");
      item.zeroTail = captured.size;
    }
    return item;
  }

  void AddFile(std::size_t file, const CapturedFile& captured) {
    FileFacts& facts = facts_.files[file];
    if (facts.index) Refuse(file, "index", "is not a key of a capture");
    if (!facts.stored.empty()) Refuse(file, "stored", "is not a key of a capture");
    StoredItem item = ItemOf(file, captured);
    if (!facts.path.empty()) {
      const std::string stored = StoredPathOf(file, facts.path);
      const auto [known, added] = tree_.try_emplace(stored, item);
      if (!added && known->second.directory != item.directory) {
        Refuse(file, "path", "appears twice");
      }
    } else if (!captured.directory) {
      Refuse(file, "path", "of a file must not be empty");
    }
    if (captured.links != 1) facts.reportedLinks = captured.links;
    RepeatOpenError(captured, facts);
  }

  /// What makes the program's open fail as it did.
  void RepeatOpenError(const CapturedFile& captured, FileFacts& facts) {
    using namespace platform;
    const std::u16string path = std::u16string{facts_.volume.letter, u':', u'\\'} + facts.path;
    switch (captured.openError) {
      case ERROR_SUCCESS:
      case ERROR_DIRECTORY:
        return;
      case ERROR_ACCESS_DENIED:
        if (!facts.security)
          facts.security = SecurityRecord{.owner = simulated::kLocalSystem, .daclProtected = true};
        return;
      case ERROR_SHARING_VIOLATION:
        held_.push_back({path, FILE_GENERIC_WRITE, kShareAll, 0, u"open when captured"});
        return;
      default:
        if (facts.reparse == simulated::ReparseKind::None) {
          notes_.push_back("not repeated: NtCreateFile failed (" +
                           *HexToJson(captured.openError).As<std::string>() + ") for " +
                           ToUtf8(path));
        }
    }
  }

  VolumeFacts& facts_;
  std::string path_;
  const std::vector<Bytes>& contents_;
  std::vector<HeldFile>& held_;
  std::vector<std::string>& notes_;
  VolumeTree tree_;
};

/// Letters of the folders that the platform itself looks at.
std::set<char16_t> LettersInUse(const FileSystem& files) {
  std::set<char16_t> letters;
  for (const std::u16string* const path :
       {&files.windowsFolder, &files.tempFolder, &files.modulePath, &files.currentFolder}) {
    letters.insert(ToUpperAscii(path->front()));
  }
  return letters;
}

/// A drive that the capture names without having opened it is an empty volume of its target.
void AddUnopenedVolumes(FileSystem& files) {
  for (const char16_t letter : LettersInUse(files)) {
    const bool known =
        std::any_of(files.volumes.begin(), files.volumes.end(),
                    [letter](const auto& volume) { return ToUpperAscii(volume.letter) == letter; });
    if (known) continue;
    const auto dosDevices = files.dosDevices;
    const auto target = dosDevices.find({letter, u':'});
    AddVolume(files, letter, target == dosDevices.end() ? u"\\Device\\Unknown" : target->second,
              u"");
    files.dosDevices = dosDevices;
  }
}

void CheckVolumes(const std::vector<VolumeFacts>& volumes) {
  for (std::size_t i = 0; i < volumes.size(); ++i) {
    if (volumes[i].volume.letter == 0) {
      throw BadInput(PathOfElement("volumes", i) + ".letter", "must be a letter");
    }
  }
}

}  // namespace

void BuildVolumes(CaptureDocument& capture, const std::vector<Bytes>& contents, Machine& machine,
                  std::vector<std::string>& notes) {
  CheckVolumes(capture.document.volumes);
  std::vector<VolumeForm> forms;
  std::vector<HeldFile> held = capture.document.heldFiles;
  for (std::size_t i = 0; i < capture.document.volumes.size(); ++i) {
    VolumeFacts& facts = capture.document.volumes[i];
    facts.folder = std::string(1, static_cast<char>(ToUpperAscii(facts.volume.letter)));
    forms.push_back(
        CapturedVolume(facts, PathOfElement("volumes", i) + ".files", contents, held, notes)
            .Build(capture.files[i]));
  }
  PutVolumesTogether(forms, machine.files);
  AddUnopenedVolumes(machine.files);
  HoldFiles(held, machine.files);
}

}  // namespace vorn::lab

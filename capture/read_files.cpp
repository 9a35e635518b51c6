#include "base/path_text.h"
#include "base/text.h"
#include "capture/observation.h"
#include "capture/readers.h"
#include "capture/security_fact.h"
#include "package/original_names.h"
#include "package/published_package.h"
#include "package/windows_inf_folder.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/directory.h"
#include "privileged_input/file_transfer.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"
#include "privileged_input/package_tree.h"
#include "privileged_input/path_buffer.h"
#include "privileged_input/path_rules.h"

#include <algorithm>
#include <map>
#include <set>

namespace vorn::capture {

namespace {

using privileged_input::AbsolutePath;
using privileged_input::Directory;
using privileged_input::DirectoryEntry;
using privileged_input::NativeApi;
using privileged_input::OpenNative;
using privileged_input::OpenRequest;

constexpr std::uint32_t FILE_SHARE_DELETE = 0x4;
constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
constexpr std::uint32_t ERROR_DIRECTORY = 267;  // there is a file, and no folder
constexpr std::uint32_t IO_REPARSE_TAG_MOUNT_POINT = 0xA0000003;
constexpr std::uint32_t IO_REPARSE_TAG_SYMLINK = 0xA000000C;
constexpr std::uint32_t kShareAll =
    platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | FILE_SHARE_DELETE;

constexpr std::size_t kMostInfNames = 200000;  // as many as the program lists
constexpr std::uint64_t kMostContent = privileged_input::kMaxInputFileSize;
constexpr std::uint64_t kMostContentOfAll = std::uint64_t{64} << 20;

constexpr std::u16string_view kJournalName = u".vorn-driver-activation-state";
constexpr std::u16string_view kLogName = u"logs\\vorn_devnode.log";

/// What a file or folder is opened with when the program's own open is refused.
constexpr OpenRequest kLookRequests[] = {
    {platform::READ_CONTROL | platform::FILE_READ_ATTRIBUTES, platform::FILE_OPEN, 0, kShareAll},
    {platform::FILE_READ_ATTRIBUTES, platform::FILE_OPEN, 0, kShareAll},
};

bool IsMissing(std::uint32_t error) {
  return error == platform::ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/// Whether a text in either encoding names the product. Nobody else's INF does.
bool NamesProduct(const Bytes& content) {
  std::string text;
  for (const std::uint8_t byte : content) {
    const bool upper = byte >= 'A' && byte <= 'Z';
    if (byte != 0) text.push_back(static_cast<char>(upper ? byte + 0x20 : byte));
  }
  return text.find("vornaudio") != std::string::npos ||
         text.find("vorn audio") != std::string::npos;
}

/// Whether the text of an INF has the file's name.
bool Names(const Bytes& inf, std::u16string_view name) {
  std::u16string narrow;
  for (const std::uint8_t byte : inf) {
    if (byte != 0) narrow.push_back(ToLowerAscii(static_cast<char16_t>(byte)));
  }
  return narrow.find(ToLowerAscii(name)) != std::u16string::npos;
}

class FileReader {
 public:
  FileReader(const CaptureRequest& request, CapturedMachine& machine)
      : request_(request), machine_(machine), api_(privileged_input::LoadNativeApi()) {}

  void Read() {
    WalkTo(machine_.windowsFolder);
    WalkTo(WithoutTrailingSeparator(machine_.temporaryFolder));
    ReadPublishedInfs();
    for (const std::u16string& inf : request_.infs)
      ReadPackage(inf);
    const std::u16string_view programFolder = CutLastComponent(machine_.modulePath);
    WalkTo(programFolder);
    ReadJournal(CutLastComponent(programFolder));
    for (const std::u16string& journal : request_.journals)
      ReadOwnFile(journal, privileged_input::kMaxInputFileSize, false);
  }

 private:
  /// An open folder, and where its facts are.
  struct Folder {
    std::size_t volume = 0;
    std::u16string path;  // below the volume's root
    platform::HANDLE handle = nullptr;
  };

  /// The path of a name in a folder, from the volume's root.
  static std::u16string Below(const Folder& folder, std::u16string_view name) {
    std::u16string path = folder.path;
    if (!path.empty()) path.push_back(u'\\');
    path += name;
    return path;
  }

  static std::u16string_view WithoutTrailingSeparator(std::u16string_view path) {
    while (path.size() > privileged_input::kDriveRootLength && path.back() == u'\\')
      path.remove_suffix(1);
    return path;
  }

  // ----------------------------------------------------------------------------------------------
  // Volumes.

  void ReadDrive(char16_t letter) {
    const std::u16string name = {ToUpperAscii(letter), u':'};
    const auto known = [&name](const DosDeviceFact& device) { return device.name == name; };
    if (std::any_of(machine_.dosDevices.begin(), machine_.dosDevices.end(), known)) return;
    std::u16string targets(privileged_input::kPathBufferLength, u'\0');
    const std::uint32_t length = platform::QueryDosDeviceW(name.c_str(), targets.data(),
                                                           privileged_input::kPathBufferLength);
    if (length == 0) {
      machine_.Miss(name, "QueryDosDeviceW", platform::GetLastError());
      return;
    }
    const std::u16string device = targets.substr(0, targets.find(u'\0'));  // the first of several
    machine_.dosDevices.push_back({name, device});
    if (privileged_input::IsHardDiskVolumeDevice(device)) OpenVolume(ToUpperAscii(letter), device);
  }

  void OpenVolume(char16_t letter, const std::u16string& device) {
    OpenRequest sharing = privileged_input::kOpenDirectory;
    sharing.share = kShareAll;
    roots_.emplace_back(OpenNative(api_, nullptr, device + u"\\", sharing));
    const platform::HANDLE root = roots_.back().Get();
    VolumeFact volume = {.letter = letter, .device = device};
    if (!roots_.back()) {
      machine_.Miss(std::u16string{letter, u':', u'\\'}, "NtCreateFile", platform::GetLastError());
    } else {
      const std::u16string guidRoot = privileged_input::QueryVolumeGuidRoot(root);
      constexpr std::size_t kGuidStart = 11;  // after \\?\Volume{
      constexpr std::size_t kGuidLength = 36;
      if (!guidRoot.empty()) volume.guid = guidRoot.substr(kGuidStart, kGuidLength);
      if (guidRoot.empty()) {
        machine_.Miss(std::u16string{letter, u':', u'\\'}, "GetFinalPathNameByHandleW",
                      platform::GetLastError());
      }
      platform::BY_HANDLE_FILE_INFORMATION information = {};
      if (platform::GetFileInformationByHandle(root, &information)) {
        volume.serial = information.dwVolumeSerialNumber;
      }
      FileFact fact = {.directory = true};
      ReadFacts(root, fact);
      volume.files.push_back(std::move(fact));
    }
    volume.freeBytes = ObserveFreeBytes(letter);
    if (!volume.freeBytes) {
      machine_.Miss(std::u16string{letter, u':', u'\\'}, "GetDiskFreeSpaceExW",
                    platform::GetLastError());
    }
    machine_.volumes.push_back(std::move(volume));
    known_.emplace_back();
  }

  // ----------------------------------------------------------------------------------------------
  // Nodes.

  /// Fills in what an open file or folder tells of itself.
  void ReadFacts(platform::HANDLE handle, FileFact& fact) {
    constexpr std::uint32_t kImplied = platform::FILE_ATTRIBUTE_DIRECTORY |
                                       platform::FILE_ATTRIBUTE_REPARSE_POINT |
                                       platform::FILE_ATTRIBUTE_NORMAL;
    const std::uint32_t type = platform::GetFileType(handle);
    if (type != platform::FILE_TYPE_DISK) fact.type = type;
    platform::BY_HANDLE_FILE_INFORMATION information = {};
    if (platform::GetFileInformationByHandle(handle, &information)) {
      fact.attributes = information.dwFileAttributes & ~kImplied;
      fact.directory = (information.dwFileAttributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
      fact.links = information.nNumberOfLinks;
      if (!fact.directory) {
        fact.size = std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow;
      }
    }
    ReadLink(handle, fact);
    std::uint32_t error = 0;
    fact.security = ReadFileSecurity(handle, &error);
    if (!fact.security) machine_.Miss(u"access list of " + fact.path, "GetSecurityInfo", error);
  }

  static void ReadLink(platform::HANDLE handle, FileFact& fact) {
    platform::FILE_ATTRIBUTE_TAG_INFO tag = {};
    if (!platform::GetFileInformationByHandleEx(handle, platform::FileAttributeTagInfo, &tag,
                                                sizeof tag) ||
        (tag.FileAttributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
      return;
    }
    fact.link = tag.ReparseTag == IO_REPARSE_TAG_MOUNT_POINT ? LinkKind::Junction
                : tag.ReparseTag == IO_REPARSE_TAG_SYMLINK   ? LinkKind::SymbolicLink
                                                             : LinkKind::Other;
    fact.target = ObserveLinkTarget(handle).value_or(u"");
  }

  FileFact* Known(std::size_t volume, const std::u16string& path) {
    const auto found = known_[volume].find(ToUpperAscii(path));
    return found == known_[volume].end() ? nullptr : &machine_.volumes[volume].files[found->second];
  }

  FileFact& Add(std::size_t volume, FileFact fact) {
    std::vector<FileFact>& files = machine_.volumes[volume].files;
    known_[volume].emplace(ToUpperAscii(fact.path), files.size());
    files.push_back(std::move(fact));
    return files.back();
  }

  /// Opens a name as the program does, and records what is there, once. The handle is empty when
  /// the program's open is refused; nothing is recorded of a name that is missing.
  platform::KernelHandle Visit(const Folder& folder, std::u16string_view name,
                               const OpenRequest& request) {
    FileFact fact = {.path = Below(folder, name)};
    platform::KernelHandle handle = OpenNative(api_, folder.handle, name, request);
    const bool known = Known(folder.volume, fact.path) != nullptr;
    if (handle) {
      if (!known) {
        ReadFacts(handle.Get(), fact);
        Add(folder.volume, std::move(fact));
      }
      return handle;
    }
    fact.openError = platform::GetLastError();
    if (known || IsMissing(fact.openError)) return handle;
    machine_.Miss(fact.path, "NtCreateFile", fact.openError);
    // What was asked for, where nothing can be seen of it.
    fact.directory =
        request.kind == platform::FILE_DIRECTORY_FILE && fact.openError != ERROR_DIRECTORY;
    Look(folder, name, fact);
    Add(folder.volume, std::move(fact));
    return handle;
  }

  /// What a smaller open tells of a name that the program could not open.
  void Look(const Folder& folder, std::u16string_view name, FileFact& fact) {
    for (const OpenRequest& look : kLookRequests) {
      const platform::KernelHandle handle = OpenNative(api_, folder.handle, name, look);
      if (!handle) continue;
      ReadFacts(handle.Get(), fact);
      return;
    }
  }

  /// The handle of a folder in a folder, kept until the end; null where the program would not enter
  /// it. The handle lets others do what they like, unlike the program's own.
  platform::HANDLE Enter(const Folder& folder, std::u16string_view name) {
    platform::KernelHandle handle = Visit(folder, name, privileged_input::kOpenDirectory);
    if (!handle || !privileged_input::IsPlainFolder(handle.Get())) return nullptr;
    OpenRequest sharing = privileged_input::kOpenDirectory;
    sharing.share = kShareAll;
    platform::KernelHandle kept = OpenNative(api_, folder.handle, name, sharing);
    if (!kept || !privileged_input::IsPlainFolder(kept.Get())) return nullptr;
    folders_.push_back(std::move(kept));
    return folders_.back().Get();
  }

  /// The open folder at an absolute path, with all folders on the way recorded; empty when there is
  /// none that the program would enter.
  std::optional<Folder> WalkTo(std::u16string_view path) {
    const std::optional<AbsolutePath> parsed = AbsolutePath::Parse(path);
    if (!parsed) {
      if (!path.empty()) machine_.Miss(path, "path", platform::GetLastError());
      return std::nullopt;
    }
    ReadDrive(parsed->DriveLetter());
    const char16_t letter = ToUpperAscii(parsed->DriveLetter());
    const auto volume =
        std::find_if(machine_.volumes.begin(), machine_.volumes.end(),
                     [letter](const VolumeFact& fact) { return fact.letter == letter; });
    if (volume == machine_.volumes.end()) return std::nullopt;
    Folder folder;
    folder.volume = static_cast<std::size_t>(volume - machine_.volumes.begin());
    folder.handle = roots_[folder.volume].Get();
    if (folder.handle == nullptr) return std::nullopt;
    for (const std::u16string& name : parsed->Components()) {
      const platform::HANDLE next = Enter(folder, name);
      if (next == nullptr) return std::nullopt;
      folder.path = Below(folder, name);
      folder.handle = next;
    }
    return folder;
  }

  // ----------------------------------------------------------------------------------------------
  // Contents.

  /// Reads a whole file into its facts, if it is a plain file of at most `most` bytes.
  void ReadContent(const Folder& folder, std::u16string_view name, platform::HANDLE handle,
                   std::uint64_t most) {
    FileFact* const fact = Known(folder.volume, Below(folder, name));
    if (fact == nullptr || fact->content || fact->directory || fact->link != LinkKind::None ||
        fact->size > most || contentOfAll_ + fact->size > kMostContentOfAll) {
      return;
    }
    Bytes content(static_cast<std::size_t>(fact->size));
    if (!privileged_input::SeekToStart(handle) ||
        !privileged_input::ReadExactly(handle, content.data(), content.size())) {
      machine_.Miss(fact->path, "ReadFile", platform::GetLastError());
      return;
    }
    contentOfAll_ += content.size();
    fact->content = std::move(content);
  }

  const Bytes* ContentOf(const Folder& folder, std::u16string_view name) {
    const FileFact* const fact = Known(folder.volume, Below(folder, name));
    return fact != nullptr && fact->content ? &*fact->content : nullptr;
  }

  /// Records a file that only the program writes: the journal, the log.
  void ReadOwnFile(std::u16string_view path, std::uint64_t most, bool text) {
    const std::u16string folderPath(CutLastComponent(path));
    const std::optional<Folder> folder =
        WalkTo(folderPath.size() == 2 ? folderPath + u"\\" : folderPath);
    const std::u16string_view name = FileNameComponent(path);
    if (!folder || !privileged_input::IsSafeComponentName(name)) return;
    const OpenRequest request = {.access = privileged_input::kOpenFile.access,
                                 .disposition = platform::FILE_OPEN,
                                 .kind = privileged_input::kOpenFile.kind,
                                 .share = text ? kShareAll : platform::FILE_SHARE_READ};
    const platform::KernelHandle handle = Visit(*folder, name, request);
    if (!handle) return;
    ReadContent(*folder, name, handle.Get(), most);
    FileFact* const fact = Known(folder->volume, Below(*folder, name));
    if (fact != nullptr) fact->text = text;
  }

  void ReadJournal(std::u16string_view folder) {
    if (folder.empty()) return;
    ReadOwnFile(JoinPath(folder, kJournalName), privileged_input::kMaxInputFileSize, false);
  }

  // ----------------------------------------------------------------------------------------------
  // Published INFs.

  std::optional<std::vector<DirectoryEntry>> List(const std::u16string& path, std::size_t most) {
    const Directory directory = Directory::OpenAbsolute(path, api_);
    std::vector<DirectoryEntry> entries;
    if (directory && Directory::Enumerate(directory, entries, most)) return entries;
    machine_.Miss(u"names in " + path, "GetFileInformationByHandleEx", platform::GetLastError());
    return std::nullopt;
  }

  void ReadPublishedInfs() {
    if (machine_.windowsFolder.empty()) return;
    const std::u16string path = machine_.windowsFolder + u"\\" + kInfFolderName;
    const std::optional<Folder> folder = WalkTo(path);
    if (!folder) return;
    const auto entries = List(path, kMostInfNames);
    if (!entries) return;
    for (const DirectoryEntry& entry : *entries) {
      if (IsPublishedOemInfName(entry.name)) ReadPublishedInf(*folder, path, entry.name);
    }
  }

  void ReadPublishedInf(const Folder& folder, const std::u16string& folderPath,
                        const std::u16string& name) {
    PublishedFact published = {.name = name};
    {
      const platform::KernelHandle handle = Visit(folder, name, privileged_input::kOpenFile);
      if (handle) ReadContent(folder, name, handle.Get(), kMostContent);
    }
    const Bytes* const content = ContentOf(folder, name);
    published.ours = content != nullptr && NamesProduct(*content);
    // The text of another maker's INF is forgotten at once.
    if (content != nullptr && !published.ours) Forget(folder, name);
    if (published.ours) {
      if (const auto names = QueryOriginalNames(JoinPath(folderPath, name))) {
        published.originalInf = names->inf;
        published.originalCatalog = names->catalog;
      } else {
        machine_.Miss(u"original names of " + name, "SetupQueryInfOriginalFileInformationW",
                      platform::GetLastError());
      }
    }
    machine_.published.push_back(std::move(published));
  }

  void Forget(const Folder& folder, std::u16string_view name) {
    FileFact* const fact = Known(folder.volume, Below(folder, name));
    contentOfAll_ -= fact->content->size();
    fact->content.reset();
  }

  // ----------------------------------------------------------------------------------------------
  // Packages.

  void ReadPackage(const std::u16string& infPath) {
    const std::u16string folderPath(CutLastComponent(infPath));
    const std::u16string parent(CutLastComponent(folderPath));
    ReadJournal(parent);
    if (!parent.empty()) ReadOwnFile(JoinPath(parent, kLogName), kMostContent, true);
    const std::optional<Folder> folder = WalkTo(folderPath);
    const std::u16string_view name = FileNameComponent(infPath);
    if (!folder || !privileged_input::IsSafeComponentName(name)) {
      machine_.Miss(infPath, "path", platform::ERROR_FILE_NOT_FOUND);
      return;
    }
    {
      const platform::KernelHandle handle = Visit(*folder, name, privileged_input::kOpenFile);
      if (handle) {
        ReadContent(*folder, name, handle.Get(), kMostContent);
      } else if (Known(folder->volume, Below(*folder, name)) == nullptr) {
        machine_.Miss(infPath, "path", platform::ERROR_FILE_NOT_FOUND);
      }
    }
    Bytes inf;
    if (const Bytes* const content = ContentOf(*folder, name)) {
      if (NamesProduct(*content)) {
        inf = *content;
      } else {
        Forget(*folder, name);
      }
    }
    std::size_t count = 0;
    ReadPackageFolder(*folder, folderPath, inf, 0, count);
  }

  /// Records everything in a package's folder, because the program copies all of it; the contents
  /// of those files that the INF names.
  void ReadPackageFolder(const Folder& folder, const std::u16string& folderPath, const Bytes& inf,
                         std::uint32_t depth, std::size_t& count) {
    if (depth > privileged_input::kMaxPackageDepth + 1) return;
    const auto entries = List(folderPath, privileged_input::kMaxPackageEntries + 1);
    if (!entries) return;
    for (const DirectoryEntry& entry : *entries) {
      // One more than the program accepts is as good as all.
      if (++count > privileged_input::kMaxPackageEntries + 1) return;
      if ((entry.attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
        const platform::KernelHandle handle =
            Visit(folder, entry.name, privileged_input::kOpenFile);
        const bool wanted = handle && !inf.empty() && Names(inf, entry.name);
        if (wanted) ReadContent(folder, entry.name, handle.Get(), kMostContent);
        continue;
      }
      if (const platform::HANDLE handle = Enter(folder, entry.name)) {
        ReadPackageFolder({folder.volume, Below(folder, entry.name), handle},
                          JoinPath(folderPath, entry.name), inf, depth + 1, count);
      }
    }
  }

  const CaptureRequest& request_;
  CapturedMachine& machine_;
  NativeApi api_;
  std::vector<platform::KernelHandle> roots_;    // one for each volume
  std::vector<platform::KernelHandle> folders_;  // on the way to others
  std::vector<std::map<std::u16string, std::size_t>>
      known_;  // places of files, by upper-cased path
  std::uint64_t contentOfAll_ = 0;
};

}  // namespace

void ReadFiles(const CaptureRequest& request, CapturedMachine& machine) {
  FileReader(request, machine).Read();
}

}  // namespace vorn::capture

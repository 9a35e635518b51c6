#include "platform/simulated/file_open.h"

#include "platform/files.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/path_walk.h"
#include "platform/simulated/scanner.h"
#include "platform/simulated/security_values.h"

#include <algorithm>

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kReadingRights = FILE_READ_DATA | FILE_EXECUTE;
constexpr std::uint32_t kWritingRights = FILE_WRITE_DATA | FILE_APPEND_DATA;
constexpr std::uint32_t kSharedRights = kReadingRights | kWritingRights | DELETE;

/// Rights that allow changes; a read-only volume refuses them.
constexpr std::uint32_t kChangingRights = kWritingRights | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES |
                                          FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER;

/// Attributes that a caller may set; the node implies the others.
constexpr std::uint32_t kSettableAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                              FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

/// Documented: an open for backup intent gets the file rights of SeBackupPrivilege and
/// SeRestorePrivilege.
constexpr PrivilegedRights kBackupIntentRights = {
    FILE_GENERIC_READ | FILE_TRAVERSE | ACCESS_SYSTEM_SECURITY,
    FILE_GENERIC_WRITE | DELETE | WRITE_DAC | WRITE_OWNER | ACCESS_SYSTEM_SECURITY};

bool Wants(const OpenRequest& request, std::uint32_t option) {
  return (request.options & option) != 0;
}

NTSTATUS CheckParameters(const OpenRequest& request) {
  const bool synchronous = Wants(request, FILE_SYNCHRONOUS_IO_NONALERT);
  const std::uint32_t access = MapFileRights(request.access);
  if (synchronous && (access & SYNCHRONIZE) == 0) return STATUS_INVALID_PARAMETER;
  if (Wants(request, FILE_DIRECTORY_FILE) && Wants(request, FILE_NON_DIRECTORY_FILE)) {
    return STATUS_INVALID_PARAMETER;
  }
  if (Wants(request, FILE_DELETE_ON_CLOSE) && (access & DELETE) == 0) {
    return STATUS_INVALID_PARAMETER;
  }
  const bool known = request.disposition == FILE_OPEN || request.disposition == FILE_CREATE ||
                     request.disposition == FILE_OPEN_IF;
  if (!known) return STATUS_INVALID_PARAMETER;
  return request.access == 0 ? STATUS_ACCESS_DENIED : STATUS_SUCCESS;
}

/// A request as it passes through the rules, any of which may end it with a status.
class Opener {
 public:
  Opener(Machine& machine, const Token& token, const OpenRequest& request)
      : machine_(machine), files_(machine.files), token_(token), request_(request) {
    wanted_ = MapFileRights(request.access);
    if (Wants(request, FILE_OPEN_FOR_BACKUP_INTENT)) privileged_ = kBackupIntentRights;
  }

  OpenResult Run() {
    if (const NTSTATUS status = CheckParameters(request_)) return {status, nullptr, false};
    const Walked walked = WalkToGoal();
    if (walked.rawVolume) return {OpenRawVolume(), nullptr, false};
    const bool missing = walked.status == STATUS_OBJECT_NAME_NOT_FOUND && walked.place.folder != 0;
    if (missing && request_.disposition != FILE_OPEN) return Create(walked);
    if (walked.status != STATUS_SUCCESS) return {walked.status, nullptr, false};
    return OpenExisting(walked);
  }

 private:
  Walked WalkToGoal() const {
    const WalkOptions options = {Wants(request_, FILE_OPEN_REPARSE_POINT), request_.dontReparse};
    if (request_.root == nullptr) return Walk(files_, request_.name, options);
    return Walk(files_, request_.root->Id(), request_.root->OpenedAs(), request_.name, options);
  }

  /// The program never opens a volume device. Observed: a volume device is not a folder.
  NTSTATUS OpenRawVolume() const {
    return Wants(request_, FILE_DIRECTORY_FILE) ? STATUS_NOT_A_DIRECTORY : STATUS_ACCESS_DENIED;
  }

  OpenResult OpenExisting(const Walked& walked) {
    const Node& node = files_.nodes.Get(walked.node);
    const Entry* entry = FindEntry(files_, walked.place);
    NTSTATUS status = STATUS_SUCCESS;
    if (entry != nullptr && entry->deletePending) {
      status = STATUS_DELETE_PENDING;
    } else if (request_.disposition == FILE_CREATE) {
      // Assumed: creating a root is denied, not a collision. Question: what does NtCreateFile
      // return for FILE_CREATE of a volume's root?
      status = walked.place.folder == 0 ? STATUS_ACCESS_DENIED : STATUS_OBJECT_NAME_COLLISION;
    } else if (Wants(request_, FILE_DIRECTORY_FILE) && !node.directory) {
      status = STATUS_NOT_A_DIRECTORY;
    } else if (Wants(request_, FILE_NON_DIRECTORY_FILE) && node.directory) {
      status = STATUS_FILE_IS_A_DIRECTORY;
    } else {
      status = CheckAccess(node, walked.place);
    }
    if (status == STATUS_SUCCESS) status = CheckDeleteOnClose(node, walked.place);
    if (status == STATUS_SUCCESS &&
        !SharesWithOthers(files_, walked.node, granted_, request_.share)) {
      status = STATUS_SHARING_VIOLATION;
    }
    if (status != STATUS_SUCCESS) return {status, nullptr, false};
    return {STATUS_SUCCESS, Opened(walked.node, walked.place), false};
  }

  /// The rights of the node's own list and those that its folder's list adds. Documented: whoever
  /// may list the folder may read attributes, and whoever may delete its children may delete.
  NTSTATUS CheckAccess(const Node& node, const Place& place) {
    const bool everything = (wanted_ & MAXIMUM_ALLOWED) != 0;
    const std::uint32_t named = wanted_ & ~MAXIMUM_ALLOWED;
    const std::uint32_t asked = everything ? FILE_ALL_ACCESS | named : named;
    granted_ = GrantedRights(node.security, token_, asked, privileged_);
    granted_ |= GrantedByFolder(place, asked & ~granted_);
    if ((named & ~granted_ & ACCESS_SYSTEM_SECURITY) != 0) return STATUS_PRIVILEGE_NOT_HELD;
    if ((named & ~granted_) != 0 || granted_ == 0) return STATUS_ACCESS_DENIED;
    const bool readOnlyFile = !node.directory && (node.attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnlyFile && (named & kWritingRights) != 0) return STATUS_ACCESS_DENIED;
    if (readOnlyFile) granted_ &= ~kWritingRights;
    if (VolumeOf(files_, node).readOnly) {
      if ((named & kChangingRights) != 0) return STATUS_MEDIA_WRITE_PROTECTED;
      granted_ &= ~kChangingRights;
    }
    return STATUS_SUCCESS;
  }

  std::uint32_t GrantedByFolder(const Place& place, std::uint32_t missing) const {
    const Node* folder = files_.nodes.Find(place.folder);
    if (folder == nullptr) return 0;
    const auto adds = [&](std::uint32_t right, std::uint32_t folderRight) {
      const bool given =
          (missing & right) != 0 && IsGranted(folder->security, token_, folderRight, privileged_);
      return given ? right : 0;
    };
    return adds(FILE_READ_ATTRIBUTES, FILE_LIST_DIRECTORY) | adds(DELETE, FILE_DELETE_CHILD);
  }

  NTSTATUS CheckDeleteOnClose(const Node& node, const Place& place) const {
    if (!Wants(request_, FILE_DELETE_ON_CLOSE)) return STATUS_SUCCESS;
    const bool refused = (node.attributes & FILE_ATTRIBUTE_READONLY) != 0 || place.folder == 0;
    return refused ? STATUS_CANNOT_DELETE : STATUS_SUCCESS;
  }

  OpenResult Create(const Walked& walked) {
    const bool directory = Wants(request_, FILE_DIRECTORY_FILE);
    const NTSTATUS status = CheckCreation(walked.place.folder, directory);
    if (status != STATUS_SUCCESS) return {status, nullptr, false};
    const NodeId id = NewNode(files_, walked.place.folder, directory, SecurityOfNew(walked.place));
    const std::int64_t now = FileTimeNow(machine_);
    Node& node = files_.nodes.at(id);
    node.attributes = request_.attributes & kSettableAttributes;
    // Documented: NTFS sets the archive attribute on every new file.
    if (!directory) node.attributes |= FILE_ATTRIBUTE_ARCHIVE;
    node.times = {now, now, now, now};
    AddEntry(files_, walked.place.folder, walked.name, id);
    files_.nodes.at(walked.place.folder).times.lastWrite = now;
    // Documented: the creator of a file gets all rights it asked for, whatever the new object's
    // list says.
    granted_ =
        (wanted_ & MAXIMUM_ALLOWED) != 0 ? FILE_ALL_ACCESS | (wanted_ & ~MAXIMUM_ALLOWED) : wanted_;
    std::shared_ptr<FileObject> file = Opened(id, walked.place);
    file->written = !directory;
    return {STATUS_SUCCESS, std::move(file), true};
  }

  NTSTATUS CheckCreation(NodeId folderId, bool directory) {
    const Node& folder = files_.nodes.Get(folderId);
    const Volume& volume = VolumeOf(files_, folder);
    const Entry* own = FindEntry(files_, folder.place);
    if (own != nullptr && own->deletePending) return STATUS_DELETE_PENDING;
    if (volume.readOnly) return STATUS_MEDIA_WRITE_PROTECTED;
    // FILE_ADD_FILE and FILE_ADD_SUBDIRECTORY are a folder's write rights.
    const std::uint32_t right = directory ? FILE_APPEND_DATA : FILE_WRITE_DATA;
    if (!IsGranted(folder.security, token_, right, privileged_)) {
      return STATUS_ACCESS_DENIED;
    }
    if ((wanted_ & ACCESS_SYSTEM_SECURITY) != 0) return STATUS_PRIVILEGE_NOT_HELD;
    const bool readOnly = (request_.attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly && Wants(request_, FILE_DELETE_ON_CLOSE)) return STATUS_CANNOT_DELETE;
    if (request_.security != nullptr && !MayName(token_, request_.security->owner)) {
      return STATUS_INVALID_OWNER;
    }
    return volume.freeBytes == 0 ? STATUS_DISK_FULL : STATUS_SUCCESS;
  }

  SecurityRecord SecurityOfNew(const Place& place) const {
    const Node& folder = files_.nodes.Get(place.folder);
    const bool directory = Wants(request_, FILE_DIRECTORY_FILE);
    SecurityRecord inherited = InheritFrom(folder.security, directory, token_.owner);
    if (request_.security == nullptr) return inherited;
    SecurityRecord record = *request_.security;
    if (record.owner.empty()) record.owner = inherited.owner;
    if (!record.daclPresent && !record.daclProtected) {
      record.daclPresent = inherited.daclPresent;
      record.daclAutoInherited = inherited.daclAutoInherited;
      record.entries = inherited.entries;
    }
    for (AccessEntry& entry : record.entries) {
      if ((entry.flags & INHERIT_ONLY_ACE) == 0) entry.mask = MapFileRights(entry.mask);
    }
    return record;
  }

  std::shared_ptr<FileObject> Opened(NodeId node, const Place& place) {
    Open open;
    open.place = place;
    open.access = granted_;
    open.share = request_.share;
    const OpenKey key = {node, AddOpen(files_, node, std::move(open))};
    if (Wants(request_, FILE_DELETE_ON_CLOSE)) {
      files_.nodes.at(place.folder).entries.at(place.key).deletePending = true;
    }
    return std::make_shared<FileObject>(machine_, key, granted_);
  }

  Machine& machine_;
  FileSystem& files_;
  const Token& token_;
  const OpenRequest& request_;
  std::uint32_t wanted_ = 0;
  std::uint32_t granted_ = 0;
  PrivilegedRights privileged_;
};

}  // namespace

FileObject::FileObject(Machine& machine, const OpenKey& key, std::uint32_t access)
    : machine_(machine), files_(machine.files), key_(key), access_(access) {}

FileObject::~FileObject() {
  const Place place = OpenedAs();
  ReleaseOpen(files_, key_);
  if (written) ScanWritten(machine_, key_.node, place);
}

OpenResult OpenByName(Process& process, const OpenRequest& request) {
  return OpenByName(process.TheMachine(), process.token, request);
}

OpenResult OpenByName(Machine& machine, const Token& token, const OpenRequest& request) {
  return Opener(machine, token, request).Run();
}

bool MayName(const Token& token, const std::u16string& owner) {
  if (owner.empty() || token.restoreEnabled) return true;
  const bool user = !token.sids.empty() && token.sids.front() == owner;
  return user || token.owner == owner || (owner == kAdministrators && Holds(token, owner));
}

bool SharesWithOthers(const FileSystem& files, NodeId node, std::uint32_t access,
                      std::uint32_t share) {
  // Documented: opens without read, write or delete access take no part in sharing.
  if ((access & kSharedRights) == 0) return true;
  const auto allows = [](std::uint32_t sharing, std::uint32_t rights) {
    return ((rights & kReadingRights) == 0 || (sharing & FILE_SHARE_READ) != 0) &&
           ((rights & kWritingRights) == 0 || (sharing & FILE_SHARE_WRITE) != 0) &&
           ((rights & DELETE) == 0 || (sharing & FILE_SHARE_DELETE) != 0);
  };
  for (auto open = files.opens.lower_bound({node, 0});
       open != files.opens.end() && open->first.node == node; ++open) {
    if ((open->second.access & kSharedRights) == 0) continue;
    if (!allows(open->second.share, access) || !allows(share, open->second.access)) return false;
  }
  return true;
}

std::int64_t FileTimeNow(const Machine& machine) {
  constexpr std::int64_t kUnixEpoch = 116'444'736'000'000'000;  // 1970 in 100 ns since 1601
  constexpr std::int64_t kPerMillisecond = 10'000;
  const auto now = static_cast<std::int64_t>(machine.clock.utcAtTickZero + machine.clock.tick);
  return kUnixEpoch + now * kPerMillisecond;
}

std::shared_ptr<FileObject> FindFile(const Process& process, HANDLE handle) {
  return process.Find<FileObject>(ObjectKind::Handle, reinterpret_cast<std::uintptr_t>(handle));
}

}  // namespace vorn::platform::simulated

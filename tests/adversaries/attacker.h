#pragma once

// Attacker: what a user without any privilege can do to the files, links and drive letters of a
// machine while somebody else's program runs. Each act asks what Windows would ask (access lists,
// sharing with every open handle, names that are going, folders in use) and does nothing where
// Windows would refuse. So a program is protected here by its handles and its access lists or not
// at all.

#include "platform/simulated/machine.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::tests {

/// An access list for a folder that is the other user's own.
inline constexpr char16_t kOwnFolderSecurity[] =
    u"O:S-1-5-21-1000000000-2000000000-3000000000-1002"
    u"D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)"
    u"(A;OICI;FA;;;S-1-5-21-1000000000-2000000000-3000000000-1002)";

class Attacker {
 public:
  explicit Attacker(platform::simulated::Machine& machine);

  // Each returns whether Windows lets it happen; where it does not, nothing has changed.

  /// Renames a file or a folder; a folder with anything open below it stays (documented). What has
  /// the new name must not exist.
  bool TryRename(std::u16string_view from, std::u16string_view to);

  /// Deletes a file or an empty folder. Of a file that others hold and let go, the name stays until
  /// they close it.
  bool TryDelete(std::u16string_view path);

  bool TryCreateFile(std::u16string_view path, std::string_view content);
  bool TryCreateFolder(std::u16string_view path);

  /// A new folder that is a junction. Anybody may make one where he may make folders.
  bool TryCreateJunction(std::u16string_view path, std::u16string_view target);

  /// A symbolic link; users may make them where the machine is in developer mode, which is assumed.
  bool TryCreateSymbolicLink(std::u16string_view path, std::u16string_view target, bool directory);

  /// A new folder or file with a reparse point that no filter of the machine answers for.
  bool TryCreateUnknownLink(std::u16string_view path, bool directory);

  /// A second name of an existing file, which the native call gives to whoever may read the file's
  /// attributes (documented).
  bool TryCreateHardLink(std::u16string_view existing, std::u16string_view name);

  /// Makes an existing empty folder a junction: that takes no more than FILE_WRITE_ATTRIBUTES, a
  /// right that sharing does not guard (documented).
  bool TryTurnIntoJunction(std::u16string_view path, std::u16string_view target);

  /// Gives a file new content, in place.
  bool TryWrite(std::u16string_view path, std::string_view content);

  /// Appends zeros up to that size.
  bool TryGrow(std::u16string_view path, std::uint64_t size);

  /// Opens a file or folder and keeps it open.
  bool TryHold(std::u16string_view path, std::uint32_t access, std::uint32_t share);

  /// Replaces an access list.
  bool TrySetSecurity(std::u16string_view path, std::u16string_view sddl);

  /// Gives a drive letter of his own logon session another target, or none. A letter that belongs
  /// to a volume is the machine's and stays.
  bool TryDefineDosDevice(char16_t letter, std::u16string_view target);

  /// Makes a registry key a link.
  bool TryLinkRegistryKey(std::u16string_view parent, std::u16string_view name,
                          std::u16string_view target);

  platform::simulated::Machine& TheMachine() { return machine_; }

 private:
  struct Named;

  bool MayDelete(const Named& named) const;
  bool MayCreateIn(std::u16string_view path, bool directory) const;
  bool MayOpen(const Named& named, std::uint32_t access, std::uint32_t share) const;
  bool IsAnythingOpenBelow(platform::simulated::NodeId folder) const;
  platform::simulated::NodeId Create(std::u16string_view path, bool directory);
  bool CreateLink(std::u16string_view path, platform::simulated::ReparseKind kind,
                  std::u16string_view target, bool directory);
  Named Find(std::u16string_view path) const;

  platform::simulated::Machine& machine_;
  platform::simulated::FileSystem& files_;
  platform::simulated::Token token_;
};

}  // namespace vorn::tests

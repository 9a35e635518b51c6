#pragma once

// Attacker: what a user without privileges can do to the files, links and drive letters of a
// machine while another user's program runs. Each act makes the checks of Windows (access lists,
// share modes of open handles, names that are being deleted, folders in use) and does nothing where
// Windows would refuse. So the program's handles and access lists are its only protection here.

#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::tests {

/// The access list of a folder that the attacker owns.
inline constexpr char16_t kOwnFolderSecurity[] =
    u"O:S-1-5-21-1000000000-2000000000-3000000000-1002"
    u"D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)"
    u"(A;OICI;FA;;;S-1-5-21-1000000000-2000000000-3000000000-1002)";

/// Shares a file with everybody.
inline constexpr std::uint32_t kShareAll =
    platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE;

class Attacker {
 public:
  explicit Attacker(platform::simulated::Machine& machine);

  // Each act returns whether Windows allows it. A refused act changes nothing.

  /// Renames a file or a folder. The new name must be free, and nothing below the folder may be
  /// open (documented).
  bool TryRename(std::u16string_view from, std::u16string_view to);

  /// Deletes a file or an empty folder. The name of a file that others hold open with delete
  /// sharing stays until they close it.
  bool TryDelete(std::u16string_view path);

  bool TryCreateFile(std::u16string_view path, std::string_view content);
  bool TryCreateFolder(std::u16string_view path);

  /// Creates a junction. Whoever may create a folder may create a junction.
  bool TryCreateJunction(std::u16string_view path, std::u16string_view target);

  /// Creates a symbolic link. That takes developer mode, which is assumed.
  bool TryCreateSymbolicLink(std::u16string_view path, std::u16string_view target, bool directory);

  /// Creates a folder or file with a reparse point that no filter of the machine handles.
  bool TryCreateUnknownLink(std::u16string_view path, bool directory);

  /// Creates a hard link. The native call allows it to whoever may read the file's attributes
  /// (documented).
  bool TryCreateHardLink(std::u16string_view existing, std::u16string_view name);

  /// Renames files into a folder again and again, as on Windows before 11 22H2: there each rename
  /// opens the folder for writing. The other acts are those of later versions, which allow more.
  bool TryKeepRenamingInto(std::u16string_view folder);

  /// Turns an existing empty folder into a junction. That takes only FILE_WRITE_ATTRIBUTES, which
  /// share modes do not guard (documented).
  bool TryTurnIntoJunction(std::u16string_view path, std::u16string_view target);

  /// Replaces the content of a file in place.
  bool TryWrite(std::u16string_view path, std::string_view content);

  /// Appends zeros up to that size.
  bool TryGrow(std::u16string_view path, std::uint64_t size);

  /// Opens a file or folder and keeps it open.
  bool TryHold(std::u16string_view path, std::uint32_t access, std::uint32_t share);

  /// Replaces an access list.
  bool TrySetSecurity(std::u16string_view path, std::u16string_view sddl);

  /// Redefines or removes a drive letter of his own logon session. Letters of volumes belong to the
  /// machine and stay.
  bool TryDefineDosDevice(char16_t letter, std::u16string_view target);

  /// Creates a registry key that is a link.
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

#pragma once

// What the contract suite needs of the world and cannot make through the seam. There is one source
// for each side: model/world.cpp and windows/world.cpp.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::contract {

/// Whose answers are asked. Wine is told from Windows by what its ntdll exports.
enum class Side { Model, Wine, Windows };
Side TheSide();

/// A case starts: on the model with a fresh machine and process.
void BeginCase();

/// A case ends: what it made is removed. The number of objects that it left open, where that can be
/// told, else 0.
std::size_t EndCase();

/// A new, empty folder of the case, as a DOS path without a trailing backslash.
std::u16string Scratch();

/// Gives a file a second name.
bool MakeHardLink(const std::u16string& existing, const std::u16string& name);

/// Gives a file another name, in that folder or in another. The error code, 0 on success.
std::uint32_t MoveTo(const std::u16string& existing, const std::u16string& name);

/// Puts a symbolic link to a folder; false where none can be made.
bool MakeFolderLink(const std::u16string& path, const std::u16string& target);

/// The registry key of the case, below HKEY_LOCAL_MACHINE, which is removed with it.
inline constexpr char16_t kRegistryPath[] = u"Software\\VornContract";

/// A key below HKEY_LOCAL_MACHINE whose list lets the system read it, and administrators not.
std::u16string SystemsOwnKey();

/// Creates a key below kRegistryPath; the empty path is the key itself.
void MakeKey(const std::u16string& path);

/// Creates or replaces a value of such a key, and the key.
void PutValue(const std::u16string& path, const std::u16string& name, std::uint32_t type,
              const std::vector<std::uint8_t>& data);

/// A service that exists and runs.
std::u16string RunningService();

}  // namespace vorn::contract

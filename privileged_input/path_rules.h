#pragma once

// What a path and its names may look like before anything is opened. Whatever the platform would
// reinterpret is refused: device names, streams, trailing dots and blanks, wildcards, relative
// steps, UNC and \\?\ forms. A drive letter counts only when it stands for a local hard disk.
//
// Every refusal leaves its reason in the last error: ERROR_INVALID_NAME for names and paths,
// ERROR_PROC_NOT_FOUND and ERROR_BAD_DEVICE for drives.

#include "platform/types.h"
#include "privileged_input/native_api.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::privileged_input {

/// Code units of the longest path, and of the longest name handed to a native open.
inline constexpr std::size_t kMaxPathLength = 32760;

/// Code units of a drive's root: letter, colon, backslash.
inline constexpr std::size_t kDriveRootLength = 3;

/// Characters of the buffers for what the platform says about paths, terminator included.
inline constexpr std::uint32_t kPathBufferLength = 32768;

/// Whether one name, without separators, means exactly itself to the platform: 1 to 255 units, no
/// trailing dot or blank, no control, separator or wildcard character, no device name as its stem.
bool IsSafeComponentName(std::u16string_view component);

/// Splits an absolute path, a drive letter, ":\" and names joined by single backslashes, and
/// appends its names to `components`, outermost first; none for a bare drive root. On failure,
/// names that passed before the refused one have been appended.
bool ParseAbsolutePath(std::u16string_view path, std::vector<std::u16string>& components);

/// Splits names joined by single backslashes, as an absolute path has them after its root, and
/// appends them to `components`. 1 to kMaxPathLength units; no trailing backslash.
bool ParseRelativePath(std::u16string_view path, std::vector<std::u16string>& components);

/// Whether a DOS device's target is a local hard-disk volume, "\Device\HarddiskVolume<digits>".
bool IsHardDiskVolumeDevice(std::u16string_view target);

/// Whether a drive letter stands for a local hard-disk volume (QueryDosDeviceW); its device is then
/// put into `device` if given. A failed query keeps the platform's error.
bool IsHardDiskVolumeDrive(const NativeApi& api, char16_t driveLetter,
                           std::u16string* device = nullptr);

/// Whether a text has the form "\\?\Volume{<36 units>}\".
bool IsVolumeGuidRoot(std::u16string_view path);

/// The volume GUID path of an open volume root (GetFinalPathNameByHandleW); empty when the
/// platform's answer has any other form.
std::u16string QueryVolumeGuidRoot(platform::HANDLE root);

}  // namespace vorn::privileged_input

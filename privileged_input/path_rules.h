#pragma once

// The rules that a path must meet before anything is opened. Everything that the platform would
// reinterpret is refused: device names, streams, trailing dots and blanks, wildcards, relative
// steps, UNC and \\?\ forms, and drive letters that are not a local hard disk.
//
// A refusal sets the last error: ERROR_INVALID_NAME for names and paths, ERROR_PROC_NOT_FOUND or
// ERROR_BAD_DEVICE for drives.

#include "platform/types.h"
#include "privileged_input/native_api.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::privileged_input {

// Lengths in code units.
inline constexpr std::size_t kMaxPathLength = 32760;  // of a path, and of a native name
inline constexpr std::size_t kDriveRootLength = 3;    // letter, colon, backslash

/// Whether the platform takes a single name literally: 1 to 255 units, no trailing dot or blank, no
/// control, separator or wildcard character, no device name before the first dot.
bool IsSafeComponentName(std::u16string_view component);

/// Splits a drive letter, ":\" and names joined by single backslashes, and appends the names to
/// `components`, outermost first; none for a bare root. On failure the names before the refused one
/// have been appended.
bool ParseAbsolutePath(std::u16string_view path, std::vector<std::u16string>& components);

/// Splits names joined by single backslashes, 1 to kMaxPathLength units without a trailing
/// backslash, and appends them to `components`.
bool ParseRelativePath(std::u16string_view path, std::vector<std::u16string>& components);

/// Whether a DOS device's target is a local hard-disk volume, "\Device\HarddiskVolume<digits>".
bool IsHardDiskVolumeDevice(std::u16string_view target);

/// Whether a drive letter is a local hard-disk volume (QueryDosDeviceW), whose device it stores in
/// `device` if given. A failed query keeps its own last error.
bool IsHardDiskVolumeDrive(const NativeApi& api, char16_t driveLetter,
                           std::u16string* device = nullptr);

/// Whether a text has the form "\\?\Volume{<36 units>}\".
bool IsVolumeGuidRoot(std::u16string_view path);

/// The volume GUID path of an open volume root (GetFinalPathNameByHandleW); empty on failure or if
/// the result has another form.
std::u16string QueryVolumeGuidRoot(platform::HANDLE root);

}  // namespace vorn::privileged_input

#pragma once

// CaptureWriter: writes a capture into a new folder. Everything is created through handles, from
// the volume's root down, so that nobody can lead the files of an elevated process elsewhere.

#include "capture/capture.h"
#include "platform/owners.h"
#include "privileged_input/directory.h"

#include <optional>
#include <string>

namespace vorn::capture {

class CaptureWriter {
 public:
  /// Creates the folder, which must not exist, in an existing one on a local disk. Nothing on
  /// failure, with the last error set.
  static std::optional<CaptureWriter> Create(const std::u16string& folder);

  /// Writes all of it. On failure the last error is set and what was written stays.
  bool Write(const Capture& capture);

 private:
  CaptureWriter(privileged_input::Directory parent, platform::KernelHandle folder)
      : parent_(std::move(parent)), folder_(std::move(folder)) {}

  bool Put(platform::HANDLE folder, std::u16string_view name, const Bytes& content) const;

  privileged_input::Directory parent_;
  platform::KernelHandle folder_;
};

}  // namespace vorn::capture

#pragma once

// The document of a capture: the lab's own format, with facts beside it that only a capture has.
// docs/capture.md describes them.

#include "lab/machine_document.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::lab {

/// Where a capture was made.
struct CaptureOrigin {
  std::uint32_t format = 0;
  bool raw = false;
  std::uint32_t windowsMajor = 0;
  std::uint32_t windowsMinor = 0;
  std::uint32_t windowsBuild = 0;
  std::uint32_t session = 0;
  bool remoteSession = false;
  bool elevated = false;
};

/// The driver's answer to one control code: a reply, or the error.
struct CapturedReply {
  std::uint32_t code = 0;
  std::optional<Bytes> reply = {};
  std::uint32_t error = 0;
};

/// What the capture says of a file beside what the lab's format says of it.
struct CapturedFile {
  bool directory = false;
  std::uint64_t size = 0;
  std::optional<std::size_t> content = {};  // its place among the contents
  std::uint32_t links = 1;
  std::uint32_t openError = 0;
};

struct CapturedPackage {
  std::u16string name = {};
  bool ours = false;
  std::u16string originalInf = {};
  std::u16string originalCatalog = {};
};

struct CapturedError {
  std::u16string fact = {};
  std::string call = {};
  std::uint32_t code = 0;
};

struct CaptureDocument {
  CaptureOrigin origin = {};
  MachineDocument document = {};                         // as the lab's own
  std::vector<std::vector<CapturedReply>> replies = {};  // of each device
  std::vector<std::vector<CapturedFile>> files = {};     // of each volume, beside its files
  std::vector<CapturedPackage> published = {};
  std::vector<CapturedError> errors = {};
};

/// Reads the document of a capture. Throws BadInput, with the path of the key, for anything wrong,
/// a newer format among it.
CaptureDocument ReadCaptureDocument(std::string_view text);

}  // namespace vorn::lab

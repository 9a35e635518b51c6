#include "platform/inf.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/native.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/dos_paths.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/inf_text.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/process.h"
#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace vorn::platform {

namespace simulated {

namespace {

/// An open INF. Observed: the file of an open INF is closed as soon as it has been read.
class OpenInf : public Object {
 public:
  explicit OpenInf(std::shared_ptr<const ParsedInf> text) : text_(std::move(text)) {}
  const ParsedInf& Text() const { return *text_; }

 private:
  std::shared_ptr<const ParsedInf> text_;
};

std::shared_ptr<OpenInf> FindInf(const void* inf) {
  return Process::Current().Find<OpenInf>(ObjectKind::Inf, reinterpret_cast<std::uintptr_t>(inf));
}

std::u16string_view FileName(std::u16string_view path) {
  const std::size_t separator = path.find_last_of(u"\\/");
  return separator == std::u16string_view::npos ? path : path.substr(separator + 1);
}

std::u16string InfFolder() {
  return Process::Current().TheMachine().files.windowsFolder + u"\\INF\\";
}

/// Documented: a bare name means a file of the Windows INF folder.
std::u16string FullInfPath(std::u16string_view path) {
  const bool nameOnly = path.find_first_of(u"\\/:") == std::u16string_view::npos;
  return nameOnly ? InfFolder() + std::u16string(path)
                  : FullPath(Process::Current().TheMachine().files, path);
}

/// The whole content of an open file; nothing when it is too large for an INF.
std::optional<Bytes> ReadAll(const Node& node) {
  constexpr std::uint64_t kTooLarge = std::uint64_t{64} << 20;
  if (FileSize(node) > kTooLarge) return std::nullopt;
  Bytes content = *node.content;
  content.resize(FileSize(node));
  return content;
}

/// Reads an INF on behalf of the process, sharing it with other readers only. `*error` says why it
/// cannot be read.
std::shared_ptr<const ParsedInf> ReadInf(std::u16string_view path, InfError& error) {
  const std::u16string name = ToNtPath(Process::Current().TheMachine().files, FullInfPath(path));
  OpenRequest request;
  request.name = name;
  request.access = FILE_GENERIC_READ;
  request.share = FILE_SHARE_READ;
  request.options = FILE_NON_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT;
  const OpenResult opened = OpenByName(Process::Current(), request);
  if (opened.status < 0) {
    error = {ToDosError(opened.status), 0};
    return nullptr;
  }
  const auto content = ReadAll(opened.file->Read());
  if (!content) {
    error = {ERROR_NOT_ENOUGH_MEMORY, 0};
    return nullptr;
  }
  const auto reading = ParseInfOnce(*content);
  if (const InfError* refused = std::get_if<InfError>(reading.get())) {
    error = *refused;
    return nullptr;
  }
  return {reading, &std::get<ParsedInf>(*reading)};
}

// ------------------------------------------------------------------------------------------------
// Ours: the information block, which on Windows is opaque and only these calls interpret, is the
// INF's path with its terminator, then the keys and values of [Version].

std::u16string InformationText(std::u16string_view path, const ParsedInf& inf) {
  std::u16string text(path);
  text += u'\0';
  const auto version = inf.FindSection(u"Version");
  for (ParsedInf::Line line = 0; version && line < inf.LineCount(*version); ++line) {
    for (std::uint32_t field = 0; field <= inf.FieldCount(*version, line); ++field) {
      text += inf.Field(*version, line, field).value_or(u"");
      text += u'\0';
    }
  }
  return text;
}

constexpr std::size_t kInformationHeader = offsetof(SP_INF_INFORMATION, VersionData);

/// Writes `size` bytes; a truncated block still terminates its text.
void FillInformation(std::u16string text, std::uint32_t size, SP_INF_INFORMATION* buffer) {
  if (size < sizeof *buffer) return;
  text.resize((size - kInformationHeader) / sizeof(char16_t));
  text.back() = u'\0';
  buffer->InfStyle = INF_STYLE_WIN4;
  buffer->InfCount = 1;
  std::memcpy(buffer->VersionData, text.data(), text.size() * sizeof(char16_t));
}

std::u16string PathOf(const SP_INF_INFORMATION& information) {
  std::u16string path;
  const std::uint8_t* data = information.VersionData;
  for (char16_t unit = 0;; path += unit, data += sizeof unit) {
    std::memcpy(&unit, data, sizeof unit);
    if (unit == 0) return path;
  }
}

struct OriginalNames {
  std::u16string inf;
  std::u16string catalog;
};

/// Documented: a published package remembers its original names; any other INF has its own name and
/// its own CatalogFile.
std::optional<OriginalNames> FindOriginalNames(const std::u16string& path, InfError& error) {
  const std::u16string folder = InfFolder();
  const bool inInfFolder =
      EqualsIgnoringCase(std::u16string_view(path).substr(0, folder.size()), folder);
  const Machine& machine = Process::Current().TheMachine();
  const PublishedPackage* package =
      inInfFolder ? machine.store.Find(std::u16string_view(path).substr(folder.size())) : nullptr;
  if (package != nullptr) return OriginalNames{package->originalInf, package->originalCatalog};
  const auto inf = ReadInf(path, error);
  if (!inf) return std::nullopt;
  return OriginalNames{std::u16string(FileName(path)),
                       inf->Value(u"Version", u"CatalogFile").value_or(u"")};
}

void CopyName(const std::u16string& name, char16_t (&target)[MAX_PATH]) {
  const std::size_t length = std::min<std::size_t>(name.size(), MAX_PATH - 1);
  std::copy_n(name.begin(), length, target);
  target[length] = u'\0';
}

/// Stores a line's position in a context.
bool GiveLine(HINF inf, ParsedInf::Section section, ParsedInf::Line line, INFCONTEXT* context) {
  *context = {inf, inf, section, line};
  return true;
}

/// Whether a context refers to a line of an open INF.
std::shared_ptr<OpenInf> FindLine(const INFCONTEXT* context) {
  if (context == nullptr) return nullptr;
  auto inf = FindInf(context->CurrentInf);
  if (!inf || context->Section >= inf->Text().SectionCount()) return nullptr;
  return context->Line < inf->Text().LineCount(context->Section) ? inf : nullptr;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

HINF SetupOpenInfFileW(const char16_t* path, std::uint32_t style, std::uint32_t* errorLine) {
  return SimulateCall<HINF>(
      "SetupOpenInfFileW", FailureStyle::LastError, INVALID_INF,
      Arguments("FileName", path, "InfStyle", Hex{style}, "ErrorLine", errorLine),
      [&](const CallFaults&) -> HINF {
        InfError error;
        // The model has no INFs of the style used before Windows 95.
        if (path == nullptr || (style & INF_STYLE_WIN4) == 0) {
          SetLastError(ERROR_INVALID_PARAMETER);
          return INVALID_INF;
        }
        auto inf = ReadInf(path, error);
        if (!inf) {
          if (errorLine != nullptr && error.line != 0) *errorLine = error.line;
          SetLastError(error.error);
          return INVALID_INF;
        }
        return reinterpret_cast<HINF>(
            Process::Current().Add(ObjectKind::Inf, std::make_shared<OpenInf>(std::move(inf))));
      });
}

void SetupCloseInfFile(HINF inf) {
  SimulateBool("SetupCloseInfFile", Arguments("InfHandle", inf), [&](const CallFaults&) {
    return Process::Current().Remove(ObjectKind::Inf, reinterpret_cast<std::uintptr_t>(inf)) ||
           FailWith(ERROR_INVALID_HANDLE);
  });
}

bool SetupFindFirstLineW(HINF inf, const char16_t* section, const char16_t* key,
                         INFCONTEXT* context) {
  return SimulateBool(
      "SetupFindFirstLineW", Arguments("InfHandle", inf, "Section", section, "Key", key),
      [&](const CallFaults&) {
        const auto open = FindInf(inf);
        if (!open) return FailWith(ERROR_INVALID_HANDLE);
        if (section == nullptr || context == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
        // Observed: SetupFindFirstLineW reports a missing section as a missing line.
        const ParsedInf& text = open->Text();
        const auto found = text.FindSection(section);
        if (!found) return FailWith(ERROR_LINE_NOT_FOUND);
        if (key != nullptr) {
          const auto line = text.FindLine(*found, key);
          return line ? GiveLine(inf, *found, *line, context) : FailWith(ERROR_LINE_NOT_FOUND);
        }
        return text.LineCount(*found) != 0 ? GiveLine(inf, *found, 0, context)
                                           : FailWith(ERROR_LINE_NOT_FOUND);
      });
}

bool SetupFindNextLine(const INFCONTEXT* context, INFCONTEXT* next) {
  return SimulateBool("SetupFindNextLine", Arguments("ContextIn", context, "ContextOut", next),
                      [&](const CallFaults&) {
                        const auto open = FindLine(context);
                        if (!open || next == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
                        const ParsedInf::Line line = context->Line + 1;
                        if (line >= open->Text().LineCount(context->Section)) {
                          return FailWith(ERROR_LINE_NOT_FOUND);
                        }
                        return GiveLine(reinterpret_cast<HINF>(context->Inf), context->Section,
                                        line, next);
                      });
}

bool SetupGetStringFieldW(const INFCONTEXT* context, std::uint32_t field, char16_t* buffer,
                          std::uint32_t size, std::uint32_t* required) {
  return SimulateBool("SetupGetStringFieldW",
                      Arguments("FieldIndex", field, "Buffer", buffer != nullptr, "Size", size),
                      [&](const CallFaults& faults) {
                        const auto open = FindLine(context);
                        if (!open) return FailWith(ERROR_INVALID_PARAMETER);
                        auto text = open->Text().Field(context->Section, context->Line, field);
                        // Observed: reading a missing field fails with the last error 0.
                        if (!text) return FailWith(ERROR_SUCCESS);
                        SpoilLength(*text, faults);
                        const auto needed = static_cast<std::uint32_t>(text->size() + 1);
                        if (required != nullptr) *required = needed;
                        if (buffer == nullptr) return true;
                        if (size < needed) return FailWith(ERROR_INSUFFICIENT_BUFFER);
                        std::copy_n(text->c_str(), needed, buffer);
                        return true;
                      });
}

bool SetupGetInfInformationW(const char16_t* path, std::uint32_t searchControl,
                             SP_INF_INFORMATION* buffer, std::uint32_t size,
                             std::uint32_t* required) {
  return SimulateBool("SetupGetInfInformationW",
                      Arguments("InfSpec", path, "SearchControl", searchControl, "Buffer",
                                buffer != nullptr, "Size", size),
                      [&](const CallFaults& faults) {
                        if (path == nullptr || searchControl != INFINFO_INF_NAME_IS_ABSOLUTE) {
                          return FailWith(ERROR_INVALID_PARAMETER);
                        }
                        InfError error;
                        const auto inf = ReadInf(path, error);
                        if (!inf) return FailWith(error.error);
                        const std::u16string text = InformationText(FullInfPath(path), *inf);
                        const std::size_t bytes =
                            kInformationHeader + text.size() * sizeof(char16_t);
                        const auto needed = static_cast<std::uint32_t>(faults.Cut(bytes));
                        if (required != nullptr) *required = needed;
                        // Observed: SetupGetInfInformationW succeeds when it is asked for the size
                        // only.
                        if (buffer == nullptr) return true;
                        if (size < needed) return FailWith(ERROR_INSUFFICIENT_BUFFER);
                        FillInformation(text, needed, buffer);
                        return true;
                      });
}

bool SetupQueryInfOriginalFileInformationW(const SP_INF_INFORMATION* information,
                                           std::uint32_t infIndex,
                                           SP_ORIGINAL_FILE_INFO_W* original) {
  return SimulateBool(
      "SetupQueryInfOriginalFileInformationW",
      Arguments("InfIndex", infIndex, "cbSize",
                original == nullptr ? std::uint32_t{0} : original->cbSize),
      [&](const CallFaults&) {
        if (information == nullptr || original == nullptr || infIndex >= information->InfCount) {
          return FailWith(ERROR_INVALID_PARAMETER);
        }
        if (original->cbSize != sizeof *original) return FailWith(ERROR_INVALID_USER_BUFFER);
        InfError error;
        const auto names = FindOriginalNames(PathOf(*information), error);
        if (!names) return FailWith(error.error);
        CopyName(names->inf, original->OriginalInfName);
        CopyName(names->catalog, original->OriginalCatalogName);
        return true;
      });
}

bool SetupUninstallOEMInfW(const char16_t* infFileName, std::uint32_t flags) {
  return SimulateBool("SetupUninstallOEMInfW",
                      Arguments("InfFileName", infFileName, "Flags", Hex{flags}),
                      [&](const CallFaults&) {
                        if (infFileName == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
                        const std::uint32_t error =
                            UninstallPackage(Process::Current().TheMachine(), infFileName, flags);
                        return error == ERROR_SUCCESS || FailWith(error);
                      });
}

}  // namespace vorn::platform

#include "journal/activation_storage.h"

#include "base/text.h"
#include "catalog/endpoint_sets.h"
#include "platform/files.h"
#include "platform/kept_last_error.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "platform/security.h"
#include "privileged_input/access_control.h"
#include "privileged_input/deletion.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"
#include "privileged_input/file_transfer.h"
#include "privileged_input/native_api.h"
#include "privileged_input/refusal.h"
#include "product/endpoint_identity.h"
#include "report/console.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn {

namespace {

using privileged_input::AbsolutePath;
using privileged_input::Directory;
using privileged_input::File;

/// Owner Administrators; a protected DACL that grants full access only to LocalSystem and
/// Administrators.
constexpr char16_t kJournalSddl[] = u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)";

constexpr std::size_t kMaxIdLength = 1024;

/// Stricter than the parser, which accepts "|" in an id: what we write must be unambiguous.
bool IsWritableEndpoint(const CatalogEndpoint& endpoint) {
  return IsSingleLine(endpoint.endpointId, kMaxIdLength) &&
         endpoint.endpointId.find(u'|') == std::u16string::npos;
}

bool IsWritableState(const ActivationState& state) {
  if (!IsValidTarget(state.target)) return false;
  if (state.fresh && !(state.catalog.empty() && state.present.empty())) return false;
  if (state.present.size() > kEndpointCount) return false;
  if (!state.fresh && !CheckCatalogEndpoints(state.catalog).ok) return false;
  return std::all_of(state.catalog.begin(), state.catalog.end(), IsWritableEndpoint) &&
         std::all_of(state.present.begin(), state.present.end(),
                     [](const std::u16string& id) { return IsSingleLine(id, kMaxIdLength); });
}

std::vector<std::uint8_t> ToBytes(std::u16string_view text) {
  std::vector<std::uint8_t> bytes(text.size() * 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<std::uint8_t>(text[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(text[i] >> 8);
  }
  return bytes;
}

std::u16string ToText(const std::vector<std::uint8_t>& bytes) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return text;
}

/// Deletes the new file and preserves the last error.
void Discard(const File& journal) {
  const platform::KeptLastError kept;
  privileged_input::MarkForDeletion(journal.Handle());
}

/// Creates the empty journal; leaves nothing on failure.
File CreateJournal(const std::optional<AbsolutePath>& path,
                   const platform::SECURITY_DESCRIPTOR* descriptor) {
  if (!path) return privileged_input::RefuseWith<File>(platform::ERROR_INVALID_NAME);
  const Directory folder =
      Directory::OpenAbsolute(path->Folder(), privileged_input::LoadNativeApi());
  File journal =
      File::Create(folder, path->Name(), descriptor, privileged_input::kMaxProtectedFileSize);
  if (journal && !privileged_input::HasProtectedOwnerAndDacl(journal.Handle())) {
    Discard(journal);
    return {};
  }
  return journal;
}

bool WriteContent(File& journal, const std::vector<std::uint8_t>& content) {
  return privileged_input::SeekToStart(journal.Handle()) &&
         privileged_input::WriteExactly(journal.Handle(), content.data(),
                                        static_cast<std::uint32_t>(content.size())) &&
         platform::SetEndOfFile(journal.Handle()) && platform::FlushFileBuffers(journal.Handle()) &&
         journal.CaptureIdentity();
}

}  // namespace

Journal::Journal(privileged_input::ProtectedFiles& files, std::optional<AbsolutePath> path)
    : files_(files), path_(std::move(path)) {}

JournalPresence Journal::Look() {
  if (files_.OpenProtectedFile(path_)) return JournalPresence::Present;
  return platform::GetLastError() == platform::ERROR_FILE_NOT_FOUND ? JournalPresence::Absent
                                                                    : JournalPresence::Unknown;
}

bool Journal::Write(const ActivationState& state) {
  const std::vector<std::uint8_t> content = ToBytes(SerializeActivationState(state));
  if (!IsWritableState(state) || content.size() > privileged_input::kMaxProtectedFileSize) {
    PrintError(u"vorn_devnode: refusing malformed activation state\n");
    return false;
  }
  platform::SecurityDescriptor descriptor;
  if (!platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
          kJournalSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr)) {
    return ReportFailedCall(u"activation-state security descriptor");
  }
  File journal = CreateJournal(path_, descriptor.Get());
  if (!journal) return ReportFailedCall(u"safe create(activation state)");
  if (!WriteContent(journal, content)) {
    Discard(journal);
    return ReportFailedCall(u"WriteFile(activation state)");
  }
  files_.Keep(*path_, journal);
  Print(u"vorn_devnode: persisted protected pre-bind activation state\n");
  return true;
}

std::optional<ActivationState> Journal::Read() {
  const File journal = files_.OpenProtectedFile(path_);
  if (!journal) {
    PrintError(u"vorn_devnode: activation state missing or unsafe\n");
    return std::nullopt;
  }
  if (journal.Size() == 0 || journal.Size() % sizeof(char16_t) != 0) return std::nullopt;
  std::vector<std::uint8_t> content(static_cast<std::size_t>(journal.Size()));
  if (!privileged_input::SeekToStart(journal.Handle()) ||
      !privileged_input::ReadExactly(journal.Handle(), content.data(), content.size())) {
    return std::nullopt;
  }
  const std::u16string text = ToText(content);
  if (text.find(u'\0') != std::u16string::npos) return std::nullopt;
  return ParseActivationState(text);
}

void Journal::Delete() {
  File journal = files_.OpenProtectedFile(path_);
  if (!journal) {
    if (platform::GetLastError() != platform::ERROR_FILE_NOT_FOUND) {
      ReportFailedCall(u"safe open for delete(activation state)");
    }
    return;
  }
  if (!privileged_input::MarkForDeletion(journal.Handle())) {
    ReportFailedCall(u"delete handle(activation state)");
  }
  files_.Forget(*path_);
  // The file disappears when its last handle closes, so close it before a new journal is created.
  journal.Close();
}

}  // namespace vorn

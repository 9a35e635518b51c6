#include "platform/console.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/process.h"
#include "platform/simulated/text_stream.h"

#include <optional>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr int kEndOfFile = -1;  // EOF

// Sharing modes of _wfsopen that the program does not ask for.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are those of the C runtime
constexpr int _SH_DENYRW = 0x10;
constexpr int _SH_DENYWR = 0x20;
constexpr int _SH_DENYRD = 0x30;
// NOLINTEND(bugprone-reserved-identifier)

// Values that no stream of _wfsopen can have: those come from the process's table, in steps of
// four.
constexpr std::uintptr_t kStandardOutput = 1;
constexpr std::uintptr_t kStandardError = 2;

std::uintptr_t NumberOf(WideStream* stream) {
  return reinterpret_cast<std::uintptr_t>(stream);
}

int WriteTo(WideStream* stream, const char16_t* text) {
  Process& process = Process::Current();
  const std::uintptr_t value = NumberOf(stream);
  if (value == kStandardOutput || value == kStandardError) {
    const bool error = value == kStandardError;
    if (!error && process.standardOutputClosed) return kEndOfFile;
    process.Print(error, text);
    return 0;
  }
  const auto file = process.Find<TextStream>(ObjectKind::Stream, value);
  return file != nullptr && file->Write(text) ? 0 : kEndOfFile;
}

int Flush(WideStream* stream) {
  const std::uintptr_t value = NumberOf(stream);
  Process& process = Process::Current();
  if (value == kStandardOutput || value == kStandardError) {
    process.FlushConsole(value == kStandardError);
    return 0;
  }
  const auto file = process.Find<TextStream>(ObjectKind::Stream, value);
  return file != nullptr && file->Flush() ? 0 : kEndOfFile;
}

const char* StreamName(WideStream* stream) {
  const std::uintptr_t value = NumberOf(stream);
  return value == kStandardOutput ? "stdout" : value == kStandardError ? "stderr" : "file";
}

std::u16string WithoutBlanks(std::u16string_view text) {
  std::u16string dense;
  for (const char16_t unit : text) {
    if (unit != u' ') dense += unit;
  }
  return dense;
}

/// The only mode the model supports is appending text in UTF-8. Documented (samples): a
/// blank may follow the comma of the mode.
bool IsUtf8Append(const char16_t* mode) {
  const std::u16string dense = WithoutBlanks(mode);
  return EqualsIgnoringCase(dense, u"a,ccs=UTF-8") || EqualsIgnoringCase(dense, u"at,ccs=UTF-8");
}

std::optional<std::uint32_t> ShareOf(int flag) {
  switch (flag) {
    case _SH_DENYRW:
      return 0;
    case _SH_DENYWR:
      return FILE_SHARE_READ;
    case _SH_DENYRD:
      return FILE_SHARE_WRITE;
    case _SH_DENYNO:
      return FILE_SHARE_READ | FILE_SHARE_WRITE;
    default:
      return std::nullopt;
  }
}

WideStream* OpenStream(const char16_t* path, const char16_t* mode, int shareFlag) {
  const std::optional<std::uint32_t> share = ShareOf(shareFlag);
  if (!share || !IsUtf8Append(mode)) return nullptr;
  std::shared_ptr<TextStream> stream = TextStream::Append(path, *share);
  if (stream == nullptr) return nullptr;
  return reinterpret_cast<WideStream*>(
      Process::Current().Add(ObjectKind::Stream, std::move(stream)));
}

int CloseStream(WideStream* stream) {
  Process& process = Process::Current();
  const auto file = process.Find<TextStream>(ObjectKind::Stream, NumberOf(stream));
  if (file == nullptr) return kEndOfFile;
  const bool written = file->Flush();
  process.Remove(ObjectKind::Stream, NumberOf(stream));
  return written ? 0 : kEndOfFile;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

WideStream* StandardOutput() {
  return reinterpret_cast<WideStream*>(kStandardOutput);
}

WideStream* StandardError() {
  return reinterpret_cast<WideStream*>(kStandardError);
}

int fputws(const char16_t* text, WideStream* stream) {
  return SimulateCall<int>("fputws", FailureStyle::LastError, kEndOfFile,
                           Arguments("stream", StreamName(stream), "text", text),
                           [&](const CallFaults&) { return WriteTo(stream, text); });
}

int fflush(WideStream* stream) {
  return SimulateCall<int>("fflush", FailureStyle::LastError, kEndOfFile,
                           Arguments("stream", StreamName(stream)),
                           [&](const CallFaults&) { return Flush(stream); });
}

WideStream* _wfsopen(const char16_t* path, const char16_t* mode, int shareFlag) {
  return SimulateCall<WideStream*>(
      "_wfsopen", FailureStyle::LastError, nullptr,
      Arguments("filename", path, "mode", mode, "shflag", shareFlag),
      [&](const CallFaults&) { return OpenStream(path, mode, shareFlag); });
}

int fclose(WideStream* stream) {
  return SimulateCall<int>("fclose", FailureStyle::LastError, kEndOfFile,
                           Arguments("stream", StreamName(stream)),
                           [&](const CallFaults&) { return CloseStream(stream); });
}

}  // namespace vorn::platform

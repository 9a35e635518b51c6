#include "platform/simulated/text_stream.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/dos_paths.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"

namespace vorn::platform::simulated {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf16BigEndianMark = "\xFE\xFF";

OpenResult OpenToAppend(std::u16string_view name, std::uint32_t access, std::uint32_t share) {
  OpenRequest request;
  request.name = name;
  request.access = access | SYNCHRONIZE | FILE_READ_ATTRIBUTES;
  request.attributes = FILE_ATTRIBUTE_NORMAL;
  request.share = share;
  request.disposition = FILE_OPEN_IF;
  request.options = FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE;
  return OpenByName(Process::Current(), request);
}

std::string_view FirstBytes(const FileObject& file, char (&bytes)[3]) {
  return {bytes, ReadContent(file.Read(), 0, bytes, sizeof bytes)};
}

std::string Encoded(std::u16string_view text, bool utf16) {
  if (!utf16) return ToUtf8(text);
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::u16string WithCarriageReturns(std::u16string_view text) {
  std::u16string lines;
  for (const char16_t unit : text) {
    if (unit == u'\n') lines += u'\r';
    lines += unit;
  }
  return lines;
}

}  // namespace

std::shared_ptr<TextStream> TextStream::Append(std::u16string_view path, std::uint32_t share) {
  const FileSystem& files = Process::Current().TheMachine().files;
  const std::u16string full = FullPath(files, path);
  const bool tooLong = !full.starts_with(u"\\\\?\\") && full.size() >= MAX_PATH;
  if (full.empty() || tooLong) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return nullptr;
  }
  const std::u16string name = ToNtPath(files, path);
  // Documented: a stream that appends tries to read an existing file's mark, and carries on without
  // it.
  OpenResult opened = OpenToAppend(name, GENERIC_READ | GENERIC_WRITE, share);
  if (opened.file == nullptr) opened = OpenToAppend(name, GENERIC_WRITE, share);
  if (opened.file == nullptr) {
    SetLastError(ToDosError(opened.status));
    return nullptr;
  }
  const std::shared_ptr<TextStream> stream(new TextStream(std::move(opened.file)));
  return stream->Prepare() ? stream : nullptr;
}

TextStream::~TextStream() {
  // A process that ends normally writes what its streams still buffer; a killed one does not.
  if (!Process::Current().killed) Flush();
}

bool TextStream::Prepare() {
  if (FileSize(file_->Read()) == 0) {
    return WriteBytes(kUtf8Mark);
  }
  if (!file_->MayAny(FILE_READ_DATA)) return true;
  char bytes[3] = {};
  const std::string_view start = FirstBytes(*file_, bytes);
  utf16_ = start.starts_with(kUtf16Mark);
  return !start.starts_with(kUtf16BigEndianMark);
}

bool TextStream::Write(std::u16string_view text) {
  const std::u16string due = buffer_.Add(text);
  return due.empty() || WriteText(due);
}

bool TextStream::Flush() {
  return WriteText(buffer_.Take());
}

bool TextStream::WriteText(std::u16string_view text) {
  const std::string bytes = Encoded(WithCarriageReturns(text), utf16_);
  return WriteBytes(bytes);
}

bool TextStream::WriteBytes(std::string_view bytes) {
  FileSystem& files = file_->Files();
  const std::uint64_t end = FileSize(file_->Read());
  // cppcheck-suppress invalidLifetime ; the text lives until the call returns
  if (!WriteContent(files, file_->Id(), end, bytes.data(), bytes.size())) {
    SetLastError(ERROR_DISK_FULL);
    return false;
  }
  if (!bytes.empty()) {
    file_->Write().times.lastWrite = FileTimeNow(Process::Current().TheMachine());
    file_->written = true;
  }
  return true;
}

}  // namespace vorn::platform::simulated

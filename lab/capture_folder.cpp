#include "lab/capture_folder.h"

#include "lab/bad_input.h"
#include "lab/host_folder.h"

namespace vorn::lab {

namespace fs = std::filesystem;

namespace {

constexpr char kDocument[] = "machine.json";
constexpr char kContents[] = "files";

constexpr std::uintmax_t kMostDocument = std::uintmax_t{64} << 20;
constexpr std::uintmax_t kMostContents = std::uintmax_t{128} << 20;  // of all files
constexpr std::size_t kMostFiles = 20000;

/// Whether there is a plain file of at most `most` bytes, which are taken off `most`.
bool TakeSize(const fs::path& path, std::uintmax_t& most) {
  if (!fs::is_regular_file(fs::symlink_status(path))) return false;
  const std::uintmax_t size = fs::file_size(path);
  if (size > most) throw BadInput(path.string(), "is too large for a capture");
  most -= size;
  return true;
}

Bytes WholeFile(const fs::path& path) {
  const StoredItem file = ReadStoredFile(path);
  Bytes bytes = *file.content;
  bytes.resize(bytes.size() + static_cast<std::size_t>(file.zeroTail));
  return bytes;
}

}  // namespace

CaptureFiles ReadCaptureFolder(const fs::path& folder) {
  CaptureFiles capture;
  std::uintmax_t room = kMostDocument;
  if (!TakeSize(folder / kDocument, room)) {
    throw BadInput(folder.string(), "is no capture: it has no machine.json");
  }
  const Bytes document = WholeFile(folder / kDocument);
  capture.document.assign(document.begin(), document.end());
  const fs::path contents = folder / kContents;
  if (!fs::is_directory(fs::symlink_status(contents))) return capture;
  room = kMostContents;
  while (capture.contents.size() < kMostFiles &&
         TakeSize(contents / std::to_string(capture.contents.size()), room)) {
    capture.contents.push_back(WholeFile(contents / std::to_string(capture.contents.size())));
  }
  return capture;
}

void WriteCaptureFolder(const fs::path& folder, const CaptureFiles& capture) {
  if (fs::exists(fs::symlink_status(folder))) throw BadInput(folder.string(), "already exists");
  fs::create_directories(folder / kContents);
  const auto put = [](const fs::path& path, Bytes bytes) {
    StoredItem item;
    item.content = std::make_shared<const Bytes>(std::move(bytes));
    WriteStoredFile(path, item);
  };
  for (std::size_t i = 0; i < capture.contents.size(); ++i)
    put(folder / kContents / std::to_string(i), capture.contents[i]);
  put(folder / kDocument, Bytes(capture.document.begin(), capture.document.end()));
}

}  // namespace vorn::lab

#pragma once

// What the questions share: answers, and the ways to look at files and packages.

#include "platform/files.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::contract {

class OwnDevice;

/// What the caller gave to ask with.
struct Given {
  std::u16string inf;     // a DOS path; of a file of Windows' own when nothing was given
  bool isSigned = false;  // the package may be bound for a while
};

/// Prints and records one answer: of what, what was seen, and what a reader may want to know.
void Answer(const char* question, const std::string& subject, const std::string& value,
            const std::string& detail = {});

/// Eight hexadecimal digits, as the laws name codes.
std::string Code(std::uint32_t code);

/// Opens for reading beside everybody; closes itself.
class Reader {
 public:
  explicit Reader(const std::u16string& path, std::uint32_t access = platform::GENERIC_READ);
  Reader(const std::u16string& path, std::uint32_t access, std::uint32_t share);
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  Reader(Reader&& other) noexcept : handle_(other.handle_) {
    other.handle_ = platform::INVALID_HANDLE_VALUE;
  }
  ~Reader() {
    if (IsOpen()) platform::CloseHandle(handle_);
  }
  bool IsOpen() const { return handle_ != platform::INVALID_HANDLE_VALUE; }
  platform::HANDLE Handle() const { return handle_; }

 private:
  platform::HANDLE handle_;
};

std::u16string WindowsInfFolder();

/// The volume GUID path of what is there, or the empty text.
std::u16string VolumeGuidPath(const std::u16string& path);

/// The published INFs (oem<n>.inf) of the Windows INF folder.
std::vector<std::u16string> ListPublished();

/// The names that a published INF had in its package.
struct Original {
  std::uint32_t error = 0;  // not 0: they are not known
  std::u16string inf;
  std::u16string catalog;
};
Original OriginalNamesOf(const std::u16string& path);

/// The number of names of a file; 0 when it cannot be read.
std::uint32_t LinksOf(const std::u16string& path);

/// What a query-removal leaves of a device, and whether it can then be removed.
void SayQueryRemove(const char* question, OwnDevice& device);

// The questions; the names are those of the answers.
void AskVolumeGuidPath(const Given& given);
void AskOriginalNames(const Given& given);
void AskHardLinks(const Given& given);
void AskBindPaths(const Given& given);
void AskSuiteAlternatives(const Given& given);
void AskQueryRemove(const Given& given);
void AskSignedPackage(const Given& given);
void AskDisabledEndpoints(const Given& given);
void AskEndpointRecords(const Given& given);
void AskStoppedAudioServices(const Given& given);
void AskKilledOutput(const Given& given);

}  // namespace vorn::contract

#pragma once

// OtherProcess: what a process beside the program does to the files of a machine. Each act opens
// what it touches by name, as any process must: links on the way are followed, access lists and
// read-only attributes are obeyed, and so are the share modes of whoever has it open. So the
// program's handles and access lists are what protects its files here, as they are on Windows.

#include "platform/simulated/file_open.h"
#include "platform/simulated/machine.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

class OtherProcess {
 public:
  /// A process with that token; its privileges stay unused. The machine must outlive it.
  OtherProcess(Machine& machine, Token token);

  // Each act returns 0, or the Win32 error with which Windows refuses it. What a refused act had
  // already done stays: of a tree, the first files may be gone.

  /// Deletes a file, a link, or a folder with everything in it. A name that others hold open with
  /// delete sharing goes when they close it.
  std::uint32_t Delete(std::u16string_view path);

  /// Makes a folder and the missing ones above it.
  std::uint32_t MakeFolder(std::u16string_view path);

  /// Replaces the content of a file, in place, or creates the file with the folders above it.
  std::uint32_t Write(std::u16string_view path, std::string_view content);

  /// Appends zeros to a file.
  std::uint32_t Grow(std::u16string_view path, std::uint64_t count);

  std::uint32_t Copy(std::u16string_view from, std::u16string_view to);

  /// Renames a file or a folder, which nobody may have open below; a file in the way is replaced.
  std::uint32_t Move(std::u16string_view from, std::u16string_view to);

  /// Gives a file a second name.
  std::uint32_t Link(std::u16string_view existing, std::u16string_view name);

  /// Puts a link at a path, in place of what is there.
  std::uint32_t PutLink(std::u16string_view path, ReparseKind kind, std::u16string_view target,
                        bool directory);

  /// Opens a file, sharing everything, and keeps it open.
  std::uint32_t Hold(std::u16string_view path, std::uint32_t access);

  /// Sets the read-only attribute.
  std::uint32_t MakeReadOnly(std::u16string_view path);

  /// Replaces the access list, and the owner if the record names one.
  std::uint32_t Secure(std::u16string_view path, const SecurityRecord& record);

 private:
  struct Goal;

  /// Opens with sharing of everything. `*error` is 0 exactly when there is a file.
  std::shared_ptr<FileObject> Open(std::u16string_view path, std::uint32_t access,
                                   std::uint32_t disposition, std::uint32_t options,
                                   std::uint32_t* error);
  std::uint32_t DeleteOne(std::u16string_view path);
  std::uint32_t MakeOne(std::u16string_view path, bool directory,
                        std::shared_ptr<FileObject>* made);
  std::uint32_t Fill(FileObject& file, std::string_view content);
  Goal FindGoal(std::u16string_view path, bool directory);

  Machine& machine_;
  FileSystem& files_;
  Token token_;
};

/// Replaces a descriptor; an owner or a group that the new one does not name stays.
void ReplaceSecurity(SecurityRecord& own, const SecurityRecord& record);

}  // namespace vorn::platform::simulated

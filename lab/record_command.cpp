#include "lab/record_command.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "rehearsal/recording.h"

#include <system_error>

namespace vorn::lab {

namespace {

rehearsal::Recording RecordingOf(const std::vector<std::string>& arguments, const ProgramRun& run) {
  rehearsal::Recording recording;
  for (const std::string& argument : arguments)  // as the program got them
    recording.arguments.push_back(ToUtf8(ToUtf16(argument)));
  recording.milliseconds = run.milliseconds;
  if (!run.killed) recording.status = run.result.status;
  for (const ConsolePiece& piece : run.result.console)
    recording.pieces.push_back({piece.milliseconds, piece.error, piece.text});
  return recording;
}

}  // namespace

RecordingFile::RecordingFile(const std::filesystem::path& path)
    : path_(path), file_(path, std::ios::binary | std::ios::trunc) {
  if (!file_) throw BadInput(path.string(), "cannot be written");
}

void RecordingFile::Write(const std::vector<std::string>& arguments, const ProgramRun& run) {
  file_ << rehearsal::ToText(RecordingOf(arguments, run)) << std::flush;
  if (!file_) {
    throw std::system_error(std::make_error_code(std::errc::io_error), path_.string());
  }
}

}  // namespace vorn::lab

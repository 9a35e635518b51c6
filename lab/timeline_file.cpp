#include "lab/timeline_file.h"

#include "lab/bad_input.h"
#include "lab/timeline_page.h"
#include "lab/timeline_svg.h"

#include <system_error>

namespace vorn::lab {

TimelineFile::TimelineFile(const std::filesystem::path& path)
    : path_(path), file_(path, std::ios::binary | std::ios::trunc) {
  if (!file_) throw BadInput(path.string(), "cannot be written");
}

void TimelineFile::Write(std::span<const RunHistory> runs) {
  file_ << (path_.extension() == ".svg" ? TimelineSvg(runs) : TimelinePage(runs)) << std::flush;
  if (!file_) {
    throw std::system_error(std::make_error_code(std::errc::io_error), path_.string());
  }
}

}  // namespace vorn::lab

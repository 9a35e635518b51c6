#pragma once

// The script of a rehearsal: recordings in order, and the calls that an installer has made so far.
// Each call plays the first recording of its own kind that has not been played. The log of the
// calls is the only memory from one process to the next: without it a script starts anew.

#include "rehearsal/recording.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::rehearsal {

/// A recording of the script.
struct Scene {
  std::string file;  // its name without the folder, UTF-8
  Recording recording;
};

/// There is no such script. What it says is one line.
class BadScript : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads a script. `list` names files and folders, separated by ";"; a folder stands for its files
/// that end in ".recording", in the order of their names. Throws BadScript when one cannot be read
/// or there is none.
std::vector<Scene> ReadScript(const std::filesystem::path& list);

/// What a call asks for, whatever its paths are: "install", "install --rollback", "remove", ... The
/// command word is compared as the program does, without regard to case. Without arguments it is
/// empty.
std::string KindOf(const std::vector<std::string>& arguments);

/// The line of a call in the log: the file that is played, or "-", the status, and the arguments,
/// separated by tabs. Ends with a line feed.
std::string LogLine(std::string_view file, std::int32_t status,
                    const std::vector<std::string>& arguments);

/// The scene that a call plays after those of the log; null when none of its kind is left.
const Scene* NextScene(const std::vector<Scene>& script, std::string_view log,
                       const std::vector<std::string>& arguments);

}  // namespace vorn::rehearsal

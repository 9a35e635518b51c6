#pragma once

// A machine of the lab in a folder of its own, staged by steps as the table of decisions has them.
//
// A step is a list. Its first word is a command of the lab, and the folder of the machine follows
// it by itself: ["new", "--preset", "clean"]. A run can end with the status that it must have. Two
// steps are no commands: ["delete", PATH] deletes a file of the machine, and ["set", PLACE, VALUE]
// changes machine.json. A place is the keys from the top, joined by "/"; in a list, a key names the
// element that has this text as one of its values.

#include "lab/command_line.h"
#include "lab/json.h"
#include "platform/simulated/machine.h"
#include "tests/lab/temporary_folder.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

/// What an installer's author cares about.
struct MachinePicture {
  std::string runs;                        // version of the image in memory, empty without one
  std::size_t endpoints = 0;               // that the user sees
  std::set<std::string> endpointIds;       // of all that the device has, hidden or not
  std::optional<std::string> journalText;  // its bytes
  std::string journal;                     // version that it names, "none" or "unreadable"
  std::vector<platform::simulated::Device> roots;
  std::vector<std::u16string> packages;  // published ones of the product
  std::uint64_t tick = 0;
};

class StagedMachine {
 public:
  /// Stages a machine of the table. The first of each name is made by its steps, later ones are
  /// copies.
  explicit StagedMachine(const std::string& name);

  /// Takes a step; a run that ends with another status than the step says fails the test.
  lab::LabResult Take(const lab::Json& step);
  void TakeAll(const lab::Json& steps);

  /// Deletes a file of the machine as an administrator. Returns 0 or the error that Windows gives;
  /// a file that others have open can keep its name.
  std::uint32_t Delete(const std::string& path);

  /// Runs the program, as `vorn_lab run` does.
  lab::LabResult Run(const std::vector<std::string>& words);

  platform::simulated::Machine Load() const;
  MachinePicture Look() const;

 private:
  StagedMachine() = default;

  lab::LabResult Lab(const std::string& command, const std::vector<std::string>& words);
  void Set(const std::string& place, const lab::Json& value);
  std::string Folder() const { return temporary_.Name("m"); }

  lab::TemporaryFolder temporary_;
};

}  // namespace vorn::tests

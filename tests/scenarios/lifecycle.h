#pragma once

// A machine over several runs, with what is on it after each.

#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/run_command.h"

#include <ostream>
#include <string>
#include <vector>

namespace vorn::tests {

/// What an operator finds after a run.
struct Picture {
  std::string journal;       // target version of the journal, "none" or "unreadable"
  std::string bound;         // DriverVer that the platform reports, empty without a device
  std::string runs;          // version of the image in memory, empty when there is none
  std::size_t visible = 0;   // endpoints that the user sees
  std::string pending = {};  // package that the next restart selects

  friend bool operator==(const Picture&, const Picture&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Picture& picture);
};

/// The machine as it is now, with the journal at kSampleJournal.
Picture PictureOf(const platform::simulated::Machine& machine);

/// A machine in the hands of an operator. Each step is a process of its own.
class Lifecycle {
 public:
  explicit Lifecycle(platform::simulated::Machine machine);

  /// Runs a command, which must leave no file, handle or snapshot behind.
  RunResult Run(const std::vector<std::u16string>& arguments, const RunOptions& options = {});

  /// As above for install, with the journal at kSampleJournal.
  RunResult Install(const std::u16string& inf, const RunOptions& options = {});
  RunResult Rollback(const std::u16string& inf, const RunOptions& options = {});
  RunResult Verify(const std::u16string& version, const std::u16string& date);

  /// Restarts the machine and waits a minute.
  void Restart();

  /// Deletes the journal by hand.
  void DeleteJournal();

  platform::simulated::Machine& TheMachine() { return machine_; }
  Picture Now() const { return PictureOf(machine_); }

 private:
  platform::simulated::Machine machine_;
};

// Packages of three versions in folders of their own.
inline constexpr char16_t kFirstInf[] = u"C:\\v1\\driver\\vorn_audio.inf";
inline constexpr char16_t kSecondInf[] = u"C:\\v2\\driver\\vorn_audio.inf";
inline constexpr char16_t kThirdInf[] = u"C:\\v3\\driver\\vorn_audio.inf";
inline constexpr char kFirst[] = "26.8.10.1";
inline constexpr char kSecond[] = "26.8.11.2";
inline constexpr char kThird[] = "26.8.12.3";

/// A machine with the three packages and without the device; `shapeSecond` and `shapeThird` change
/// the images of the second and third package.
platform::simulated::Machine MachineWithPackages(
    const std::function<void(platform::simulated::DriverImage&)>& shapeSecond = nullptr,
    const std::function<void(platform::simulated::DriverImage&)>& shapeThird = nullptr);

/// The engine's final line for one of the versions.
ConsoleLine ProvenVersion(const std::string& version, const std::string& publishedInf,
                          std::size_t active = 20);

}  // namespace vorn::tests

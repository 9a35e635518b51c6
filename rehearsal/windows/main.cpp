// vorn_rehearsal.exe takes the place of vorn_devnode.exe in the test of an installer: it touches
// nothing of the system and plays recorded runs of the program. docs/rehearsal.md describes it.

#include "base/text.h"
#include "platform/console.h"
#include "platform/startup.h"
#include "rehearsal/number_text.h"
#include "rehearsal/playing.h"
#include "rehearsal/script.h"
#include "rehearsal/windows/call_log.h"

#include <windows.h>

namespace vorn::rehearsal {
namespace {

/// No run of vorn_devnode ends with it: the call was not in the script, or there is no script.
constexpr std::int32_t kNotRehearsed = 64;

constexpr DWORD kLongestPath = 32768;  // characters, the terminator included

void PrintLine(bool error, const std::string& text) {
  platform::WideStream* const stream =
      error ? platform::StandardError() : platform::StandardOutput();
  // As the program does: a line that cannot be written changes nothing, and each is out at once.
  platform::fputws(ToUtf16(text).c_str(), stream);
  platform::fflush(stream);
}

std::filesystem::path ProgramFolder() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), kLongestPath));
  return std::filesystem::path(path).parent_path();
}

/// The value of an environment variable; empty when it is not set.
std::wstring Setting(const wchar_t* name) {
  std::wstring value(kLongestPath, L'\0');
  value.resize(::GetEnvironmentVariableW(name, value.data(), kLongestPath));
  return value;
}

std::filesystem::path SettingOr(const wchar_t* name, const std::filesystem::path& otherwise) {
  const std::wstring value = Setting(name);
  return value.empty() ? otherwise : std::filesystem::path(value);
}

std::uint32_t Speed() {
  const std::wstring value = Setting(L"VORN_REHEARSAL_SPEED");
  if (value.empty()) return 1;
  const auto speed = ParseNumber<std::uint32_t>(ToUtf8(std::u16string(value.begin(), value.end())));
  if (!speed) throw BadScript("VORN_REHEARSAL_SPEED must be a whole number");
  return *speed;
}

std::int32_t Rehearse(const std::vector<std::string>& arguments) {
  CallLog log(SettingOr(L"VORN_REHEARSAL_LOG", ProgramFolder() / L"vorn_rehearsal.log"));
  Recording recording;
  try {
    const std::uint32_t speed = Speed();
    const std::vector<Scene> script =
        ReadScript(SettingOr(L"VORN_REHEARSAL", ProgramFolder() / L"recordings"));
    const Scene* const scene = NextScene(script, log.Text(), arguments);
    if (scene == nullptr) throw BadScript("no recording is left of \"" + KindOf(arguments) + "\"");
    log.Append(LogLine(scene->file, scene->recording.status.value_or(kKilledStatus), arguments));
    log.Close();
    const auto wait = [](std::uint64_t milliseconds) { ::Sleep(static_cast<DWORD>(milliseconds)); };
    return Play(scene->recording, speed, {PrintLine, wait});
  } catch (const BadScript&) {
    log.Append(LogLine("-", kNotRehearsed, arguments));
    throw;
  }
}

}  // namespace
}  // namespace vorn::rehearsal

int wmain(int argc, wchar_t** argv) {
  using namespace vorn;
  platform::LimitLibrarySearchToSystem();
  platform::PrepareStandardStreams();
  try {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i)
      arguments.push_back(ToUtf8(reinterpret_cast<const char16_t*>(argv[i])));
    return rehearsal::Rehearse(arguments);
  } catch (const std::exception& failed) {
    rehearsal::PrintLine(true, "vorn_rehearsal: " + std::string(failed.what()) + "\n");
    return rehearsal::kNotRehearsed;
  }
}

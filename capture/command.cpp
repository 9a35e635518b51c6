#include "capture/command.h"

#include "base/text.h"
#include "capture/capture.h"
#include "capture/capture_writer.h"
#include "platform/last_error.h"
#include "report/console.h"

#include <optional>

namespace vorn::capture {

namespace {

constexpr std::u16string_view kUsage[] = {
    u"Usage:\n",
    u"  vorn_capture.exe <new-folder> [--inf <path>]... [--state <path>]... [--raw]\n",
    u"\n",
    u"Reads the state of this machine that vorn_devnode depends on,\n",
    u"and writes it to the new folder. It changes nothing else on the machine\n",
    u"and opens everything for reading.\n",
    u"\n",
    u"  <new-folder>    an absolute path on a local disk that does not exist yet\n",
    u"  --inf <path>    an INF that a command would be given: its folder, journal and log\n",
    u"  --state <path>  a journal in another place than the usual\n",
    u"  --raw           keeps the names of users and accounts, which are replaced otherwise\n",
};

struct CommandLine {
  std::u16string folder;
  CaptureRequest request;
};

bool IsOption(std::u16string_view word) {
  return word.starts_with(u"--");
}

/// Nothing when the words are no command line.
std::optional<CommandLine> Parse(const std::vector<std::u16string>& words) {
  if (words.size() < 2 || IsOption(words[1])) return std::nullopt;
  CommandLine line = {words[1], {}};
  for (std::size_t i = 2; i < words.size(); ++i) {
    if (words[i] == u"--raw") {
      line.request.raw = true;
      continue;
    }
    const bool inf = words[i] == u"--inf";
    if ((!inf && words[i] != u"--state") || i + 1 == words.size()) return std::nullopt;
    (inf ? line.request.infs : line.request.journals).push_back(words[++i]);
  }
  return line;
}

void Say(std::u16string_view text) {
  Print(u"vorn_capture: %ls\n", text);
}

}  // namespace

std::int32_t RunCommand(const std::vector<std::u16string>& arguments) {
  const std::optional<CommandLine> line = Parse(arguments);
  if (!line) {
    for (const std::u16string_view text : kUsage)
      PrintText(ConsoleStream::Output, text);
    return kExitUsage;
  }
  // A folder that cannot be made is told before the machine is read.
  std::optional<CaptureWriter> writer = CaptureWriter::Create(line->folder);
  if (!writer) {
    PrintError(u"vorn_capture: %ls cannot be created (error 0x%08lX)\n", line->folder,
               platform::GetLastError());
    return kExitNotWritten;
  }
  const Capture capture = TakeCapture(line->request);
  if (!writer->Write(capture)) {
    PrintError(u"vorn_capture: %ls is incomplete (error 0x%08lX)\n", line->folder,
               platform::GetLastError());
    return kExitNotWritten;
  }
  for (const ReadError& error : capture.errors) {
    PrintError(u"vorn_capture: not read: %ls, %ls (error 0x%08lX)\n", error.fact,
               ToUtf16(error.call), error.code);
  }
  Print(u"vorn_capture: %zu device(s) of ours, %zu file(s), %zu fact(s) that could not be read\n",
        capture.devices, capture.contents.size(), capture.errors.size());
  Say(u"written to " + line->folder);
  return kExitCaptured;
}

}  // namespace vorn::capture

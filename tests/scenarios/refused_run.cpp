#include "tests/scenarios/refused_run.h"

#include "tests/support/machine_view.h"

#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::CountOwnOpens;
using platform::simulated::Machine;

namespace {

// Compared as a whole but not printed, because a failure would print the whole machine.
void ExpectUnchanged(const Machine& before, const Machine& after) {
  EXPECT_TRUE(after.files == before.files) << "a file or folder changed";
  EXPECT_TRUE(after.registry == before.registry) << "the registry changed";
  EXPECT_TRUE(after.devices == before.devices) << "a device changed";
  EXPECT_TRUE(after.store == before.store) << "the driver store changed";
  EXPECT_TRUE(after.audio == before.audio) << "the audio catalog changed";
  EXPECT_TRUE(after.services == before.services) << "a service changed";
  EXPECT_TRUE(after.clock == before.clock) << "time passed, or something was planned";
}

}  // namespace

void ExpectRefused(const Machine& machine, const Arguments& arguments, ExitStatus status,
                   const Console& console, const RunOptions& options) {
  Machine after = machine;
  const RunResult run = RunCommand(after, arguments, options);
  ExpectRun(run, status, console);
  ExpectUnchanged(machine, after);
  EXPECT_EQ(CountOwnOpens(after.files), 0U);
  EXPECT_TRUE(SnapshotFolders(after).empty());
}

std::vector<BadPath> BadFormsOf(std::u16string_view path) {
  const std::u16string good(path);
  const std::size_t last = good.rfind(u'\\');
  const std::u16string folder = good.substr(0, last);
  const std::u16string name = good.substr(last + 1);
  std::u16string forward = good;
  for (char16_t& unit : forward)
    unit = unit == u'\\' ? u'/' : unit;
  const std::u16string tail = good.substr(3);
  // One unit longer than the longest allowed path, with names of valid length.
  std::u16string long_path = u"C:";
  while (long_path.size() + 201 <= 32761 - 2)
    long_path += u"\\" + std::u16string(200, u'a');
  long_path += u"\\" + std::u16string(32761 - long_path.size() - 1, u'a');
  return {
      {"empty", u""},
      {"a bare name", name},
      {"relative", tail},
      {"relative to the folder above", u"..\\" + name},
      {"relative to a drive's folder", u"C:" + tail},
      {"rooted without a drive", u"\\" + tail},
      {"forward slashes", forward},
      {"one forward slash", folder + u"/" + name},
      {"no letter for a drive", u"1:\\" + tail},
      {"a letter beyond ASCII", u"\u00c4:\\" + tail},
      {"a network share", u"\\\\server\\share\\" + name},
      {"an extended path", u"\\\\?\\" + good},
      {"a device path", u"\\\\.\\" + good},
      {"a native path", u"\\??\\" + good},
      {"a volume path", u"\\\\?\\Volume{5a17c0de-0000-4000-8000-000000000003}\\" + tail},
      {"a trailing backslash", good + u"\\"},
      {"an empty component", folder + u"\\\\" + name},
      {"a step on the spot", folder + u"\\.\\" + name},
      {"a step upwards", folder + u"\\..\\" + name},
      {"a stream", good + u":stream"},
      {"the default stream", good + u"::$DATA"},
      {"a stream of the folder", folder + u":$I30:$INDEX_ALLOCATION\\" + name},
      {"a trailing dot", good + u"."},
      {"a trailing blank", good + u" "},
      {"a folder with a trailing dot", folder + u".\\" + name},
      {"a folder with a trailing blank", folder + u" \\" + name},
      {"a reserved name", folder + u"\\aux.inf"},
      {"a reserved name with two endings", folder + u"\\Nul.inf.old"},
      {"a reserved name with a digit", folder + u"\\com0.inf"},
      {"a reserved name with a superscript digit", folder + u"\\lpt\u00b9.inf"},
      {"a reserved folder", u"C:\\CONIN$\\" + name},
      {"a clock", u"C:\\clock$\\" + name},
      {"a wildcard", folder + u"\\*.inf"},
      {"a question mark", folder + u"\\vorn_audio.in?"},
      {"a quotation mark", folder + u"\\\"" + name + u"\""},
      {"a bar", folder + u"\\a|" + name},
      {"a control character", folder + u"\\a\u0001" + name},
      {"a delete character", folder + u"\\a\u007f" + name},
      {"a component of 256 units", u"C:\\" + std::u16string(256, u'a') + u"\\" + name},
      {"32761 units", long_path},
  };
}

}  // namespace vorn::tests

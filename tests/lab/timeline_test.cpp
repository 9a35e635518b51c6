// The command timeline: what its page and its picture say.

#include "base/text.h"
#include "lab/command_line.h"
#include "lab/timeline_page.h"
#include "tests/lab/temporary_folder.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>
#include <regex>

namespace vorn::lab {
namespace {

using Words = std::vector<std::string>;

const std::string kPackageInf = ToUtf8(tests::kSampleInf);

class Timeline : public testing::Test {
 protected:
  std::string Machine(const std::string& name, const std::string& preset) {
    RunLab({"new", temporary_.Name(name), "--preset", preset});
    return temporary_.Name(name);
  }

  /// The page that the command writes with these words after the machine and the file.
  std::string Page(const std::string& machine, const Words& words) {
    result_ = Draw(machine, "page.html", words);
    return ReadHostFile(temporary_ / "page.html");
  }

  LabResult Draw(const std::string& machine, const std::string& file, const Words& words) {
    Words all = {"timeline", machine, temporary_.Name(file)};
    all.insert(all.end(), words.begin(), words.end());
    return RunLab(all);
  }

  TemporaryFolder temporary_;
  LabResult result_;
};

bool Has(const std::string& page, const std::string& text) {
  return page.find(text) != page.npos;
}

TEST_F(Timeline, PrintsAndEndsAsTheRunDoes) {
  Page(Machine("m", "installed"),
       {"--fault", "CM_Query_And_Remove_SubTreeW#1-:fail=23", "remove", kPackageInf});
  const LabResult run = RunLab({"run", Machine("other", "installed"), "--fault",
                                "CM_Query_And_Remove_SubTreeW#1-:fail=23", "remove", kPackageInf});
  EXPECT_EQ(result_.status, 17);
  EXPECT_EQ(result_.Output(), run.Output());
  EXPECT_EQ(result_.ErrorOutput(), run.ErrorOutput());
  EXPECT_EQ(RunLab({"show", temporary_.Name("m")}).Output(),
            RunLab({"show", temporary_.Name("other")}).Output());
}

TEST_F(Timeline, TellsHowTheRunEnded) {
  const std::string page =
      Page(Machine("m", "installed"),
           {"--fault", "CM_Query_And_Remove_SubTreeW#1-:fail=23", "remove", kPackageInf});
  EXPECT_TRUE(Has(page, "The run ended with <strong>exit status 17</strong>. It took 10 s"));
  EXPECT_TRUE(Has(page, "Its longest phase was <em>Ask for the device</em> with 10 s."));
}

TEST_F(Timeline, HasEveryConsoleLineWithItsTime) {
  const std::string page = Page(Machine("m", "clean"), {"install", kPackageInf});
  EXPECT_TRUE(Has(page,
                  "<td class=\"number\">0 s</td><td>output</td><td class=\"line\">"
                  "vorn_devnode: Root\\VornAudio installed</td>"));
  EXPECT_TRUE(Has(page,
                  "<td class=\"number\">2.5 s</td><td>output</td><td class=\"line\">"
                  "vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, "));
}

TEST_F(Timeline, TellsWhatBecameOfTheMachine) {
  const std::string page = Page(Machine("m", "clean"), {"install", kPackageInf});
  for (const char* const change :
       {"<td>Bind the package</td><td>oem3.inf is new: version 26.8.10.5</td>",
        "<td>Prove</td><td>20 endpoints: active, were none</td>",
        "<td>Write the journal</td><td>C:\\pkg\\.vorn-driver-activation-state is new: "
        "names 26.8.10.5 (fresh)</td>"}) {
    EXPECT_TRUE(Has(page, change)) << change;
  }
}

TEST_F(Timeline, OfARunThatChangesNothingSaysSo) {
  EXPECT_TRUE(Has(Page(Machine("m", "installed"), {"audit-catalog"}),
                  "The run changed nothing that a user could notice."));
}

TEST_F(Timeline, TellsThatSomethingEndedTheProcess) {
  const std::string page =
      Page(Machine("m", "clean"), {"--fault", "NtCreateFile:kill", "install", kPackageInf});
  EXPECT_TRUE(Has(page, "<strong>Something ended the process</strong>"));
  EXPECT_TRUE(Has(page, ">fault NtCreateFile:kill</text>"));
}

TEST_F(Timeline, PutsTwoRunsBesideEachOtherAndTellsWhereTheyPart) {
  const std::string good = Machine("good", "clean");
  const std::string page =
      Page(Machine("bad", "clean"), {"--fault", "UpdateDriverForPlugAndPlayDevicesW:fail",
                                     "--against", good, "install", kPackageInf});
  EXPECT_EQ(result_.status, 8);
  EXPECT_TRUE(Has(page, "On the machine bad:"));
  EXPECT_TRUE(Has(page, "On the machine good:"));
  EXPECT_TRUE(Has(page,
                  "They part at console line 2. The left run prints <code>vorn_devnode: "
                  "UpdateDriverForPlugAndPlayDevices failed (error 0x0000001F)</code>; the "
                  "right run prints <code>vorn_devnode: Root\\VornAudio installed</code>."));
  EXPECT_TRUE(Has(RunLab({"show", good}).Output(), "bound to oem3.inf"));
}

TEST_F(Timeline, MakesTheOtherRunGoWrongOnRequest) {
  const std::string other = Machine("other", "clean");
  const std::string page = Page(
      Machine("m", "clean"), {"--against", other, "--against-fault",
                              "UpdateDriverForPlugAndPlayDevicesW:fail", "install", kPackageInf});
  EXPECT_EQ(result_.status, 0);
  EXPECT_TRUE(Has(page, "<strong>exit status 8</strong>"));
}

TEST_F(Timeline, TellsOfAFaultInVainOnEitherMachine) {
  const std::string other = Machine("other", "clean");
  Page(Machine("m", "clean"),
       {"--strict", "--against", other, "--against-fault", "NtDeleteKey:fail", "audit-catalog"});
  EXPECT_EQ(result_.status, kExitFaultInVain);
  EXPECT_TRUE(Has(result_.ErrorOutput(), "NtDeleteKey:fail: was never reached"));
}

TEST_F(Timeline, KeepsWhatTheRunLeftOfBothMachines) {
  const std::string first = Machine("m", "clean");
  const std::string second = Machine("other", "clean");
  Page(first, {"--against", second, "install", kPackageInf});
  for (const std::string& machine : {first, second})
    EXPECT_TRUE(Has(ReadHostFile(machine + "/machine.json"), "oem3.inf")) << machine;
}

TEST_F(Timeline, DoesNotSetAMachineAgainstItself) {
  const std::string machine = Machine("m", "clean");
  for (const std::string& same : {machine, machine + "/../m"}) {
    const LabResult refused = Draw(machine, "page.html", {"--against", same, "audit-catalog"});
    EXPECT_EQ(refused.status, kExitBadInput);
    EXPECT_EQ(refused.ErrorOutput(), "vorn_lab: --against: must be another machine\n");
  }
}

TEST_F(Timeline, RunsNothingWhenItsFileCannotBeWritten) {
  const std::string machine = Machine("m", "clean");
  const std::string before = ReadHostFile(machine + "/machine.json");
  const LabResult refused = Draw(machine, "none/page.html", {"install", kPackageInf});
  EXPECT_EQ(refused.status, kExitBadInput);
  EXPECT_EQ(refused.ErrorOutput(),
            "vorn_lab: " + temporary_.Name("none/page.html") + ": cannot be written\n");
  EXPECT_EQ(ReadHostFile(machine + "/machine.json"), before);
}

TEST_F(Timeline, NeedsNoOtherFile) {
  const std::string page = Page(Machine("m", "clean"), {"install", kPackageInf});
  const std::regex reference("(src|href|url|@import)[ =(]");
  EXPECT_FALSE(std::regex_search(page, reference));
  EXPECT_FALSE(Has(page, "<script"));
}

TEST_F(Timeline, IsThePictureAloneInAFileOfThatKind) {
  const std::string machine = Machine("m", "clean");
  Draw(machine, "run.svg", {"install", kPackageInf});
  const std::string picture = ReadHostFile(temporary_ / "run.svg");
  EXPECT_TRUE(picture.starts_with("<svg xmlns=\"http://www.w3.org/2000/svg\""));
  EXPECT_TRUE(picture.ends_with("</svg>\n"));
  EXPECT_LT(picture.size(), 100'000U);
}

TEST_F(Timeline, IsAPageInAFileOfAnyOtherKind) {
  const std::string machine = Machine("m", "clean");
  Draw(machine, "notsvg", {"audit-catalog"});
  EXPECT_TRUE(ReadHostFile(temporary_ / "notsvg").starts_with("<!DOCTYPE html>"));
}

TEST_F(Timeline, HasATitleAndADescriptionForReadersWhoDoNotSeeIt) {
  const std::string machine = Machine("m", "clean");
  Draw(machine, "run.svg", {"install", kPackageInf});
  const std::string picture = ReadHostFile(temporary_ / "run.svg");
  EXPECT_TRUE(Has(picture, "<title id=\"timeline-title\">vorn_devnode install " + kPackageInf));
  EXPECT_TRUE(std::regex_search(
      picture, std::regex("<desc id=\"timeline-about\">[^<]*: exit status 0 after 2.5 s of "
                          "machine time, [0-9,]+ platform calls.</desc>")));
  EXPECT_TRUE(Has(picture, "<title>capture 9: active, from 1.9 s</title>"));
}

TEST_F(Timeline, TakesNoArgumentForMarkup) {
  const std::string page = Page(Machine("m", "clean"), {"--", "<b>\"&", "x y"});
  EXPECT_TRUE(Has(page, "<h1><code>vorn_devnode &lt;b&gt;&quot;&amp; &quot;x y&quot;</code></h1>"));
  EXPECT_FALSE(Has(page, "<b>"));
}

TEST(TimelineChanges, TellEndpointsTogether) {
  MachineGlance before;
  MachineGlance after;
  for (std::size_t cable = 0; cable < kCableCount; ++cable)
    after.endpoints[0][cable] = EndpointGlance::Active;
  after.endpoints[1][3] = EndpointGlance::Unplugged;
  after.endpoints[1][4] = EndpointGlance::Disabled;
  after.endpoints[1][5] = EndpointGlance::Disabled;
  EXPECT_EQ(ChangesBetween(before, after),
            (Words{"10 endpoints: active, were none", "capture 3: unplugged, was none",
                   "2 endpoints (capture 4, capture 5): disabled, were none"}));
}

TEST(TimelineChanges, TellWhatIsNewGoneAndDifferent) {
  MachineGlance before;
  before.devices = {{"ROOT\\MEDIA\\0000", "started", "oem3.inf", "", "26.8.10.5"},
                    {"ROOT\\MEDIA\\0001", "absent", "", "", ""}};
  before.packages = {{"oem3.inf", "26.8.10.5"}};
  MachineGlance after;
  after.devices = {{"ROOT\\MEDIA\\0000", "stopped", "oem3.inf", "oem4.inf", ""}};
  after.packages = {{"oem3.inf", "26.8.10.5"}, {"oem4.inf", "26.9.1.1"}};
  EXPECT_EQ(ChangesBetween(before, after),
            (Words{"ROOT\\MEDIA\\0001 is gone",
                   "ROOT\\MEDIA\\0000: stopped, package oem3.inf, after the restart oem4.inf, no "
                   "driver in memory",
                   "oem4.inf is new: version 26.9.1.1"}));
}

}  // namespace
}  // namespace vorn::lab

// What the picture of a run draws, and where: runs that are made up, and the shapes of their SVG.

#include "lab/call_families.h"
#include "lab/run_painter.h"
#include "lab/svg_canvas.h"
#include "lab/timeline_page.h"
#include "lab/timeline_svg.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>

namespace vorn::lab {
namespace {

using Words = std::vector<std::string>;

constexpr char kDash[] = "\xE2\x80\x93";  // in the row of a phase that a run does not have

/// A run of three phases: a call in "Start", nine in "Work" which end with a wait of a second, and
/// two in "End".
RunHistory MadeUpRun() {
  RunHistory run;
  run.arguments = {"install", "C:\\x.inf"};
  run.status = 0;
  run.milliseconds = 1000;
  for (int call = 0; call < 12; ++call) {
    run.callNames.emplace_back(call == 9 ? "Sleep" : "GetAce");
    run.callEnds.push_back(call < 9 ? 0 : 1000);
  }
  run.phases = {{"Start", 0, 1, 0, 0}, {"Work", 1, 9, 0, 1000}, {"End", 10, 2, 1000, 1000}};
  run.moments = {{{0, 0}, {}}};
  return run;
}

/// A run in which the machine changes at 250, 500, 750 ms: it is what these are, in turn.
RunHistory RunThrough(const std::vector<MachineGlance>& glances) {
  RunHistory run = MadeUpRun();
  run.moments.clear();
  for (std::size_t i = 0; i < glances.size(); ++i)
    run.moments.push_back({{i == 0 ? std::size_t{0} : std::size_t{9}, 250 * i}, glances[i]});
  return run;
}

std::string PictureOf(const RunHistory& run) {
  return TimelineSvg({&run, 1});
}

struct Box {
  std::string style;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  std::string title;

  int Bottom() const { return y + height; }
};

/// The rectangles whose title has that text.
std::vector<Box> BoxesAbout(const std::string& picture, const std::string& text) {
  static const std::regex shape(
      "<rect class=\"([^\"]*)\" x=\"(\\d+)\" y=\"(\\d+)\" width=\"(\\d+)\" height=\"(\\d+)\">"
      "<title>([^<]*)</title>");
  std::vector<Box> boxes;
  for (std::sregex_iterator each(picture.begin(), picture.end(), shape), end; each != end; ++each) {
    const std::smatch& found = *each;
    if (found[6].str().find(text) == std::string::npos) continue;
    boxes.push_back({found[1], std::stoi(found[2]), std::stoi(found[3]), std::stoi(found[4]),
                     std::stoi(found[5]), found[6]});
  }
  return boxes;
}

Words StylesOf(const std::vector<Box>& boxes) {
  Words styles;
  for (const Box& box : boxes)
    styles.push_back(box.style);
  return styles;
}

struct Label {
  std::string style;
  int x = 0;
  int y = 0;
  std::string text;
};

std::vector<Label> Labels(const std::string& picture) {
  static const std::regex shape(
      "<text class=\"([^\"]*)\" x=\"(\\d+)\" y=\"(\\d+)\">([^<]*)</text>");
  std::vector<Label> labels;
  for (std::sregex_iterator each(picture.begin(), picture.end(), shape), end; each != end; ++each) {
    const std::smatch& found = *each;
    labels.push_back({found[1], std::stoi(found[2]), std::stoi(found[3]), found[4]});
  }
  return labels;
}

/// The labels with that text.
std::vector<Label> LabelsOf(const std::string& picture, const std::string& text) {
  std::vector<Label> labels = Labels(picture);
  std::erase_if(labels, [&](const Label& label) { return label.text != text; });
  return labels;
}

bool Holds(const std::string& page, const std::string& text) {
  return page.find(text) != page.npos;
}

// ------------------------------------------------------------------------------------------------
// The machine.

MachineGlance WithDevice(const DeviceGlance& device) {
  MachineGlance glance;
  glance.devices = {device};
  return glance;
}

TEST(DrawnDevice, HasTheColourOfItsState) {
  const std::string picture =
      PictureOf(RunThrough({WithDevice({"R", "started", "oem3.inf", "", "26.8.10.5"}),
                            WithDevice({"R", "stopped", "oem3.inf", "", ""}),
                            WithDevice({"R", "disabled", "oem3.inf", "", ""}),
                            WithDevice({"R", "problem 10", "", "", ""})}));
  const std::vector<Box> boxes = BoxesAbout(picture, "R: ");
  EXPECT_EQ(StylesOf(boxes), (Words{"started", "stopped", "disabled", "problem"}));
  EXPECT_EQ(boxes.back().title, "R: problem 10, no package, from 750 ms");
}

TEST(DrawnDevice, IsNotThereBeforeItCameAndAfterItWent) {
  const std::vector<Box> boxes = BoxesAbout(
      PictureOf(RunThrough({{}, WithDevice({"R", "absent", "oem3.inf", "", ""}), {}})), "R: ");
  EXPECT_EQ(StylesOf(boxes), Words{"absent"});
}

TEST(DrawnDevice, SaysWhatRunsAndWhatWaitsForARestart) {
  const std::string picture =
      PictureOf(RunThrough({WithDevice({"R", "started", "oem3.inf", "oem4.inf", "26.8.10.5"})}));
  EXPECT_EQ(BoxesAbout(picture, "R: ")[0].title,
            "R: started, oem3.inf, runs 26.8.10.5, then oem4.inf, from 0 s");
  for (const char* const text : {"started", "oem3.inf", "runs 26.8.10.5", "then oem4.inf"})
    EXPECT_TRUE(Holds(picture, ">" + std::string(text) + "</text>")) << text;
}

TEST(DrawnDevice, StandsFromTheChangeThatBringsItToTheNext) {
  const std::string picture = PictureOf(RunThrough(
      {WithDevice({"R", "started", "", "", ""}), WithDevice({"R", "stopped", "", "", ""})}));
  const std::vector<Box> boxes = BoxesAbout(picture, "R: ");
  ASSERT_EQ(boxes.size(), 2U);
  EXPECT_EQ(boxes[0].Bottom() + 1, boxes[1].y);
  // From the top of the first row, where its title stands, down to the end of the last.
  EXPECT_EQ(boxes[0].y, LabelsOf(picture, "Start")[0].y - 16);
  EXPECT_EQ(boxes[1].Bottom() + 1, LabelsOf(picture, "exit status 0")[0].y - 19);
}

TEST(DrawnEndpoint, HasTheColourOfItsState) {
  std::vector<MachineGlance> glances(4);
  glances[0].endpoints[1][9] = EndpointGlance::Active;
  glances[1].endpoints[1][9] = EndpointGlance::Unplugged;
  glances[2].endpoints[1][9] = EndpointGlance::Disabled;
  glances[3].endpoints[1][9] = EndpointGlance::NotPresent;
  const std::vector<Box> boxes = BoxesAbout(PictureOf(RunThrough(glances)), "capture 9: ");
  EXPECT_EQ(StylesOf(boxes), (Words{"active", "unplugged", "off", "notpresent"}));
  EXPECT_EQ(boxes[1].title, "capture 9: unplugged, from 250 ms");
}

TEST(DrawnEndpoint, IsNotDrawnWhereThereIsNone) {
  EXPECT_TRUE(BoxesAbout(PictureOf(MadeUpRun()), "capture").empty());
}

TEST(DrawnPackage, IsNamedWithTheVersionThatItHasAtAnyTime) {
  std::vector<MachineGlance> glances(2);
  glances[0].packages = {{"oem3.inf", ""}, {"oem4.inf", ""}};
  glances[1].packages = {{"oem3.inf", "26.8.10.5"}, {"oem4.inf", ""}};
  const std::string picture = PictureOf(RunThrough(glances));
  EXPECT_EQ(StylesOf(BoxesAbout(picture, "oem3.inf 26.8.10.5 is published, from 0 s")),
            Words{"package"});
  EXPECT_EQ(BoxesAbout(picture, "oem4.inf is published, from 0 s").size(), 1U);
}

TEST(DrawnJournal, IsMarkedWhereItCannotBeRead) {
  std::vector<MachineGlance> glances(4);
  glances[1].journals = {{"J", "empty"}};
  glances[2].journals = {{"J", "names 26.8.10.5"}};
  glances[3].journals = {{"J", "unreadable"}};
  EXPECT_EQ(StylesOf(BoxesAbout(PictureOf(RunThrough(glances)), "J ")),
            (Words{"journal", "journal", "spoilt"}));
}

// ------------------------------------------------------------------------------------------------
// Calls and time.

/// The class of the mark for so many calls of one family at one time.
std::string MarkFor(int calls) {
  RunHistory run = MadeUpRun();
  run.callNames.assign(static_cast<std::size_t>(calls), "GetAce");
  run.callEnds.assign(static_cast<std::size_t>(calls), 0);
  run.callNames.emplace_back("Sleep");
  run.callEnds.push_back(1000);
  run.phases = {{"Work", 0, run.callNames.size(), 0, 1000}};
  const std::string picture = PictureOf(run);
  std::smatch found;
  const std::regex mark("<path class=\"(c\\d)\" d=\"[^\"]*\"><title>Security: (\\d+) calls");
  EXPECT_TRUE(std::regex_search(picture, found, mark));
  EXPECT_EQ(found[2], std::to_string(calls));
  return found[1];
}

TEST(DrawnCalls, AreDarkerTheMoreThereAre) {
  EXPECT_EQ(MarkFor(3), "c1");
  EXPECT_EQ(MarkFor(4), "c2");
  EXPECT_EQ(MarkFor(15), "c2");
  EXPECT_EQ(MarkFor(16), "c3");
  EXPECT_EQ(MarkFor(63), "c3");
  EXPECT_EQ(MarkFor(64), "c4");
}

TEST(DrawnCalls, HaveAColumnForEachFamilyThatWasCalled) {
  const std::string picture = PictureOf(MadeUpRun());
  for (const CallFamily& family : CallFamilies()) {
    const bool called = family.title == "Security" || family.title == "Clock";
    EXPECT_EQ(Holds(picture, "rotate(-90)\">" + std::string(family.title) + "</text>"), called)
        << family.title;
  }
}

TEST(DrawnTime, TellsWaitsFromCallsThatTakeTime) {
  RunHistory run = MadeUpRun();
  run.callEnds[8] = 250;  // the call before the wait
  const std::string picture = PictureOf(run);
  EXPECT_EQ(StylesOf(BoxesAbout(picture, "waits 750 ms, from 250 ms")), Words{"wait"});
  EXPECT_EQ(StylesOf(BoxesAbout(picture, "GetAce takes 250 ms, from 0 s")), Words{"busy"});
}

TEST(DrawnTime, HasNoMarkForCallsThatTakeNone) {
  const std::string picture = PictureOf(MadeUpRun());
  EXPECT_EQ(BoxesAbout(picture, ", from 0 s").size(), 1U);
}

TEST(DrawnTime, EndsWithTheCallThatEndedTheProcess) {
  RunHistory run = MadeUpRun();
  run.status.reset();
  run.milliseconds = 61'000;
  run.phases.back().ends = 61'000;
  const std::string picture = PictureOf(run);
  EXPECT_EQ(StylesOf(BoxesAbout(picture, "the call that ended the process takes 60 s, from 1 s")),
            Words{"busy"});
  EXPECT_EQ(LabelsOf(picture, "the process was ended")[0].style, "end errtext");
}

TEST(DrawnTime, IsToldOnceWherePhasesBeginAtOneTime) {
  const std::string picture = PictureOf(MadeUpRun());
  EXPECT_EQ(LabelsOf(picture, "0 s").size(), 1U);
  EXPECT_EQ(LabelsOf(picture, "1 s").size(), 2U);  // where "End" begins, and at the end of the run
}

TEST(DrawnEnd, IsRedUnlessTheRunSucceeded) {
  RunHistory run = MadeUpRun();
  EXPECT_EQ(LabelsOf(PictureOf(run), "exit status 0")[0].style, "end");
  run.status = 11;
  EXPECT_EQ(LabelsOf(PictureOf(run), "exit status 11")[0].style, "end errtext");
}

TEST(DrawnPhase, SaysHowManyCallsItMade) {
  const std::string picture = PictureOf(MadeUpRun());
  EXPECT_EQ(LabelsOf(picture, "1 call").size(), 1U);
  EXPECT_EQ(LabelsOf(picture, "1 s, 9 calls").size(), 1U);
  EXPECT_EQ(LabelsOf(picture, "2 calls").size(), 1U);
}

// ------------------------------------------------------------------------------------------------
// Lines.

void AddLine(RunHistory& run, HistoryLine::Kind kind, const std::string& text,
             std::size_t call = 11) {
  run.lines.push_back({kind, {call, run.callEnds[call]}, text});
}

TEST(DrawnLine, HasTheMarkOfItsStream) {
  RunHistory run = MadeUpRun();
  AddLine(run, HistoryLine::Kind::Output, "vorn_devnode: RESULT=OK");
  AddLine(run, HistoryLine::Kind::Error, "vorn_devnode: a failure");
  AddLine(run, HistoryLine::Kind::Error, "vorn_devnode: RESULT=NOT_STARTED");
  AddLine(run, HistoryLine::Kind::Fault, "Sleep:fail");
  const std::string picture = PictureOf(run);
  std::string marks;
  const std::regex mark("<path class=\"(out|err|bad|fault)\" d=\"[^\"]*\"><title>([^<]*)</title>");
  for (std::sregex_iterator each(picture.begin(), picture.end(), mark), end; each != end; ++each)
    marks += (*each)[1].str() + " " + (*each)[2].str() + "; ";
  EXPECT_EQ(marks,
            "out standard output at 1 s; err standard error at 1 s; bad standard error at 1 s; "
            "fault a fault at 1 s; ");
  EXPECT_EQ(LabelsOf(picture, "RESULT=OK")[0].style, "mono");
  EXPECT_EQ(LabelsOf(picture, "a failure")[0].style, "mono");
  EXPECT_EQ(LabelsOf(picture, "RESULT=NOT_STARTED")[0].style, "mono errtext");
  EXPECT_EQ(LabelsOf(picture, "fault Sleep:fail")[0].style, "mono faulttext");
}

TEST(DrawnLine, IsLedToItsMarkWhenItsTextStandsElsewhere) {
  RunHistory run = MadeUpRun();
  run.lines = {{HistoryLine::Kind::Output, {9, 500}, "one"}};
  EXPECT_FALSE(Holds(PictureOf(run), "class=\"lead\""));
  for (const char* const text : {"two", "three", "four"})
    run.lines.push_back({HistoryLine::Kind::Output, {9, 500}, text});
  EXPECT_TRUE(Holds(PictureOf(run), "class=\"lead\""));
}

// ------------------------------------------------------------------------------------------------
// The whole picture.

TEST(DrawnPicture, HoldsAllThatItSaysTheColoursMean) {
  const std::string picture = PictureOf(MadeUpRun());
  std::smatch size;
  ASSERT_TRUE(std::regex_search(picture, size, std::regex("viewBox=\"0 0 (\\d+) (\\d+)\"")));
  const std::vector<Label> last = LabelsOf(picture, "fault of the lab");
  ASSERT_EQ(last.size(), 1U);
  constexpr int kWidthOfThat = 90;
  EXPECT_LE(last[0].x + kWidthOfThat, std::stoi(size[1]));
  EXPECT_LE(last[0].y, std::stoi(size[2]));
  EXPECT_GT(last[0].y, LabelsOf(picture, "calls: darker is more")[0].y);
}

TEST(DrawnPicture, TakesNoNameForMarkup) {
  RunHistory run = RunThrough({WithDevice({"A<b>&\"", "started", "", "", ""})});
  const std::string picture = PictureOf(run);
  EXPECT_FALSE(Holds(picture, "<b>"));
  EXPECT_TRUE(Holds(picture, "aria-label=\"Device A&lt;b&gt;&amp;&quot;\""));
  EXPECT_TRUE(Holds(picture, "<title>A&lt;b&gt;&amp;&quot;: started"));
}

TEST(DrawnPicture, QuotesArgumentsThatAreEmptyOrHaveBlanks) {
  RunHistory run = MadeUpRun();
  run.arguments = {"install", "", "a b", "c"};
  EXPECT_EQ(CommandLineText(run), "vorn_devnode install \"\" \"a b\" c");
}

std::vector<RunHistory> TwoRuns() {
  std::vector<RunHistory> runs = {MadeUpRun(), MadeUpRun()};
  runs[0].machine = "left";
  runs[1].machine = "right";
  runs[1].phases[2].title = "Another end";
  return runs;
}

TEST(DrawnPicture, PutsASecondRunBesideTheFirst) {
  const std::string picture = TimelineSvg(TwoRuns());
  const std::vector<Label> heads = LabelsOf(picture, "phase");
  ASSERT_EQ(heads.size(), 2U);
  EXPECT_EQ(heads[0].y, heads[1].y);
  // The lines between the rows go from the left of a run to its right.
  std::vector<std::pair<int, int>> lines;
  const std::regex line(
      "<line class=\"grid\" x1=\"(\\d+)\" y1=\"(\\d+)\" x2=\"(\\d+)\" y2=\"(\\d+)\"/>");
  for (std::sregex_iterator each(picture.begin(), picture.end(), line), end; each != end; ++each) {
    EXPECT_EQ((*each)[2], (*each)[4]);
    const std::pair ends(std::stoi((*each)[1]), std::stoi((*each)[3]));
    if (ends.second - ends.first > 100 && (lines.empty() || lines.back() != ends))
      lines.push_back(ends);
  }
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1].first, lines[0].second + 2 * kGap);
  EXPECT_EQ(lines[1].second - lines[1].first, lines[0].second - lines[0].first);
}

TEST(DrawnPicture, MarksTheRowsThatARunDoesNotHave) {
  const std::string picture = TimelineSvg(TwoRuns());
  const std::vector<Label> dashes = LabelsOf(picture, kDash);
  ASSERT_EQ(dashes.size(), 2U);
  EXPECT_EQ(dashes[0].x, LabelsOf(picture, "End")[0].x);
  EXPECT_EQ(dashes[0].y - 6, LabelsOf(picture, "Another end")[0].y);
  EXPECT_EQ(dashes[1].x, LabelsOf(picture, "Another end")[0].x);
}

TEST(SvgCanvas, DrawsNoRectangleWithoutHeight) {
  SvgCanvas canvas;
  canvas.Rect("a", 1, 2, 3, 0);
  EXPECT_EQ(canvas.Markup(), "");
}

// ------------------------------------------------------------------------------------------------
// The tables of the page.

std::string PageOf(const RunHistory& run) {
  return TimelinePage({&run, 1});
}

TEST(TimelineTables, MarkOnlyALineThatIsABadResult) {
  RunHistory run = MadeUpRun();
  AddLine(run, HistoryLine::Kind::Error, "a failure");
  AddLine(run, HistoryLine::Kind::Error, "RESULT=NOT_STARTED");
  AddLine(run, HistoryLine::Kind::Output, "RESULT=OK");
  const std::string page = PageOf(run);
  EXPECT_TRUE(Holds(page, "<tr><td class=\"number\">1 s</td><td>output</td>"));
  EXPECT_TRUE(Holds(page, "<tr><td class=\"number\">1 s</td><td>error</td><td class=\"line\">a f"));
  EXPECT_TRUE(Holds(page,
                    "<tr class=\"error\"><td class=\"number\">1 s</td><td>error</td>"
                    "<td class=\"line\">RESULT=NOT_STARTED"));
}

TEST(TimelineTables, NameNoLongestPhaseOfARunThatTookNoTime) {
  RunHistory run = MadeUpRun();
  EXPECT_TRUE(Holds(PageOf(run), "Its longest phase was <em>Work</em> with 1 s."));
  run.phases[1].ends = 0;
  run.phases[2].begins = run.phases[2].ends = 0;
  EXPECT_FALSE(Holds(PageOf(run), "Its longest phase"));
}

TEST(TimelineTables, TellAChangeWithThePhaseInWhichItBecame) {
  RunHistory run = MadeUpRun();
  MachineGlance with;
  with.packages = {{"oem3.inf", "1"}};
  run.moments = {{{0, 0}, {}}, {{10, 1000}, with}};
  EXPECT_TRUE(Holds(
      PageOf(run), "<td class=\"number\">1 s</td><td>End</td><td>oem3.inf is new: version 1</td>"));
}

TEST(TimelineTables, TellChangesOfOneTimeAndPhaseTogether) {
  RunHistory run = MadeUpRun();
  std::vector<MachineGlance> steps(4);
  for (std::size_t step = 1; step < steps.size(); ++step) {
    steps[step] = steps[step - 1];
    steps[step].endpoints[0][step] = EndpointGlance::Active;
  }
  run.moments = {{{0, 0}, steps[0]}, {{3, 0}, steps[1]}, {{5, 0}, steps[2]}, {{9, 500}, steps[3]}};
  const std::string page = PageOf(run);
  EXPECT_TRUE(Holds(page,
                    "<td class=\"number\">0 s</td><td>Work</td><td>2 endpoints (render 1, "
                    "render 2): active, were none</td>"));
  EXPECT_TRUE(Holds(page, "<td class=\"number\">500 ms</td><td>Work</td><td>render 3: active"));
}

TEST(TimelineTables, NameTheMachinesOfTwoRunsOnly) {
  EXPECT_FALSE(Holds(PageOf(MadeUpRun()), "On the machine"));
  EXPECT_TRUE(Holds(TimelinePage(TwoRuns()), "<section><p>On the machine right:</p>"));
}

TEST(TimelineTables, SayThatTwoRunsPrintTheSameWhateverWentWrong) {
  std::vector<RunHistory> runs = TwoRuns();
  for (RunHistory& run : runs)
    AddLine(run, HistoryLine::Kind::Output, "a line");
  runs[1].lines.insert(runs[1].lines.begin(), {HistoryLine::Kind::Fault, {0, 0}, "Sleep:fail"});
  EXPECT_TRUE(Holds(TimelinePage(runs), "<p>Both runs print the same lines.</p>"));
  AddLine(runs[0], HistoryLine::Kind::Output, "more");
  EXPECT_TRUE(Holds(TimelinePage(runs),
                    "They part at console line 2. The left run prints <code>more</code>; the right "
                    "run prints nothing more."));
}

TEST(TimelineTables, NameUpToFourEndpoints) {
  MachineGlance before;
  MachineGlance four;
  for (std::size_t cable = 0; cable < 4; ++cable)
    four.endpoints[0][cable] = EndpointGlance::Active;
  EXPECT_EQ(ChangesBetween(before, four),
            Words{"4 endpoints (render 0, render 1, render 2, render 3): active, were none"});
  MachineGlance five = four;
  five.endpoints[1][4] = EndpointGlance::Active;
  EXPECT_EQ(ChangesBetween(before, five), Words{"5 endpoints: active, were none"});
}

TEST(TimelineTables, LeaveOutWhatStaysTheSame) {
  const MachineGlance glance = WithDevice({"R", "started", "oem3.inf", "", "1"});
  EXPECT_EQ(ChangesBetween(glance, glance), Words());
}

}  // namespace
}  // namespace vorn::lab

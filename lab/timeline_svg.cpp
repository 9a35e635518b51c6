#include "lab/timeline_svg.h"

#include "lab/call_families.h"
#include "lab/markup.h"
#include "lab/run_painter.h"
#include "lab/svg_canvas.h"
#include "lab/timeline_layout.h"
#include "lab/timeline_style.h"

#include <algorithm>
#include <set>

namespace vorn::lab {

namespace {

constexpr int kMargin = 14;  // in pixels
constexpr std::size_t kCharactersAlone = 74;
constexpr std::size_t kCharactersBeside = 48;

std::vector<std::size_t> FamiliesUsed(std::span<const RunHistory> runs) {
  std::set<std::size_t> used;
  for (const RunHistory& run : runs)
    for (const std::string& name : run.callNames)
      used.insert(FamilyOf(name));
  return {used.begin(), used.end()};
}

struct LegendEntry {
  std::string_view style;
  std::string_view about;
};

constexpr LegendEntry kLegend[] = {
    {"c2", "calls: darker is more"},
    {"wait", "the program waits"},
    {"busy", "a call takes time"},
    {"started", "started, active"},
    {"stopped", "stopped; unplugged"},
    {"disabled", "disabled"},
    {"problem", "problem"},
    {"absent", "absent; not present"},
    {"package", "published package"},
    {"journal", "journal"},
    {"out", "standard output"},
    {"err", "standard error"},
    {"bad", "its result"},
    {"fault", "fault of the lab"},
};

/// Draws what the colours mean, and returns where that ends.
int PaintLegend(SvgCanvas& canvas, int y, int right) {
  int x = kMargin;
  for (const LegendEntry& entry : kLegend) {
    const int width = 22 + static_cast<int>(static_cast<double>(entry.about.size()) * 5.6) + 12;
    if (x + width > right) {
      x = kMargin;
      y += 18;
    }
    canvas.Rect(entry.style, x, y, 12, 10);
    canvas.Text("soft small", x + 17, y + 9, entry.about);
    x += width;
  }
  return y + 18;
}

std::string SummaryOf(const RunHistory& run) {
  return EndText(run) + " after " + TimeText(run.milliseconds) + " of machine time, " +
         CountText(run.callNames.size()) + " platform calls";
}

/// The command line and the end of a run above its columns; returns where that ends.
int PaintTitle(SvgCanvas& canvas, const RunHistory& run, int x, int y, std::size_t characters) {
  if (!run.machine.empty()) {
    canvas.Text("soft", x, y, "machine " + run.machine);
    y += 18;
  }
  for (const std::string& line : WrappedText(CommandLineText(run), characters)) {
    canvas.Text("command", x, y, line);
    y += 17;
  }
  canvas.Text("soft", x, y, SummaryOf(run));
  return y + 18;
}

int LinesOfTitle(const RunHistory& run, std::size_t characters) {
  return static_cast<int>(WrappedText(CommandLineText(run), characters).size());
}

}  // namespace

std::string CommandLineText(const RunHistory& run) {
  std::string text = "vorn_devnode";
  for (const std::string& argument : run.arguments) {
    const bool quoted = argument.empty() || argument.find(' ') != std::string::npos;
    text += quoted ? " \"" + argument + "\"" : " " + argument;
  }
  return text;
}

bool IsBadResult(const HistoryLine& line) {
  return line.kind == HistoryLine::Kind::Error && line.text.find("RESULT=") != std::string::npos;
}

std::string EndText(const RunHistory& run) {
  return run.status ? "exit status " + std::to_string(*run.status) : "the process was ended";
}

std::string TimelineSvg(std::span<const RunHistory> runs) {
  const bool alone = runs.size() == 1;
  const RunColumns columns = {FamiliesUsed(runs), alone ? kCharactersAlone : kCharactersBeside};
  const std::size_t titleCharacters = alone ? 150 : 110;
  int titleLines = 0;
  for (const RunHistory& run : runs)
    titleLines = std::max(titleLines, LinesOfTitle(run, titleCharacters));
  const int heads = kMargin + 10 + (alone ? 0 : 18) + titleLines * 17 + 24;
  const TimelineLayout layout = PlaceRuns(runs, heads + kHeadHeight, columns.characters);

  SvgCanvas canvas;
  std::string about;
  int x = kMargin;
  int right = x;
  for (const RunPlaces& places : layout.runs) {
    PaintTitle(canvas, *places.run, x, kMargin + 10, titleCharacters);
    right = PaintRun(canvas, layout, places, columns, x, heads);
    x = right + 2 * kGap;
    about += (about.empty() ? "" : " Beside it: ") + CommandLineText(*places.run) + ": " +
             SummaryOf(*places.run) + ".";
  }
  const int bottom = PaintLegend(canvas, layout.bottom + 38, right);

  const std::string size = std::to_string(right + kMargin) + " " + std::to_string(bottom + 4);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" role=\"img\" "
         "aria-labelledby=\"timeline-title timeline-about\" viewBox=\"0 0 " +
         size + "\"" + SvgAttribute("width", right + kMargin) + SvgAttribute("height", bottom + 4) +
         ">\n<title id=\"timeline-title\">" + Escaped(CommandLineText(runs[0])) +
         "</title>\n<desc id=\"timeline-about\">" + Escaped(about) + "</desc>\n<style>" +
         kTimelineStyle + "</style>\n" +
         "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n" + canvas.Markup() + "</svg>\n";
}

}  // namespace vorn::lab

#include "lab/timeline_page.h"

#include "lab/call_families.h"
#include "lab/markup.h"
#include "lab/timeline_svg.h"

#include <algorithm>
#include <map>

namespace vorn::lab {

namespace {

constexpr char kPageStyle[] = R"(
:root{color-scheme:light dark;--ink:#1f2328;--soft:#59636e;--paper:#fff;--grid:#d5dbe1;--bad:#d1242f}
@media (prefers-color-scheme:dark){:root{--ink:#e6edf3;--soft:#9aa4af;--paper:#0d1117;--grid:#2d343c;--bad:#ff6b63}}
body{margin:0 auto;padding:20px;color:var(--ink);background:var(--paper);font:14px/1.45 system-ui,"Segoe UI",Roboto,"DejaVu Sans",sans-serif}
h1{font-size:19px;margin:0 0 6px;overflow-wrap:anywhere}h2{font-size:16px;margin:26px 0 8px}
figure{margin:16px 0;overflow-x:auto;border:1px solid var(--grid);border-radius:6px}
figure svg{display:block}
table{border-collapse:collapse;font-size:13px}th,td{text-align:left;vertical-align:top;padding:3px 14px 3px 0;border-bottom:1px solid var(--grid)}
td.number,th.number{text-align:right;white-space:nowrap}caption{text-align:left;color:var(--soft);padding-bottom:4px}
code,td.line{font-family:ui-monospace,Consolas,"DejaVu Sans Mono",monospace;font-size:12px;overflow-wrap:anywhere}
tr.error td.line{color:var(--bad)}
.runs{display:flex;flex-wrap:wrap;gap:0 40px}.runs>section{flex:1 1 460px;min-width:0}
)";

std::string Cell(const std::string& text, const char* style = nullptr) {
  return (style == nullptr ? "<td>" : "<td class=\"" + std::string(style) + "\">") + Escaped(text) +
         "</td>";
}

std::string Table(const std::string& caption, const std::string& heads, const std::string& rows) {
  return "<table><caption>" + caption + "</caption><thead><tr>" + heads + "</tr></thead><tbody>\n" +
         rows + "</tbody></table>\n";
}

std::string PhaseTable(const RunHistory& run) {
  std::string rows;
  for (const HistoryPhase& phase : run.phases) {
    rows += "<tr>" + Cell(phase.title) + Cell(TimeText(phase.begins), "number") +
            Cell(TimeText(phase.Milliseconds()), "number") +
            Cell(CountText(phase.calls), "number") + "</tr>\n";
  }
  return Table("What the run was about, told from its calls",
               "<th>Phase</th><th class=\"number\">from</th><th class=\"number\">took</th>"
               "<th class=\"number\">calls</th>",
               rows);
}

std::string ConsoleTable(const RunHistory& run) {
  std::string rows;
  for (const HistoryLine& line : run.lines) {
    const bool fault = line.kind == HistoryLine::Kind::Fault;
    const bool error = line.kind == HistoryLine::Kind::Error;
    rows += std::string(IsBadResult(line) ? "<tr class=\"error\">" : "<tr>") +
            Cell(TimeText(line.at.milliseconds), "number") +
            Cell(fault   ? "fault"
                 : error ? "error"
                         : "output") +
            Cell(line.text, "line") + "</tr>\n";
  }
  return Table("Every line, and when it came out",
               "<th class=\"number\">at</th><th>stream</th><th>line</th>", rows);
}

std::string ChangeTable(const RunHistory& run) {
  std::string rows;
  for (std::size_t i = 1; i < run.moments.size();) {
    // Changes of one time and one phase are told as one: twenty endpoints are hidden one by one.
    const auto phaseOf = [&run](const HistoryMoment& moment) {
      std::size_t number = 0;
      while (number + 1 < run.phases.size() && run.phases[number + 1].firstCall <= moment.at.call)
        ++number;
      return number;
    };
    const HistoryMoment& first = run.moments[i];
    std::size_t last = i;
    while (last + 1 < run.moments.size() &&
           run.moments[last + 1].at.milliseconds == first.at.milliseconds &&
           phaseOf(run.moments[last + 1]) == phaseOf(first))
      ++last;
    for (const std::string& change :
         ChangesBetween(run.moments[i - 1].machine, run.moments[last].machine)) {
      rows += "<tr>" + Cell(TimeText(first.at.milliseconds), "number") +
              Cell(run.phases.empty() ? "" : run.phases[phaseOf(first)].title) + Cell(change) +
              "</tr>\n";
    }
    i = last + 1;
  }
  if (rows.empty()) return "<p>The run changed nothing that a user could notice.</p>\n";
  return Table("What became of the machine",
               "<th class=\"number\">at</th><th>phase</th><th>change</th>", rows);
}

std::string FamilyTable(const RunHistory& run) {
  std::map<std::size_t, std::size_t> counts;
  for (const std::string& name : run.callNames)
    ++counts[FamilyOf(name)];
  std::string rows;
  for (const auto& [family, count] : counts) {
    const CallFamily& about = CallFamilies()[family];
    rows += "<tr>" + Cell(std::string(about.title)) + Cell(CountText(count), "number") +
            Cell(std::string(about.about)) + "</tr>\n";
  }
  return Table("Platform calls by family",
               "<th>family</th><th class=\"number\">calls</th><th></th>", rows);
}

/// The part of the page about one matter, with a table for each run.
std::string Section(const std::string& title, std::span<const RunHistory> runs,
                    std::string (*table)(const RunHistory&)) {
  std::string section = "<h2>" + title + "</h2>\n<div class=\"runs\">\n";
  for (const RunHistory& run : runs) {
    section += "<section>";
    if (runs.size() > 1) section += "<p>On the machine " + Escaped(run.machine) + ":</p>\n";
    section += table(run) + "</section>\n";
  }
  return section + "</div>\n";
}

const HistoryPhase* LongestPhase(const RunHistory& run) {
  const auto longest = std::max_element(run.phases.begin(), run.phases.end(),
                                        [](const HistoryPhase& left, const HistoryPhase& right) {
                                          return left.Milliseconds() < right.Milliseconds();
                                        });
  return longest == run.phases.end() || longest->Milliseconds() == 0 ? nullptr : &*longest;
}

std::string SummaryParagraph(const RunHistory& run) {
  const std::string end = run.status ? "The run ended with <strong>" + EndText(run) + "</strong>"
                                     : "<strong>Something ended the process</strong>";
  std::string text = "<p>" + end + ". It took " + TimeText(run.milliseconds) +
                     " of the machine's time and made " + CountText(run.callNames.size()) +
                     " platform calls.";
  if (const HistoryPhase* phase = LongestPhase(run)) {
    text += " Its longest phase was <em>" + Escaped(phase->title) + "</em> with " +
            TimeText(phase->Milliseconds()) + ".";
  }
  return text + "</p>\n";
}

/// Where two runs part: the first console line that only one of them has.
std::string Parting(const RunHistory& left, const RunHistory& right) {
  const auto spoken = [](const RunHistory& run) {
    std::vector<std::string> texts;
    for (const HistoryLine& line : run.lines)
      if (line.kind != HistoryLine::Kind::Fault) texts.push_back(line.text);
    return texts;
  };
  const std::vector<std::string> leftTexts = spoken(left);
  const std::vector<std::string> rightTexts = spoken(right);
  std::size_t i = 0;
  while (i < leftTexts.size() && i < rightTexts.size() && leftTexts[i] == rightTexts[i])
    ++i;
  if (i == leftTexts.size() && i == rightTexts.size())
    return "<p>Both runs print the same lines.</p>\n";
  const auto shown = [i](const std::vector<std::string>& texts) {
    return i < texts.size() ? "<code>" + Escaped(texts[i]) + "</code>"
                            : std::string("nothing more");
  };
  return "<p>They part at console line " + std::to_string(i + 1) + ". The left run prints " +
         shown(leftTexts) + "; the right run prints " + shown(rightTexts) + ".</p>\n";
}

std::string DescribedDevice(const DeviceGlance& device) {
  std::string text = device.state;
  text += device.package.empty() ? ", no package" : ", package " + device.package;
  if (!device.pendingPackage.empty()) text += ", after the restart " + device.pendingPackage;
  return text + (device.image.empty() ? ", no driver in memory" : ", driver " + device.image);
}

/// Changes of things that have names: what is new, gone or different.
template <class Thing, class Describe>
void AddNamedChanges(const std::vector<Thing>& before, const std::vector<Thing>& after,
                     std::string Thing::*name, Describe describe,
                     std::vector<std::string>& changes) {
  const auto find = [name](const std::vector<Thing>& things, const std::string& value) {
    return std::find_if(things.begin(), things.end(),
                        [&](const Thing& thing) { return thing.*name == value; });
  };
  for (const Thing& thing : before)
    if (find(after, thing.*name) == after.end()) changes.push_back(thing.*name + " is gone");
  for (const Thing& thing : after) {
    const auto old = find(before, thing.*name);
    if (old == before.end()) {
      changes.push_back(thing.*name + " is new: " + describe(thing));
    } else if (*old != thing) {
      changes.push_back(thing.*name + ": " + describe(thing));
    }
  }
}

void AddEndpointChanges(const MachineGlance& before, const MachineGlance& after,
                        std::vector<std::string>& changes) {
  std::map<std::pair<EndpointGlance, EndpointGlance>, std::vector<std::string>> moved;
  for (std::size_t flow = 0; flow < 2; ++flow) {
    for (std::size_t cable = 0; cable < kCableCount; ++cable) {
      const EndpointGlance old = before.endpoints[flow][cable];
      const EndpointGlance now = after.endpoints[flow][cable];
      if (old == now) continue;
      moved[{old, now}].push_back((flow == 0 ? "render " : "capture ") + std::to_string(cable));
    }
  }
  for (const auto& [states, names] : moved) {
    std::string text = names.size() == 1 ? names[0] : std::to_string(names.size()) + " endpoints";
    if (names.size() > 1 && names.size() < 5) {
      text += " (";
      for (const std::string& name : names)
        text += name + (&name == &names.back() ? ")" : ", ");
    }
    const bool were = names.size() > 1;
    changes.push_back(text + ": " + NameOf(states.second) + (were ? ", were " : ", was ") +
                      NameOf(states.first));
  }
}

}  // namespace

std::vector<std::string> ChangesBetween(const MachineGlance& before, const MachineGlance& after) {
  std::vector<std::string> changes;
  AddNamedChanges(before.devices, after.devices, &DeviceGlance::instanceId, DescribedDevice,
                  changes);
  AddNamedChanges(
      before.packages, after.packages, &PackageGlance::publishedInf,
      [](const PackageGlance& package) { return "version " + package.version; }, changes);
  AddEndpointChanges(before, after, changes);
  AddNamedChanges(
      before.journals, after.journals, &JournalGlance::path,
      [](const JournalGlance& journal) { return journal.about; }, changes);
  return changes;
}

std::string TimelinePage(std::span<const RunHistory> runs) {
  const std::string title = Escaped(CommandLineText(runs[0]));
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
      title + "</title>\n<style>" + kPageStyle + "</style>\n</head>\n<body>\n<h1><code>" + title +
      "</code></h1>\n";
  if (runs.size() == 1) {
    page += SummaryParagraph(runs[0]);
  } else {
    for (const RunHistory& run : runs)
      page += "<p>On the machine " + Escaped(run.machine) + ":</p>\n" + SummaryParagraph(run);
    page += Parting(runs[0], runs[1]);
  }
  page += "<figure>\n" + TimelineSvg(runs) + "</figure>\n";
  page += Section("Console", runs, ConsoleTable) + Section("Changes", runs, ChangeTable) +
          Section("Phases", runs, PhaseTable) + Section("Calls", runs, FamilyTable);
  return page + "</body>\n</html>\n";
}

}  // namespace vorn::lab

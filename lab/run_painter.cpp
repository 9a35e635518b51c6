#include "lab/run_painter.h"

#include "lab/call_families.h"
#include "lab/machine_glance.h"
#include "lab/markup.h"
#include "lab/run_history.h"
#include "lab/timeline_svg.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string_view>

namespace vorn::lab {

namespace {

// In pixels.
constexpr int kTimeWidth = 54;
constexpr int kPhaseWidth = 178;
constexpr int kFamilyWidth = 13;
constexpr int kWaitWidth = 20;
constexpr int kDeviceWidth = 92;
constexpr int kPackageWidth = 18;
constexpr int kEndpointWidth = 6;
constexpr int kJournalWidth = 18;
constexpr int kBinHeight = 3;
constexpr double kCharacterWidth = 6.4;

std::string_view StyleOf(EndpointGlance state) {
  switch (state) {
    case EndpointGlance::Active:
      return "active";
    case EndpointGlance::Unplugged:
      return "unplugged";
    case EndpointGlance::Disabled:
      return "off";
    case EndpointGlance::NotPresent:
      return "notpresent";
    case EndpointGlance::None:
      break;
  }
  return "none";
}

std::string_view StyleOfDevice(const std::string& state) {
  return state.starts_with("problem") ? "problem" : std::string_view(state);
}

/// The names, in the order of their first appearance, of what a run has in a lane each.
template <class Things, class Name>
std::vector<std::string> NamesOf(const RunHistory& run, Things things, Name name) {
  std::vector<std::string> names;
  for (const HistoryMoment& moment : run.moments) {
    for (const auto& thing : moment.machine.*things) {
      if (std::find(names.begin(), names.end(), thing.*name) == names.end())
        names.push_back(thing.*name);
    }
  }
  return names;
}

template <class Thing>
const Thing* FindNamed(const std::vector<Thing>& things, std::string Thing::*name,
                       const std::string& value) {
  const auto found = std::find_if(things.begin(), things.end(),
                                  [&](const Thing& thing) { return thing.*name == value; });
  return found == things.end() ? nullptr : &*found;
}

/// Draws one run into its columns.
class RunPainter {
 public:
  RunPainter(SvgCanvas& canvas, const TimelineLayout& layout, const RunPlaces& places,
             const RunColumns& columns, int x, int top)
      : canvas_(canvas),
        layout_(layout),
        places_(places),
        run_(*places.run),
        columns_(columns),
        left_(x),
        top_(top) {
    devices_ = NamesOf(run_, &MachineGlance::devices, &DeviceGlance::instanceId);
    packages_ = NamesOf(run_, &MachineGlance::packages, &PackageGlance::publishedInf);
    journals_ = NamesOf(run_, &MachineGlance::journals, &JournalGlance::path);
    phases_ = left_ + kTimeWidth;
    families_ = phases_ + kPhaseWidth;
    waits_ = families_ + static_cast<int>(columns.families.size()) * kFamilyWidth + 6;
    deviceLanes_ = waits_ + kWaitWidth + kGap;
    packageLanes_ = deviceLanes_ +
                    std::max<int>(1, static_cast<int>(devices_.size())) * (kDeviceWidth + 4) + kGap;
    // No narrower than the heading.
    endpoints_ = packageLanes_ +
                 std::max<int>(2, static_cast<int>(packages_.size())) * (kPackageWidth + 4) + kGap;
    journalLanes_ = endpoints_ + 20 * kEndpointWidth + 8 + kGap;
    console_ = journalLanes_ +
               std::max<int>(1, static_cast<int>(journals_.size())) * (kJournalWidth + 4) + kGap;
    right_ = console_ + columns.ConsoleWidth();
  }

  int Right() const { return right_; }

  void Paint() {
    PaintRows();
    PaintHeads();
    PaintTimes();
    PaintCalls();
    PaintWaits();
    PaintDevices();
    PaintPackages();
    PaintEndpoints();
    PaintJournals();
    PaintConsole();
    PaintEnd();
  }

 private:
  int Top() const { return layout_.rows.front().first; }
  int Bottom() const { return layout_.bottom; }

  void PaintRows() {
    for (std::size_t i = 0; i < layout_.rows.size(); ++i) {
      const auto [top, height] = layout_.rows[i];
      if (i % 2 == 1) canvas_.Rect("band", left_, top, right_ - left_, height);
      const bool present =
          std::any_of(places_.phases.begin(), places_.phases.end(),
                      [y = top](const PlacedPhase& phase) { return phase.top == y; });
      if (!present) canvas_.Text("soft", phases_, top + 22, "\xE2\x80\x93");
    }
    for (const PlacedPhase& placed : places_.phases) {
      const HistoryPhase& phase = *placed.phase;
      canvas_.Text("name", phases_, placed.top + 16, phase.title);
      const std::string calls = CountText(phase.calls) + (phase.calls == 1 ? " call" : " calls");
      const bool timed = phase.Milliseconds() > 0;
      canvas_.Text("soft small", phases_, placed.top + 30,
                   timed ? TimeText(phase.Milliseconds()) + ", " + calls : calls);
    }
  }

  void PaintHeads() {
    const int names = top_ + kHeadHeight - 8;
    const int groups = top_ + 12;
    canvas_.Text("soft small right", phases_ - 10, names, "time");
    canvas_.Text("soft small", phases_, names, "phase");
    canvas_.Text("soft", families_, groups, "platform calls");
    for (std::size_t i = 0; i < columns_.families.size(); ++i) {
      canvas_.TextUpwards("small", families_ + static_cast<int>(i) * kFamilyWidth + 10, names,
                          CallFamilies()[columns_.families[i]].title);
    }
    canvas_.TextUpwards("small", waits_ + 13, names, "time passes");
    canvas_.Text("soft", deviceLanes_, groups, devices_.size() > 1 ? "devices" : "device");
    for (std::size_t i = 0; i < devices_.size(); ++i)
      canvas_.Text("small", DeviceX(i), names, devices_[i]);
    if (devices_.empty()) canvas_.Text("soft small", deviceLanes_, names, "none");
    canvas_.Text("soft", packageLanes_, groups, "packages");
    for (std::size_t i = 0; i < packages_.size(); ++i)
      canvas_.TextUpwards("small", PackageX(i) + 12, names, PackageName(i));
    canvas_.Text("soft", endpoints_, groups, "endpoints");
    canvas_.Text("small", endpoints_, names, "render");
    canvas_.Text("small", EndpointX(1, 0), names, "capture");
    canvas_.TextUpwards("small", journalLanes_ + 12, names, "journal");
    canvas_.Text("soft", console_ + 18, groups, "console");
  }

  std::string PackageName(std::size_t number) const {
    for (const HistoryMoment& moment : run_.moments) {
      const auto* package =
          FindNamed(moment.machine.packages, &PackageGlance::publishedInf, packages_[number]);
      if (package != nullptr && !package->version.empty())
        return package->publishedInf + " " + package->version;
    }
    return packages_[number];
  }

  /// A step between marks of the time, so that they are not too close.
  static std::uint64_t StepOf(const PlacedPhase& placed) {
    constexpr std::uint64_t kSteps[] = {100,     200,     500,     1000,      2000,
                                        5000,    10'000,  20'000,  60'000,    120'000,
                                        300'000, 600'000, 900'000, 1'800'000, 3'600'000};
    const std::uint64_t length = placed.phase->Milliseconds();
    for (const std::uint64_t step : kSteps)
      if (static_cast<std::uint64_t>(placed.height) * step / length >= 24) return step;
    return length;
  }

  void PaintTimes() {
    std::string last;
    for (const PlacedPhase& placed : places_.phases) {
      canvas_.Line("grid", left_, placed.top, right_, placed.top);
      const std::string begin = TimeText(placed.phase->begins);
      if (begin != last) canvas_.Text("small right", phases_ - 10, placed.top + 12, begin);
      last = begin;
      if (placed.phase->Milliseconds() > 0) PaintTicks(placed);
    }
    canvas_.Line("grid", left_, Bottom(), right_, Bottom());
  }

  void PaintTicks(const PlacedPhase& placed) {
    const std::uint64_t step = StepOf(placed);
    for (std::uint64_t at = (placed.phase->begins / step + 1) * step; at < placed.phase->ends;
         at += step) {
      const int y = places_.YOf({placed.phase->firstCall, at});
      if (y < placed.top + 22 || y > placed.top + placed.height - 6) continue;
      canvas_.Line("grid", phases_ - 7, y, phases_ - 2, y);
      canvas_.Text("soft small right", phases_ - 10, y + 4, TimeText(at));
    }
  }

  void PaintCalls() {
    std::map<std::size_t, std::map<int, int>> counts;  // by family and bin
    std::map<std::size_t, std::size_t> totals;
    for (std::size_t call = 0; call < run_.callNames.size(); ++call) {
      const std::size_t family = FamilyOf(run_.callNames[call]);
      ++counts[family][(places_.YOfCall(call) - Top()) / kBinHeight];
      ++totals[family];
    }
    for (std::size_t i = 0; i < columns_.families.size(); ++i) {
      const std::size_t family = columns_.families[i];
      const int x = families_ + static_cast<int>(i) * kFamilyWidth;
      const CallFamily& about = CallFamilies()[family];
      const std::string title = std::string(about.title) + ": " + CountText(totals[family]) +
                                " calls (" + std::string(about.about) + ")";
      canvas_.BeginGroup(title);
      PaintFamily(counts[family], x, title);
      canvas_.EndGroup();
    }
  }

  void PaintFamily(const std::map<int, int>& counts, int x, const std::string& title) {
    std::map<int, std::string> paths;  // by level
    for (const auto& [bin, count] : counts) {
      const int level = count >= 64 ? 4 : count >= 16 ? 3 : count >= 4 ? 2 : 1;
      paths[level] += "M" + std::to_string(x + 1) + " " + std::to_string(Top() + bin * kBinHeight) +
                      "h" + std::to_string(kFamilyWidth - 3) + "v" + std::to_string(kBinHeight) +
                      "h-" + std::to_string(kFamilyWidth - 3) + "z";
    }
    for (const auto& [level, path] : paths)
      canvas_.Path("c" + std::to_string(level), path, title);
  }

  void PaintWaits() {
    canvas_.BeginGroup("Where machine time passes");
    for (std::size_t call = 0; call < run_.callNames.size(); ++call) {
      const std::uint64_t begin = run_.BeginOf(call);
      const std::uint64_t end = run_.callEnds[call];
      if (begin == end) continue;
      PaintWait(call, begin, end, run_.callNames[call]);
    }
    const std::uint64_t last = run_.callEnds.empty() ? 0 : run_.callEnds.back();
    if (last < run_.milliseconds)
      PaintWait(run_.callNames.size(), last, run_.milliseconds, "the call that ended the process");
    canvas_.EndGroup();
  }

  void PaintWait(std::size_t call, std::uint64_t begin, std::uint64_t end,
                 const std::string& name) {
    const int top = places_.YOf({call, begin});
    const int height = places_.YOf({call, end}) - top;
    const bool waits = name == "Sleep";
    canvas_.Rect(waits ? "wait" : "busy", waits_, top, kWaitWidth,
                 height > 3 ? height - 1 : std::max(height, 1),
                 (waits ? "waits " : name + " takes ") + TimeText(end - begin) + ", from " +
                     TimeText(begin));
  }

  int DeviceX(std::size_t number) const {
    return deviceLanes_ + static_cast<int>(number) * (kDeviceWidth + 4);
  }
  int PackageX(std::size_t number) const {
    return packageLanes_ + static_cast<int>(number) * (kPackageWidth + 4);
  }
  int EndpointX(std::size_t flow, std::size_t cable) const {
    return endpoints_ + static_cast<int>(flow) * (10 * kEndpointWidth + 8) +
           static_cast<int>(cable) * kEndpointWidth;
  }

  /// Calls draw(value, top, bottom, first moment) for each stretch in which a value of the machine
  /// stays.
  template <class ValueOf, class Draw>
  void ForEachStretch(ValueOf valueOf, Draw draw) {
    for (std::size_t i = 0; i < run_.moments.size();) {
      std::size_t next = i + 1;
      const auto value = valueOf(run_.moments[i].machine);
      while (next < run_.moments.size() && valueOf(run_.moments[next].machine) == value)
        ++next;
      const int top = i == 0 ? Top() : places_.YOf(run_.moments[i].at);
      const int bottom =
          next == run_.moments.size() ? Bottom() : places_.YOf(run_.moments[next].at);
      draw(value, top, bottom, run_.moments[i]);
      i = next;
    }
  }

  static std::string Since(const HistoryMoment& moment) {
    return ", from " + TimeText(moment.at.milliseconds);
  }

  void PaintDevices() {
    for (std::size_t i = 0; i < devices_.size(); ++i) {
      canvas_.BeginGroup("Device " + devices_[i]);
      ForEachStretch(
          [&](const MachineGlance& machine) {
            const auto* device = FindNamed(machine.devices, &DeviceGlance::instanceId, devices_[i]);
            return device == nullptr ? std::optional<DeviceGlance>() : *device;
          },
          [&](const std::optional<DeviceGlance>& device, int top, int bottom,
              const HistoryMoment& from) {
            if (device) PaintDevice(*device, DeviceX(i), top, bottom, from);
          });
      canvas_.EndGroup();
    }
  }

  void PaintDevice(const DeviceGlance& device, int x, int top, int bottom,
                   const HistoryMoment& from) {
    std::vector<std::string> texts = {device.state};
    texts.push_back(device.package.empty() ? "no package" : device.package);
    if (!device.image.empty()) texts.push_back("runs " + device.image);
    if (!device.pendingPackage.empty()) texts.push_back("then " + device.pendingPackage);
    std::string title = device.instanceId + ": ";
    for (const std::string& text : texts)
      title += text + ", ";
    title.resize(title.size() - 2);
    canvas_.Rect(StyleOfDevice(device.state), x, top, kDeviceWidth, std::max(1, bottom - top - 1),
                 title + Since(from));
    int y = top + 12;
    for (const std::string& text : texts) {
      if (y > bottom - 3) return;
      canvas_.Text("onbox", x + 5, y, text);
      y += 13;
    }
  }

  void PaintPackages() {
    for (std::size_t i = 0; i < packages_.size(); ++i) {
      canvas_.BeginGroup("Package " + PackageName(i));
      ForEachStretch(
          [&](const MachineGlance& machine) {
            return FindNamed(machine.packages, &PackageGlance::publishedInf, packages_[i]) !=
                   nullptr;
          },
          [&](bool present, int top, int bottom, const HistoryMoment& from) {
            if (!present) return;
            canvas_.Rect("package", PackageX(i), top, kPackageWidth, bottom - top - 1,
                         PackageName(i) + " is published" + Since(from));
          });
      canvas_.EndGroup();
    }
  }

  void PaintEndpoints() {
    for (std::size_t flow = 0; flow < 2; ++flow) {
      canvas_.BeginGroup(flow == 0 ? "Render endpoints" : "Capture endpoints");
      for (std::size_t cable = 0; cable < kCableCount; ++cable)
        PaintEndpoint(flow, cable);
      canvas_.EndGroup();
    }
  }

  void PaintEndpoint(std::size_t flow, std::size_t cable) {
    const std::string name =
        std::string(flow == 0 ? "render " : "capture ") + std::to_string(cable) + ": ";
    ForEachStretch([&](const MachineGlance& machine) { return machine.endpoints[flow][cable]; },
                   [&](EndpointGlance state, int top, int bottom, const HistoryMoment& from) {
                     if (state == EndpointGlance::None) return;
                     canvas_.Rect(StyleOf(state), EndpointX(flow, cable), top, kEndpointWidth - 1,
                                  std::max(1, bottom - top), name + NameOf(state) + Since(from));
                   });
  }

  void PaintJournals() {
    for (std::size_t i = 0; i < journals_.size(); ++i) {
      const int x = journalLanes_ + static_cast<int>(i) * (kJournalWidth + 4);
      canvas_.BeginGroup("Journal " + journals_[i]);
      ForEachStretch(
          [&](const MachineGlance& machine) {
            const auto* journal = FindNamed(machine.journals, &JournalGlance::path, journals_[i]);
            return journal == nullptr ? std::string() : journal->about;
          },
          [&](const std::string& about, int top, int bottom, const HistoryMoment& from) {
            if (about.empty()) return;
            canvas_.Rect(about == "unreadable" ? "spoilt" : "journal", x, top, kJournalWidth,
                         bottom - top - 1, journals_[i] + " " + about + Since(from));
            const auto length = static_cast<int>(static_cast<double>(about.size()) * 5.4);
            if (bottom - top > length + 10) canvas_.TextUpwards("small", x + 13, bottom - 6, about);
          });
      canvas_.EndGroup();
    }
  }

  void PaintConsole() {
    canvas_.BeginGroup("Console lines");
    for (const PlacedLine& placed : places_.lines)
      PaintLine(placed);
    canvas_.EndGroup();
  }

  void PaintLine(const PlacedLine& placed) {
    const int x = console_ + 4;
    const int y = placed.markY;
    const int text = placed.textY + 11;
    const std::string at = " at " + TimeText(placed.line->at.milliseconds);
    const bool beside = placed.texts.empty() || std::abs(placed.textY + 7 - y) <= 4;
    if (!beside) {
      canvas_.Path("lead", "M" + std::to_string(x + 4) + " " + std::to_string(y) + "L" +
                               std::to_string(console_ + 15) + " " + std::to_string(text - 4));
    }
    const std::string place = std::to_string(x) + " " + std::to_string(y);
    std::string_view style = "mono";
    switch (placed.line->kind) {
      case HistoryLine::Kind::Output:
        canvas_.Path("out", "M" + place + "m-4 0a4 4 0 1 0 8 0a4 4 0 1 0-8 0z",
                     "standard output" + at);
        break;
      case HistoryLine::Kind::Error:
        canvas_.Path(IsBadResult(*placed.line) ? "bad" : "err", "M" + place + "m0-5l5 5l-5 5l-5-5z",
                     "standard error" + at);
        if (IsBadResult(*placed.line)) style = "mono errtext";
        break;
      case HistoryLine::Kind::Fault:
        canvas_.Path("fault", "M" + place + "m-5-4h10l-5 9z", "a fault" + at);
        style = "mono faulttext";
        break;
    }
    for (std::size_t i = 0; i < placed.texts.size(); ++i) {
      canvas_.Text(style, console_ + 18, text + static_cast<int>(i) * kTextLineHeight,
                   placed.texts[i]);
    }
  }

  void PaintEnd() {
    canvas_.Text("small right", phases_ - 10, Bottom() + 18, TimeText(run_.milliseconds));
    const bool good = run_.status == 0;
    canvas_.Text(good ? "end" : "end errtext", phases_, Bottom() + 19, EndText(run_));
  }

  SvgCanvas& canvas_;
  const TimelineLayout& layout_;
  const RunPlaces& places_;
  const RunHistory& run_;
  const RunColumns& columns_;
  int left_;
  int top_;
  std::vector<std::string> devices_;
  std::vector<std::string> packages_;
  std::vector<std::string> journals_;
  // Where columns begin.
  int phases_ = 0;
  int families_ = 0;
  int waits_ = 0;
  int deviceLanes_ = 0;
  int packageLanes_ = 0;
  int endpoints_ = 0;
  int journalLanes_ = 0;
  int console_ = 0;
  int right_ = 0;
};

}  // namespace

int RunColumns::ConsoleWidth() const {
  return static_cast<int>(static_cast<double>(characters) * kCharacterWidth) + 26;
}

int PaintRun(SvgCanvas& canvas, const TimelineLayout& layout, const RunPlaces& places,
             const RunColumns& columns, int x, int top) {
  RunPainter painter(canvas, layout, places, columns, x, top);
  painter.Paint();
  return painter.Right();
}

}  // namespace vorn::lab

// Names and paths of arbitrary units, judged a second time by the rules in their plainest form.

#include "base/path_text.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/path_rules.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

namespace paths {
namespace {

using privileged_input::AbsolutePath;

/// Names that mean a device whatever their extension: each in capitals.
const std::set<std::u16string>& DeviceNames() {
  static const std::set<std::u16string> kNames = [] {
    std::set<std::u16string> names = {u"CON",    u"PRN",     u"AUX",   u"NUL",
                                      u"CONIN$", u"CONOUT$", u"CLOCK$"};
    for (const char16_t* port : {u"COM", u"LPT"}) {
      for (const char16_t digit : std::u16string(u"0123456789\u00B9\u00B2\u00B3"))
        names.insert(port + std::u16string(1, digit));
    }
    return names;
  }();
  return kNames;
}

bool IsPlainName(const std::u16string& name) {
  if (name.empty() || name.size() > 255 || name.ends_with(u'.') || name.ends_with(u' '))
    return false;
  constexpr std::size_t kLongestDevice = 7;  // CONOUT$
  std::u16string stem;
  bool inStem = true;
  for (const char16_t unit : name) {
    switch (unit) {
      case u'\\':
      case u'/':
      case u':':
      case u'<':
      case u'>':
      case u'"':
      case u'|':
      case u'?':
      case u'*':
      case 0x7F:
        return false;
      default:
        if (unit <= 0x1F) return false;
    }
    if (unit == u'.') inStem = false;
    const bool small = unit >= u'a' && unit <= u'z';
    if (inStem && stem.size() <= kLongestDevice) {
      stem += small ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
    }
  }
  return !DeviceNames().contains(stem);
}

/// The names of a path. A first name that is empty marks an impossible path.
bool SplitPlainPath(const std::u16string& path, std::vector<std::u16string>& names) {
  if (path.size() < 3 || path.size() > 32760 || path.substr(1, 2) != u":\\") return false;
  const char16_t letter = path[0];
  if (!((letter >= u'A' && letter <= u'Z') || (letter >= u'a' && letter <= u'z'))) return false;
  if (path.size() == 3) return true;
  names.emplace_back();
  for (const char16_t unit : path.substr(3)) {
    if (unit == u'\\') {
      names.emplace_back();
    } else {
      names.back() += unit;
    }
  }
  return std::all_of(names.begin(), names.end(), IsPlainName);
}

/// A path that was taken apart tells what its text and its names tell.
void CheckAccepted(const AbsolutePath& path, const std::u16string& text,
                   std::vector<std::u16string> names) {
  Require(path.Text() == text && path.DriveLetter() == text[0], "a path keeps its text");
  Require(path.Components() == names, "a path has its names");
  Require(path.Name() == (names.empty() ? u"" : names.back()), "a path has its last name");
  const AbsolutePath folder = path.Folder();
  const std::optional<AbsolutePath> again = AbsolutePath::Parse(folder.Text());
  Require(again.has_value() && text.starts_with(folder.Text()), "its folder is absolute as well");
  if (!names.empty()) names.pop_back();
  Require(folder.Components() == names && again->Components() == names, "its folder lacks a name");
}

void Check(const std::u16string& text) {
  using namespace privileged_input;
  Require(IsSafeComponentName(text) == IsPlainName(text), "a name is safe exactly if it is plain");
  std::vector<std::u16string> parsed;
  std::vector<std::u16string> plain;
  const bool accepted = ParseAbsolutePath(text, parsed);
  Require(accepted == SplitPlainPath(text, plain), "a path is absolute exactly if it is plain");
  Require(!accepted || parsed == plain, "the same names");
  const std::optional<AbsolutePath> path = AbsolutePath::Parse(text);
  Require(path.has_value() == accepted, "the same answer from the path that is taken apart");
  if (accepted) {
    std::u16string joined = text.substr(0, 2);
    for (const std::u16string& name : parsed)
      joined += u'\\' + name;
    Require(parsed.empty() || joined == text, "a path is its names");
    CheckAccepted(*path, text, plain);
  }
  const std::u16string_view cut = CutLastComponent(text);
  Require(text.starts_with(cut), "what is left after a cut is a beginning");
  const std::u16string_view name = FileNameComponent(text);
  Require(text.ends_with(name), "a file name is an end");
  Require(cut.size() + name.size() + (name.size() < text.size() ? 1 : 0) == text.size(),
          "a cut and a file name leave out one separator");
}

}  // namespace
}  // namespace paths

void FuzzPaths(std::span<const std::uint8_t> input) {
  static platform::simulated::Machine machine;
  static platform::simulated::Process process(machine);  // for its last error alone
  paths::Check(std::u16string(input.begin(), input.end()));
  paths::Check(UnitsOf(input));
}

}  // namespace vorn::tests

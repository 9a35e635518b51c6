// Names and paths of any units, judged a second time by the rules as one would say them.

#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/absolute_path.h"
#include "privileged_input/path_rules.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <set>

namespace vorn::tests {

namespace paths {
namespace {

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
    if (inStem) stem += small ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
  }
  return !DeviceNames().contains(stem);
}

/// The names of a path, or nothing that can be: an empty name first.
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

void Check(const std::u16string& text) {
  using namespace privileged_input;
  Require(IsSafeComponentName(text) == IsPlainName(text), "a name is safe exactly if it is plain");
  std::vector<std::u16string> parsed;
  std::vector<std::u16string> plain;
  const bool accepted = ParseAbsolutePath(text, parsed);
  Require(accepted == SplitPlainPath(text, plain), "a path is absolute exactly if it is plain");
  Require(!accepted || parsed == plain, "the same names");
  Require(IsAbsolutePath(text) == accepted, "the same answer from the command line's check");
  if (accepted) {
    std::u16string joined = text.substr(0, 2);
    for (const std::u16string& name : parsed)
      joined += u'\\' + name;
    Require(parsed.empty() || joined == text, "a path is its names");
    const std::u16string_view folder = FolderOfAbsolutePath(text);
    Require(IsAbsolutePath(folder) && text.starts_with(folder), "its folder is absolute as well");
  }
  const std::u16string_view cut = CutLastComponent(text);
  Require(text.starts_with(cut), "what is left after a cut is a beginning");
}

}  // namespace
}  // namespace paths

void FuzzPaths(std::span<const std::uint8_t> input) {
  static platform::simulated::Machine machine;
  platform::simulated::Process process(machine);
  paths::Check(std::u16string(input.begin(), input.end()));
  paths::Check(UnitsOf(input));
}

}  // namespace vorn::tests

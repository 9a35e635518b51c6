#include "platform/simulated/dos_paths.h"

#include "base/text.h"

#include <algorithm>
#include <vector>

namespace vorn::platform::simulated {

namespace {

constexpr std::u16string_view kVerbatim = u"\\\\?\\";
constexpr std::u16string_view kDevice = u"\\\\.\\";

bool IsSeparator(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

bool HasDrive(std::u16string_view path) {
  return path.size() >= 2 && IsAsciiLetter(path[0]) && path[1] == u':';
}

/// A path's fixed beginning, which ".." never leaves, and the rest to normalise.
struct Cut {
  std::u16string root;
  std::u16string_view rest;
  std::u16string before;  // names of the current folder that precede the rest
};

std::u16string_view WithoutSeparators(std::u16string_view path) {
  while (!path.empty() && IsSeparator(path.front()))
    path.remove_prefix(1);
  return path;
}

/// The length of a path's first name.
std::size_t NameEnd(std::u16string_view path) {
  const auto end = std::find_if(path.begin(), path.end(), IsSeparator);
  return static_cast<std::size_t>(end - path.begin());
}

/// "\\server\share", "\\?\C:" and "\\.\X": the names that ".." cannot remove.
Cut CutDoubleSeparator(std::u16string_view path) {
  path.remove_prefix(2);
  const bool device =
      path.size() >= 2 && (path[0] == u'?' || path[0] == u'.') && IsSeparator(path[1]);
  std::u16string root = u"\\\\";
  for (int names = 0; names < 2 && !path.empty(); ++names) {
    const std::size_t end = NameEnd(path);
    root.append(path.substr(0, end));
    path.remove_prefix(end);
    if (names == 0 && !path.empty()) {
      root += u'\\';
      path = WithoutSeparators(path);
    }
  }
  if (!path.empty() || device) root += path.empty() ? u"" : u"\\";
  return {root, WithoutSeparators(path), {}};
}

Cut CutRoot(const FileSystem& files, std::u16string_view path) {
  const bool firstIsSeparator = IsSeparator(path.front());
  if (firstIsSeparator && path.size() > 1 && IsSeparator(path[1])) return CutDoubleSeparator(path);
  const std::u16string_view current = files.currentFolder;
  const std::u16string currentRoot(current.substr(0, 3));
  if (firstIsSeparator) return {currentRoot, WithoutSeparators(path), {}};
  const std::u16string currentNames(current.substr(std::min<std::size_t>(3, current.size())));
  if (!HasDrive(path)) return {currentRoot, path, currentNames};
  const std::u16string root = {path[0], u':', u'\\'};
  const std::u16string_view rest = path.substr(2);
  if (!rest.empty() && IsSeparator(rest.front())) return {root, WithoutSeparators(rest), {}};
  // Assumed: only the current drive has a current folder; the others are at their root. Question:
  // where does "D:name" lead in a process that inherited no current folder for D:?
  const bool sameDrive = ToUpperAscii(path[0]) == ToUpperAscii(current.front());
  return {root, rest, sameDrive ? currentNames : std::u16string()};
}

void Step(std::vector<std::u16string>& names, std::u16string_view name) {
  if (name.empty() || name == u".") return;
  if (name == u"..") {
    if (!names.empty()) names.pop_back();
    return;
  }
  // Documented: a single dot at the end of a name is dropped.
  const bool dotted = name.back() == u'.' && name[name.size() - 2] != u'.';
  if (dotted) name.remove_suffix(1);
  names.emplace_back(name);
}

void Walk(std::vector<std::u16string>& names, std::u16string_view path) {
  while (!path.empty()) {
    const std::size_t end = NameEnd(path);
    Step(names, path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
}

/// The device that a file name refers to ("nul", "NUL.txt", "com1 .x"); empty when it is not a
/// device.
std::u16string DeviceName(std::u16string_view name) {
  std::u16string_view stem = name.substr(0, name.find_first_of(u".:"));
  while (stem.ends_with(u' '))
    stem.remove_suffix(1);
  const std::u16string upper = ToUpperAscii(stem);
  constexpr std::u16string_view kDevices[] = {u"CON", u"PRN",    u"AUX",
                                              u"NUL", u"CONIN$", u"CONOUT$"};
  const bool numbered = upper.size() == 4 &&
                        (upper.starts_with(u"COM") || upper.starts_with(u"LPT")) &&
                        upper[3] >= u'1' && upper[3] <= u'9';
  const bool plain =
      std::find(std::begin(kDevices), std::end(kDevices), upper) != std::end(kDevices);
  return numbered || plain ? std::u16string(stem) : std::u16string();
}

std::u16string_view LastComponent(std::u16string_view path) {
  const auto last = std::find_if(path.rbegin(), path.rend(), IsSeparator);
  return path.substr(static_cast<std::size_t>(path.rend() - last));
}

}  // namespace

std::u16string FullPath(const FileSystem& files, std::u16string_view path) {
  if (path.empty()) return {};
  const Cut cut = CutRoot(files, path);
  const bool local = !cut.root.starts_with(u"\\\\");
  if (local) {
    const std::u16string device = DeviceName(LastComponent(HasDrive(path) ? path.substr(2) : path));
    if (!device.empty()) return std::u16string(kDevice) + device;
  }
  std::u16string_view rest = cut.rest;
  const bool endsWithSeparator = !rest.empty() && IsSeparator(rest.back());
  const std::u16string_view last = LastComponent(rest);
  const bool step = last == u"." || last == u"..";
  while (!endsWithSeparator && !step && (rest.ends_with(u'.') || rest.ends_with(u' ')))
    rest.remove_suffix(1);
  std::vector<std::u16string> names;
  Walk(names, cut.before);
  Walk(names, rest);
  std::u16string full = cut.root;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i != 0) full += u'\\';
    full += names[i];
  }
  if (endsWithSeparator && !names.empty()) full += u'\\';
  return full;
}

std::u16string ToNtPath(const FileSystem& files, std::u16string_view path) {
  constexpr std::u16string_view kNative = u"\\??\\";
  if (path.starts_with(kNative)) return std::u16string(path);
  if (path.starts_with(kVerbatim)) {
    return std::u16string(kNative) + std::u16string(path.substr(kVerbatim.size()));
  }
  const std::u16string full = FullPath(files, path);
  if (full.empty()) return {};
  if (full.starts_with(kDevice) || full.starts_with(kVerbatim)) {
    return std::u16string(kNative) + full.substr(kDevice.size());
  }
  if (full.starts_with(u"\\\\")) return std::u16string(kNative) + u"UNC" + full.substr(1);
  return std::u16string(kNative) + full;
}

}  // namespace vorn::platform::simulated

#include "rehearsal/script.h"

#include "base/text.h"
#include "rehearsal/escaped_text.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

namespace vorn::rehearsal {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kRollbackAt = 3;  // install INF STATE --rollback

std::string NameOf(const fs::path& path) {
  return ToUtf8(path.filename().u16string());
}

std::vector<fs::path> SplitList(const std::u16string& list) {
  std::vector<fs::path> paths;
  for (std::size_t from = 0; from <= list.size();) {
    const std::size_t to = std::min(list.find(u';', from), list.size());
    if (to > from) paths.emplace_back(list.substr(from, to - from));
    from = to + 1;
  }
  return paths;
}

/// The recordings that a path of the list stands for.
std::vector<fs::path> FilesOf(const fs::path& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) return {path};
  std::vector<fs::path> files;
  for (fs::directory_iterator each(path, error), end; !error && each != end; each.increment(error))
    if (each->path().extension() == ".recording") files.push_back(each->path());
  if (error) throw BadScript(ToUtf8(path.u16string()) + ": cannot be listed");
  std::sort(files.begin(), files.end());
  return files;
}

Scene ReadScene(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw BadScript(ToUtf8(path.u16string()) + ": cannot be read");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  try {
    return {NameOf(path), ParseRecording(text)};
  } catch (const BadRecording& bad) {
    throw BadScript(ToUtf8(path.u16string()) + ": " + bad.what());
  }
}

std::vector<std::string> Columns(std::string_view line) {
  std::vector<std::string> columns;
  for (std::size_t from = 0; from <= line.size();) {
    const std::size_t to = std::min(line.find('\t', from), line.size());
    columns.push_back(Unescape(line.substr(from, to - from)).value_or(""));
    from = to + 1;
  }
  return columns;
}

/// A file may be named several times, and two folders may have files of one name.
using PlayedCounts = std::map<std::pair<std::string, std::string>, std::size_t>;

PlayedCounts CountPlayed(std::string_view log) {
  PlayedCounts played;
  while (!log.empty()) {
    const std::size_t end = log.find('\n');
    const std::vector<std::string> columns = Columns(log.substr(0, end));
    const auto arguments = columns.begin() + std::min<std::ptrdiff_t>(2, std::ssize(columns));
    ++played[{columns[0], KindOf({arguments, columns.end()})}];
    log.remove_prefix(end == std::string_view::npos ? log.size() : end + 1);
  }
  return played;
}

}  // namespace

std::vector<Scene> ReadScript(const fs::path& list) {
  std::vector<Scene> script;
  for (const fs::path& path : SplitList(list.u16string())) {
    for (const fs::path& file : FilesOf(path))
      script.push_back(ReadScene(file));
  }
  if (script.empty()) throw BadScript(ToUtf8(list.u16string()) + ": has no recording");
  return script;
}

std::string KindOf(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return {};
  std::string word = ToUtf8(ToLowerAscii(ToUtf16(arguments[0])));
  const bool rollback =
      word == "install" && arguments.size() > kRollbackAt && arguments[kRollbackAt] == "--rollback";
  return rollback ? word + " --rollback" : word;
}

std::string LogLine(std::string_view file, std::int32_t status,
                    const std::vector<std::string>& arguments) {
  std::string line = Escape(file);
  line.append("\t").append(std::to_string(status));
  for (const std::string& argument : arguments)
    line.append("\t").append(Escape(argument));
  return line + "\n";
}

const Scene* NextScene(const std::vector<Scene>& script, std::string_view log,
                       const std::vector<std::string>& arguments) {
  const std::string kind = KindOf(arguments);
  PlayedCounts played = CountPlayed(log);
  for (const Scene& scene : script) {
    if (KindOf(scene.recording.arguments) != kind) continue;
    std::size_t& before = played[{scene.file, kind}];
    if (before == 0) return &scene;
    --before;
  }
  return nullptr;
}

}  // namespace vorn::rehearsal

// docs/lab.md documents everything that a user of the lab can write: each key of machine.json, each
// kind of event, each fault and change, each option.

#include "tests/lab/lab_process.h"
#include "tests/lab/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;

/// The source folder, which contains the folder of the program.
fs::path SourceFolder() {
  fs::path folder = fs::path(LabProgram()).parent_path();
  while (!fs::exists(folder / "docs" / "lab.md") && folder != folder.root_path())
    folder = folder.parent_path();
  return folder;
}

void AddWords(const std::string& text, std::set<std::string>& words) {
  const std::regex word("[A-Za-z0-9-]+");
  for (std::sregex_iterator each(text.begin(), text.end(), word), end; each != end; ++each)
    words.insert(each->str());
}

/// The words in code spans and indented lines of the text.
std::set<std::string> WordsOfCode(const std::string& text) {
  std::set<std::string> words;
  bool code = false;
  for (std::size_t from = 0; from <= text.size(); code = !code) {
    const std::size_t to = std::min(text.find('`', from), text.size());
    if (code) AddWords(text.substr(from, to - from), words);
    from = to + 1;
  }
  for (std::size_t from = text.find("\n    "); from != std::string::npos;
       from = text.find("\n    ", from + 1)) {
    AddWords(text.substr(from, text.find('\n', from + 1) - from), words);
  }
  return words;
}

/// The names that the sources of the lab use in places of that form.
std::set<std::string> NamesIn(const std::vector<std::string>& files, const std::string& form) {
  std::set<std::string> names;
  const std::regex place(form);
  for (const std::string& file : files) {
    const std::string source = ReadHostFile(SourceFolder() / "lab" / file);
    for (std::sregex_iterator found(source.begin(), source.end(), place), end; found != end;
         ++found)
      names.insert((*found)[1].str());
  }
  return names;
}

struct Vocabulary {
  const char* name;
  std::vector<std::string> files;
  const char* form;
  std::size_t least;  // number of names expected, so that a form that no longer matches fails
};

TEST(LabDocs, NameEveryWordThatTheLabKnows) {
  const Vocabulary vocabularies[] = {
      {"keys",
       {"machine_document.cpp", "device_facts.cpp", "driver_facts.cpp", "audio_facts.cpp",
        "file_facts.cpp", "registry_facts.cpp", "typed_data.cpp", "fact_values.cpp"},
       R"re(facts\.(?:template )?\w+(?:<\w+>)?\("(\w+)")re",
       150},
      {"event kinds", {"machine_document.cpp"}, R"re("(\w+)",)re", 20},
      {"faults", {"fault_spec.cpp"}, R"re(\{"([a-z-]+)", FaultKind)re", 8},
      {"changes", {"world_change.cpp"}, R"re(\{\{"([a-z-]+)", ")re", 19},
      {"options", {"package_command.cpp"}, R"re("(--[a-z0-9-]+)")re", 15},
      {"options of commands", {"command_line.cpp", "command_words.cpp"}, R"re("(--[a-z]+)")re", 7},
      {"presets", {"presets.cpp"}, R"re(\{"([a-z-]+)", ")re", 5},
  };
  const std::set<std::string> documented =
      WordsOfCode(ReadHostFile(SourceFolder() / "docs" / "lab.md"));
  for (const Vocabulary& row : vocabularies) {
    SCOPED_TRACE(row.name);
    const std::set<std::string> names = NamesIn(row.files, row.form);
    EXPECT_GE(names.size(), row.least);
    for (const std::string& name : names)
      EXPECT_TRUE(documented.contains(name)) << name;
  }
}

// ------------------------------------------------------------------------------------------------
// Blocks of the language "console": a line that begins with "$ " is typed, and what follows is what
// it prints. "..." stands for any number of lines. A block begins in an empty folder.

struct TypedLine {
  std::string command;
  std::vector<std::string> printed;
};

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream rest(text);
  for (std::string line; std::getline(rest, line);)
    lines.push_back(line);
  return lines;
}

std::vector<std::vector<TypedLine>> ConsoleBlocks(const std::string& page) {
  std::vector<std::vector<TypedLine>> blocks;
  bool inside = false;
  for (const std::string& line : LinesOf(page)) {
    if (!inside) {
      inside = line == "```console";
      if (inside) blocks.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (line.starts_with("$ ")) {
      blocks.back().push_back({line.substr(2), {}});
    } else if (!blocks.back().empty()) {
      blocks.back().back().printed.push_back(line);
    }
  }
  return blocks;
}

/// Whether the lines from `at` on are those of the page from `want` on.
bool Matches(const std::vector<std::string>& lines, std::size_t at,
             const std::vector<std::string>& page, std::size_t want) {
  if (want == page.size()) return at == lines.size();
  if (page[want] != "...") {
    return at < lines.size() && lines[at] == page[want] && Matches(lines, at + 1, page, want + 1);
  }
  for (std::size_t next = at; next <= lines.size(); ++next) {
    if (Matches(lines, next, page, want + 1)) return true;
  }
  return false;
}

TEST(LabDocs, ShowWhatTheirExamplesPrint) {
  const auto blocks = ConsoleBlocks(ReadHostFile(SourceFolder() / "docs" / "lab.md"));
  EXPECT_GE(blocks.size(), 3U);
  for (const auto& block : blocks) {
    const TemporaryFolder folder;
    for (const TypedLine& typed : block) {
      const std::string printed = RunShellLine(folder.Name(""), typed.command).output;
      EXPECT_TRUE(Matches(LinesOf(printed), 0, typed.printed, 0)) << typed.command << "\nprinted\n"
                                                                  << printed;
    }
  }
}

TEST(LabDocs, AnExampleMatchesLineByLine) {
  const std::vector<std::string> lines = {"a", "b", "c"};
  EXPECT_TRUE(Matches(lines, 0, {"a", "b", "c"}, 0));
  EXPECT_TRUE(Matches(lines, 0, {"a", "..."}, 0));
  EXPECT_TRUE(Matches(lines, 0, {"...", "c"}, 0));
  EXPECT_FALSE(Matches(lines, 0, {"a", "b"}, 0));
  EXPECT_FALSE(Matches(lines, 0, {"a", "...", "b"}, 0));
  EXPECT_FALSE(Matches(lines, 0, {"a", "b", "c", "d"}, 0));
}

}  // namespace
}  // namespace vorn::lab

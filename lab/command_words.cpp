#include "lab/command_words.h"

#include "lab/bad_input.h"
#include "lab/near_word.h"

#include <algorithm>

namespace vorn::lab {

namespace {

constexpr std::size_t kLineWidth = 96;
constexpr std::string_view kHelp = "--help";
constexpr std::string_view kVersion = "--version";

const Option* FindOption(const CommandForm& form, std::string_view name) {
  const auto found = std::find_if(form.options.begin(), form.options.end(),
                                  [name](const Option& option) { return option.name == name; });
  return found == form.options.end() ? nullptr : &*found;
}

[[noreturn]] void RefuseOption(const CommandForm& form, const std::string& word) {
  std::vector<std::string_view> known;
  for (const Option& option : form.options)
    known.push_back(option.name);
  known.push_back(kHelp);
  throw BadInput(word, "is not an option of " + std::string(form.name) +
                           Suggestion(word, "its options are", known));
}

std::string Shown(const Option& option) {
  return std::string(option.name) + (option.value.empty() ? "" : " " + std::string(option.value));
}

std::string OptionLines(std::span<const Option> options) {
  std::size_t width = 0;
  for (const Option& option : options)
    width = std::max(width, Shown(option).size());
  std::string text;
  for (const Option& option : options) {
    std::string line = "  " + Shown(option);
    line.resize(width + 4, ' ');
    const std::string about = Wrapped(SplitAtBlanks(option.about), std::string(width + 4, ' '));
    text += line + about.substr(width + 4);
  }
  return text;
}

}  // namespace

bool IsHelpOption(std::string_view word) {
  return word == kHelp || word == "-h";
}

CommandWords::CommandWords(const CommandForm& form, const Words& words) : form_(form) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    const bool complete = operands_.size() == form.operands.size();
    if (word == "--" && !form.tail.empty()) {
      tail_.assign(words.begin() + static_cast<std::ptrdiff_t>(i + 1), words.end());
      return;
    }
    if (word.size() > 1 && word[0] == '-') {
      ReadOption(words, i);
    } else if (!complete) {
      operands_.push_back(word);
    } else if (!form.tail.empty()) {
      tail_.assign(words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
      return;
    } else {
      throw BadInput(word, "is one word too many for " + std::string(form.name));
    }
    if (asksForHelp_ || asksForVersion_) return;
  }
}

void CommandWords::ReadOption(const Words& words, std::size_t& index) {
  const std::string& word = words[index];
  const Option* const option = FindOption(form_, word);
  // An option of that name belongs to a command only after the machine that it is for.
  const bool own = option != nullptr && (word != kVersion || !operands_.empty());
  if (!own && IsHelpOption(word)) {
    asksForHelp_ = true;
  } else if (!own && word == kVersion) {
    asksForVersion_ = true;
  } else if (!own) {
    RefuseOption(form_, word);
  } else if (option->value.empty()) {
    given_.push_back({option->name, {}});
  } else {
    if (++index == words.size()) throw BadInput(word, "needs a value: " + Shown(*option));
    given_.push_back({option->name, words[index]});
  }
}

const std::string& CommandWords::OperandAt(std::size_t index) const {
  if (index < operands_.size() && !operands_[index].empty()) return operands_[index];
  throw BadInput(std::string(form_.name), "needs " + std::string(form_.operands[index].what));
}

const std::string* CommandWords::Last(std::string_view option) const {
  const auto found = std::find_if(given_.rbegin(), given_.rend(),
                                  [option](const Given& given) { return given.option == option; });
  return found == given_.rend() ? nullptr : &found->value;
}

std::vector<std::string> CommandWords::All(std::string_view option) const {
  std::vector<std::string> values;
  for (const Given& given : given_) {
    if (given.option == option) values.push_back(given.value);
  }
  return values;
}

std::string Synopsis(const CommandForm& form) {
  Words words;
  for (const Operand& operand : form.operands)
    words.emplace_back(operand.name);
  for (const Option& option : form.options)
    words.push_back("[" + Shown(option) + "]" + (option.repeats ? "..." : ""));
  if (!form.tail.empty()) words.emplace_back("[--] " + std::string(form.tail));
  const std::string head = "  vorn_lab " + std::string(form.name) + " ";
  return head + Wrapped(words, std::string(head.size(), ' ')).substr(head.size());
}

std::string HelpText(const CommandForm& form) {
  std::string text = "Usage:\n" + Synopsis(form) + "\n" + Wrapped(SplitAtBlanks(form.about), "");
  if (!form.options.empty()) text += "\nOptions:\n" + OptionLines(form.options);
  return text;
}

std::string Wrapped(const Words& words, const std::string& indent) {
  std::string text;
  std::string line = indent;
  for (const std::string& word : words) {
    const bool first = line.size() == indent.size();
    if (!first && line.size() + 1 + word.size() > kLineWidth) {
      text += line + "\n";
      line = indent + word;
    } else {
      line += (first ? "" : " ") + word;
    }
  }
  return text + line + "\n";
}

Words SplitAtBlanks(std::string_view text) {
  Words words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (end != 0) words.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

}  // namespace vorn::lab

#pragma once

// What may stand after a command of the lab: operands, options, and for a command that runs the
// program, the program's own words. A command states its form once; its words are read by that
// form, and its help is written from it.

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::lab {

using Words = std::vector<std::string>;

struct Operand {
  std::string_view name;  // "DIR"
  std::string_view what;  // "the folder of a machine"
};

struct Option {
  std::string_view name;   // "--trace"
  std::string_view value;  // "FILE"; empty for a switch
  std::string_view about;
  bool repeats = false;
};

struct CommandForm {
  std::string_view name;
  std::span<const Operand> operands;
  std::span<const Option> options;
  std::string_view tail;   // what stands last and is not the lab's: "[COMMAND ARGUMENTS...]"
  std::string_view about;  // sentences
};

/// The words after a command's name, read by its form.
class CommandWords {
 public:
  /// Throws BadInput for an option that the form does not have, for one without its value, and for
  /// a word too many. With a tail, the first word after the operands that is no option, or the one
  /// after "--", begins it.
  CommandWords(const CommandForm& form, const Words& words);

  /// Whether the reader was asked for help, or for the version, instead; then nothing else counts.
  bool AsksForHelp() const { return asksForHelp_; }
  bool AsksForVersion() const { return asksForVersion_; }

  /// Throws BadInput, with what is missing, when there are fewer.
  const std::string& OperandAt(std::size_t index) const;
  std::size_t OperandCount() const { return operands_.size(); }

  bool Has(std::string_view option) const { return Last(option) != nullptr; }

  /// The value that an option was given last; null when it is missing.
  const std::string* Last(std::string_view option) const;

  /// Every value of an option, in order.
  std::vector<std::string> All(std::string_view option) const;

  const Words& Tail() const { return tail_; }

 private:
  struct Given {
    std::string_view option;
    std::string value;
  };

  /// Reads the option at `index` and moves the index to its last word.
  void ReadOption(const Words& words, std::size_t& index);

  const CommandForm& form_;
  bool asksForHelp_ = false;
  bool asksForVersion_ = false;
  Words operands_;
  std::vector<Given> given_;
  Words tail_;
};

bool IsHelpOption(std::string_view word);

/// "vorn_lab run DIR [--strict] ...", in lines that begin with two blanks.
std::string Synopsis(const CommandForm& form);

/// The synopsis, what the command does, and its options.
std::string HelpText(const CommandForm& form);

/// Words in lines of a terminal's width; each line begins with `indent`.
std::string Wrapped(const Words& words, const std::string& indent);

/// The words of a text.
Words SplitAtBlanks(std::string_view text);

}  // namespace vorn::lab

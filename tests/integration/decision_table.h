#pragma once

// The table of decisions: every way in which a command can end that an installer has to tell apart.
// docs/integration.md and docs/troubleshooting.md print it, the tests of this folder run each row.
// decisions.json has it in a form for scripts.

#include "lab/json.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace vorn::tests {

/// What an operator finds when everything that a row recommends is done.
struct GoodEnd {
  std::string runs;           // version of the image in memory, empty without one
  std::size_t endpoints = 0;  // that the user sees
  std::string journal;        // version that the journal names, "none" or "unreadable"

  friend bool operator==(const GoodEnd&, const GoodEnd&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const GoodEnd& end);
};

/// How a run comes about: commands of the lab.
struct Staging {
  std::string machine;             // the name of a staged machine
  lab::Json prepare;               // steps from there
  std::vector<std::string> words;  // of `vorn_lab run`, without the folder
  int status = 0;                  // that the run must have
};

struct Decision {
  std::string id;
  Staging staging;

  // What the program and the machine then show.
  std::string line;      // the deciding line, "*" stands for any text; empty: nothing is printed
  std::string stream;    // "out", "err", or empty when nothing is printed
  bool touched = false;  // whether devices, endpoints or packages differ from before
  std::string journal;   // "none", "unchanged", or "target": it names the INF of this run
  std::string runs;      // as in GoodEnd
  std::size_t endpoints = 0;
  std::uint64_t seconds = 0;  // whole ones of the machine's time

  // What the installer does.
  std::string sequence;  // the name of a section of docs/integration.md
  int installerCode = 0;
  lab::Json then;  // steps; a run ends with the status it must have
  GoodEnd end;
  bool newEndpoints = false;  // the end has other endpoints than the beginning

  friend std::ostream& operator<<(std::ostream& stream, const Decision& decision) {
    return stream << decision.id;
  }
};

/// Something that docs/troubleshooting.md explains: a line, an error code, an observation.
struct Explained {
  std::string pattern;             // of the line that shows it
  std::optional<Staging> staging;  // a run that prints it, when no decision needs to
  bool staged = true;              // false: the lab cannot bring it about

  friend std::ostream& operator<<(std::ostream& stream, const Explained& explained) {
    return stream << explained.pattern;
  }
};

class DecisionTable {
 public:
  /// The table in decisions.json. Throws when it is malformed.
  static const DecisionTable& Get();

  const std::vector<Decision>& Rows() const { return rows_; }
  const Decision& Row(const std::string& id) const;

  const std::vector<Explained>& Lines() const { return lines_; }
  const std::vector<Explained>& Codes() const { return codes_; }
  const std::vector<Explained>& Observations() const { return observations_; }

  /// The steps that stage a machine. Throws for a name that the table lacks.
  const lab::Json& StepsOf(const std::string& machine) const;

  /// The text behind a name of the table, such as INF1.
  std::string Named(const std::string& name) const;

 private:
  DecisionTable();

  std::vector<Decision> rows_;
  std::vector<Explained> lines_;
  std::vector<Explained> codes_;
  std::vector<Explained> observations_;
  lab::Json names_;
  lab::Json machines_;
};

}  // namespace vorn::tests

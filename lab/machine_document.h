#pragma once

// machine.json: everything about a machine except the content of its files, and the facts about the
// processes that run on it. docs/lab.md describes every key.

#include "lab/file_facts.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/security_model.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::lab {

/// Facts that hold for every process that starts on the machine.
struct ProcessFacts {
  platform::simulated::Token token;
  bool standardOutputClosed = false;
  bool ntdllMissing = false;
  std::vector<std::string> missingExports;
  std::vector<std::string> faults;  // that befall every process, as --fault describes them
};

struct MachineDocument {
  platform::simulated::Machine machine;  // without volumes, nodes and opens
  ProcessFacts process;
  std::vector<VolumeFacts> volumes;
  std::vector<HeldFile> heldFiles;
};

/// The text of a document, ending with a line feed.
std::string WriteDocument(const MachineDocument& document);

/// Reads a document; a missing key keeps its default. Throws BadInput, with the path of the key,
/// for anything wrong.
MachineDocument ReadDocument(std::string_view text);
MachineDocument ReadDocumentFrom(const Json& json);

}  // namespace vorn::lab

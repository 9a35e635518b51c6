#pragma once

// machine.json: everything of a machine but the content of its files, and the facts of the
// processes that run on it. docs/lab.md describes every key.

#include "lab/file_facts.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/security_model.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::lab {

/// Facts that every process of the machine starts with.
struct ProcessFacts {
  platform::simulated::Token token;
  bool standardOutputClosed = false;
  bool ntdllMissing = false;
  std::vector<std::string> missingExports;
};

struct MachineDocument {
  platform::simulated::Machine machine;  // without volumes, nodes and opens
  ProcessFacts process;
  std::vector<VolumeFacts> volumes;
  std::vector<HeldFile> heldFiles;
};

/// The text of a document, ended by a line feed.
std::string WriteDocument(const MachineDocument& document);

/// Reads a document; keys that are left out have their usual values. Throws BadInput, with the path
/// of the key, for anything that is not as it must be.
MachineDocument ReadDocument(std::string_view text);

}  // namespace vorn::lab

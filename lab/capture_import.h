#pragma once

// ImportCapture: makes a machine of a capture. What a capture cannot know, such as how the endpoint
// builder will behave, has the model's usual values, and the notes say so.

#include "lab/json.h"
#include "lab/machine_folder.h"

#include <string>
#include <vector>

namespace vorn::lab {

/// A capture as it lies in its folder: machine.json and the numbered contents.
struct CaptureFiles {
  std::string document = {};
  std::vector<Bytes> contents = {};
  std::vector<std::string> unread = {};  // facts that could not be read, in words
};

struct ImportOptions {
  /// What every driver image does beyond what the capture says of it: keys of an image, or nothing.
  /// Usually it is sound.
  Json image = Json::Object();
};

struct ImportedCapture {
  LabMachine lab;
  std::string origin;  // one line: which Windows, which session
  std::vector<std::string>
      notes;  // one line each: what was not in the capture and was taken for it
};

/// Throws BadInput, with the path of the key, for a capture that is damaged or newer.
ImportedCapture ImportCapture(const CaptureFiles& files, const ImportOptions& options = {});

}  // namespace vorn::lab

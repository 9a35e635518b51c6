#include "lab/capture_document.h"

#include "capture/document.h"
#include "lab/facts.h"
#include "lab/json_text.h"

#include <algorithm>
#include <span>
#include <utility>

namespace vorn::lab {

namespace {

constexpr const char* kOwnKeys[] = {"capture", "published", "errors"};
constexpr const char* kOwnDeviceKeys[] = {"driver"};
constexpr const char* kOwnFileKeys[] = {"directory", "size", "content", "links", "openError"};

/// The members of an object that only a capture has, and the others.
struct Parts {
  Json own = Json::Object();
  Json lab = Json::Object();
};

Parts Split(const Json& json, const std::string& path, std::span<const char* const> ownKeys) {
  const auto* const object = json.As<Json::Object>();
  if (object == nullptr) throw BadInput(path, "must be an object");
  Json::Object own;
  Json::Object lab;
  for (const auto& member : *object) {
    const bool isOwn = std::find(ownKeys.begin(), ownKeys.end(), member.first) != ownKeys.end();
    (isOwn ? own : lab).push_back(member);
  }
  return {Json(std::move(own)), Json(std::move(lab))};
}

struct WindowsVersion {
  CaptureOrigin& origin;
};

template <class Facts>
void Describe(Facts& facts, WindowsVersion& version) {
  facts.Fact("major", version.origin.windowsMajor);
  facts.Fact("minor", version.origin.windowsMinor);
  facts.Fact("build", version.origin.windowsBuild);
}

struct DriverAnswers {
  std::vector<CapturedReply> driver;
};
struct OwnParts {
  CaptureDocument& capture;
};

}  // namespace

template <class Facts>
void Describe(Facts& facts, CaptureOrigin& origin) {
  facts.Required("format", origin.format);
  facts.Fact("raw", origin.raw);
  WindowsVersion version{origin};
  facts.Fact("windows", version);
  facts.Fact("session", origin.session);
  facts.Fact("remoteSession", origin.remoteSession);
  facts.Fact("elevated", origin.elevated);
}

template <class Facts>
void Describe(Facts& facts, CapturedReply& reply) {
  facts.Required("code", Coded{reply.code});
  facts.Fact("reply", reply.reply);
  facts.Fact("error", Coded{reply.error});
}

template <class Facts>
void Describe(Facts& facts, CapturedFile& file) {
  facts.Fact("directory", file.directory);
  facts.Fact("size", file.size);
  facts.Fact("content", file.content);
  facts.Fact("links", file.links);
  facts.Fact("openError", Coded{file.openError});
}

template <class Facts>
void Describe(Facts& facts, CapturedPackage& package) {
  facts.Required("name", package.name);
  facts.Fact("ours", package.ours);
  facts.Fact("originalInf", package.originalInf);
  facts.Fact("originalCatalog", package.originalCatalog);
}

template <class Facts>
void Describe(Facts& facts, CapturedError& error) {
  facts.Fact("fact", error.fact);
  facts.Fact("call", error.call);
  facts.Fact("code", Coded{error.code});
}

namespace {

template <class Facts>
void Describe(Facts& facts, DriverAnswers& answers) {
  facts.Fact("driver", answers.driver);
}

template <class Facts>
void Describe(Facts& facts, OwnParts& parts) {
  facts.Required("capture", parts.capture.origin);
  facts.Fact("published", parts.capture.published);
  facts.Fact("errors", parts.capture.errors);
}

/// A newer format is refused before anything else in it is looked at.
void CheckFormat(const Json& json) {
  const Json* const origin = json.Find("capture");
  if (origin == nullptr) throw BadInput("capture", "is missing: this is no capture");
  const Json* const format = origin->Find("format");
  if (format == nullptr) throw BadInput("capture.format", "is missing");
  std::uint64_t number = 0;
  FromJson(*format, "capture.format", number);
  if (number > capture::kCaptureFormat) {
    throw BadInput("capture.format", "is " + std::to_string(number) +
                                         ", which a newer version wrote; this one reads up to " +
                                         std::to_string(capture::kCaptureFormat));
  }
}

/// Takes what only a capture has out of the devices.
Json SplitDevices(const Json& json, CaptureDocument& capture) {
  Json devices = Json::List();
  for (const Json& device : DemandList(json, "devices")) {
    const std::string path = PathOfElement("devices", capture.replies.size());
    const Parts parts = Split(device, path, kOwnDeviceKeys);
    DriverAnswers answers;
    FromJson(parts.own, path, answers);
    capture.replies.push_back(std::move(answers.driver));
    devices.push_back(parts.lab);
  }
  return devices;
}

Json SplitFiles(const Json& json, const std::string& path, std::vector<CapturedFile>& captured) {
  Json files = Json::List();
  for (const Json& file : DemandList(json, path)) {
    const std::string filePath = PathOfElement(path, captured.size());
    const Parts parts = Split(file, filePath, kOwnFileKeys);
    FromJson(parts.own, filePath, captured.emplace_back());
    files.push_back(parts.lab);
  }
  return files;
}

Json SplitVolumes(const Json& json, CaptureDocument& capture) {
  Json volumes = Json::List();
  for (const Json& volume : DemandList(json, "volumes")) {
    const std::string path = PathOfElement("volumes", capture.files.size());
    const auto* const object = volume.As<Json::Object>();
    if (object == nullptr) throw BadInput(path, "must be an object");
    std::vector<CapturedFile>& captured = capture.files.emplace_back();
    Json::Object lab;
    for (const auto& [key, value] : *object)
      lab.emplace_back(key, key == "files" ? SplitFiles(value, path + ".files", captured) : value);
    volumes.push_back(Json(std::move(lab)));
  }
  return volumes;
}

}  // namespace

CaptureDocument ReadCaptureDocument(std::string_view text) {
  const Json json = ParseJson(text);
  CheckFormat(json);
  CaptureDocument capture;
  Parts parts = Split(json, "", kOwnKeys);
  OwnParts own{capture};
  FromJson(parts.own, "", own);
  if (parts.lab.Find("devices") != nullptr) {
    parts.lab["devices"] = SplitDevices(std::as_const(parts.lab)["devices"], capture);
  }
  if (parts.lab.Find("volumes") != nullptr) {
    parts.lab["volumes"] = SplitVolumes(std::as_const(parts.lab)["volumes"], capture);
  }
  capture.document = ReadDocumentFrom(parts.lab);
  return capture;
}

}  // namespace vorn::lab

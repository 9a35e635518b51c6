#include "base/text.h"
#include "lab/machine_report.h"

#include <map>

namespace vorn::lab {

namespace {

/// Builds a text line by line.
class Page {
 public:
  void Title(const std::string& title) { text_ += (text_.empty() ? "" : "\n") + title + "\n"; }
  void Line(const std::string& line) { text_ += "  " + line + "\n"; }
  void Detail(const std::string& line) { text_ += "      " + line + "\n"; }
  void None(bool none) {
    if (none) Line("none");
  }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

/// Padded to `width`, with at least two blanks before whatever follows.
std::string PaddedTo(std::string text, std::size_t width) {
  text.resize(std::max(text.size() + 2, width), ' ');
  return text;
}

std::string JoinTexts(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts)
    joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

std::string JoinTexts(const std::vector<std::u16string>& texts) {
  std::vector<std::string> narrow;
  narrow.reserve(texts.size());
  for (const std::u16string& text : texts)
    narrow.push_back(ToUtf8(text));
  return JoinTexts(narrow);
}

void AddDevices(Page& page, const std::vector<DeviceReport>& devices) {
  page.Title("Devices");
  page.None(devices.empty());
  for (const DeviceReport& device : devices) {
    page.Line(PaddedTo(ToUtf8(device.instanceId), 26) + PaddedTo(device.state, 12) +
              JoinTexts(device.hardwareIds));
    if (!device.package.empty()) {
      page.Detail("bound to " + ToUtf8(device.package) + ", version " + ToUtf8(device.version) +
                  ", service " + ToUtf8(device.service));
    }
    if (!device.pendingPackage.empty()) {
      page.Detail("after the next restart " + ToUtf8(device.pendingPackage));
    }
    if (!device.resident.empty()) page.Detail("in memory: image " + device.resident);
    if (!device.hiddenEndpoints.empty()) {
      page.Detail("hidden by the driver: " + JoinTexts(device.hiddenEndpoints));
    }
  }
}

void AddPackages(Page& page, const std::vector<PackageReport>& packages) {
  page.Title("Published packages");
  page.None(packages.empty());
  for (const PackageReport& package : packages) {
    page.Line(PaddedTo(ToUtf8(package.publishedInf), 12) + PaddedTo(ToUtf8(package.version), 14) +
              PaddedTo(ToUtf8(package.date), 12) + ToUtf8(package.originalInf) +
              (package.usedBy.empty() ? "" : ", used by " + JoinTexts(package.usedBy)));
  }
}

std::string Shown(const EndpointReport& endpoint) {
  const bool active = endpoint.state == "active";
  return endpoint.state + (active && !endpoint.pnpChild ? " (no PnP child)" : "");
}

bool IsVisible(const EndpointReport& endpoint) {
  return endpoint.state == "active" || endpoint.state == "disabled";
}

/// One row for each cable of each device, then the endpoints of others.
void AddEndpoints(Page& page, const std::vector<EndpointReport>& endpoints) {
  page.Title("Endpoints that the user sees");
  using Row = std::map<std::string, std::vector<std::string>>;  // by flow
  std::map<std::pair<std::u16string, std::uint32_t>, Row> rows;
  std::vector<std::string> others;
  std::size_t unseen = 0;
  for (const EndpointReport& endpoint : endpoints) {
    if (!IsVisible(endpoint)) {
      ++unseen;
    } else if (endpoint.cable) {
      rows[{endpoint.device, *endpoint.cable}][endpoint.flow].push_back(Shown(endpoint));
    } else {
      others.push_back(PaddedTo(endpoint.flow + " " + Shown(endpoint), 20) + "of " +
                       ToUtf8(endpoint.device));
    }
  }
  page.None(rows.empty() && others.empty());
  for (auto& [place, row] : rows) {
    page.Line(PaddedTo(ToUtf8(place.first), 18) +
              PaddedTo("cable " + std::to_string(place.second), 10) +
              PaddedTo("render " + JoinTexts(row["render"]), 20) + "capture " +
              JoinTexts(row["capture"]));
  }
  for (const std::string& other : others)
    page.Line(other);
  if (unseen != 0)
    page.Line("and " + std::to_string(unseen) + " in the catalog that are not there");
}

void AddFiles(Page& page, const std::string& title, const std::vector<TextFileReport>& files) {
  page.Title(title);
  page.None(files.empty());
  for (const TextFileReport& file : files) {
    page.Line(ToUtf8(file.path) + (file.wellFormed ? "" : " (malformed)"));
    for (const std::string& line : file.lines)
      page.Detail(line);
  }
}

Json Texts(const std::vector<std::u16string>& texts) {
  Json list = Json::List();
  for (const std::u16string& text : texts)
    list.push_back(ToUtf8(text));
  return list;
}

Json TextList(const std::vector<std::string>& texts) {
  return Json::List(texts.begin(), texts.end());
}

Json FilesJson(const std::vector<TextFileReport>& files) {
  Json list = Json::List();
  for (const TextFileReport& file : files)
    list.push_back({{"path", ToUtf8(file.path)},
                    {"wellFormed", file.wellFormed},
                    {"lines", TextList(file.lines)}});
  return list;
}

Json DeviceJson(const DeviceReport& device) {
  return {{"instanceId", ToUtf8(device.instanceId)},
          {"state", device.state},
          {"hardwareIds", Texts(device.hardwareIds)},
          {"service", ToUtf8(device.service)},
          {"package", ToUtf8(device.package)},
          {"pendingPackage", ToUtf8(device.pendingPackage)},
          {"version", ToUtf8(device.version)},
          {"resident", device.resident},
          {"hiddenEndpoints", TextList(device.hiddenEndpoints)}};
}

Json PackageJson(const PackageReport& package) {
  return {{"publishedInf", ToUtf8(package.publishedInf)},
          {"originalInf", ToUtf8(package.originalInf)},
          {"version", ToUtf8(package.version)},
          {"date", ToUtf8(package.date)},
          {"infSha256", package.infSha256},
          {"usedBy", Texts(package.usedBy)},
          {"foreign", package.foreign}};
}

Json EndpointJson(const EndpointReport& endpoint) {
  return {{"id", ToUtf8(endpoint.id)},
          {"flow", endpoint.flow},
          {"cable", endpoint.cable ? Json(*endpoint.cable) : Json(nullptr)},
          {"state", endpoint.state},
          {"device", ToUtf8(endpoint.device)},
          {"pnpChild", endpoint.pnpChild}};
}

template <class T>
Json ListJson(const std::vector<T>& values, Json (*toJson)(const T&)) {
  Json list = Json::List();
  for (const T& value : values)
    list.push_back(toJson(value));
  return list;
}

}  // namespace

std::string ReportText(const MachineReport& report) {
  Page page;
  page.Title("Machine at " + report.time + " UTC, tick " + std::to_string(report.tick));
  AddDevices(page, report.devices);
  AddPackages(page, report.packages);
  AddEndpoints(page, report.endpoints);
  page.Title("Endpoint records of the driver in the registry");
  page.Line(std::to_string(report.records.size()));
  page.Title("Services");
  page.None(report.services.empty());
  for (const auto& [name, running] : report.services)
    page.Line(PaddedTo(ToUtf8(name), 26) + (running ? "running" : "stopped"));
  AddFiles(page, "Journal", report.journals);
  AddFiles(page, "Removal log", report.logs);
  if (!report.snapshots.empty()) {
    page.Title("Left behind");
    for (const std::u16string& path : report.snapshots)
      page.Line(ToUtf8(path));
  }
  return page.Take();
}

Json ReportJson(const MachineReport& report) {
  Json services = Json::Object();
  for (const auto& [name, running] : report.services)
    services[ToUtf8(name)] = running ? "running" : "stopped";
  return {{"tick", report.tick},
          {"time", report.time},
          {"devices", ListJson(report.devices, DeviceJson)},
          {"packages", ListJson(report.packages, PackageJson)},
          {"endpoints", ListJson(report.endpoints, EndpointJson)},
          {"records", Texts(report.records)},
          {"services", std::move(services)},
          {"journals", FilesJson(report.journals)},
          {"logs", FilesJson(report.logs)},
          {"snapshots", Texts(report.snapshots)}};
}

}  // namespace vorn::lab

#include "tests/integration/decision_table.h"

#include "lab/json_text.h"
#include "tests/lab/temporary_folder.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::tests {

using lab::Json;

namespace {

/// Replaces each "$NAME" by its text.
std::string WithNames(std::string text, const Json::Object& names) {
  for (std::size_t at = text.find('$'); at != std::string::npos; at = text.find('$', at)) {
    const auto named = std::find_if(names.begin(), names.end(), [&](const auto& name) {
      return text.compare(at + 1, name.first.size(), name.first) == 0;
    });
    if (named == names.end()) throw std::invalid_argument("no such name: " + text);
    const std::string& value = *named->second.As<std::string>();
    text.replace(at, named->first.size() + 1, value);
    at += value.size();
  }
  return text;
}

Json WithNames(const Json& json, const Json::Object& names) {
  if (const auto* text = json.As<std::string>()) return Json(WithNames(*text, names));
  if (const auto* list = json.As<Json::List>()) {
    Json::List result;
    for (const Json& each : *list)
      result.emplace_back(WithNames(each, names));
    return Json(std::move(result));
  }
  if (const auto* object = json.As<Json::Object>()) {
    Json::Object result;
    for (const auto& [key, value] : *object)
      result.emplace_back(key, WithNames(value, names));
    return Json(std::move(result));
  }
  return json;
}

std::string Text(const Json& json, std::string_view key) {
  return *json[key].As<std::string>();
}
std::uint64_t Number(const Json& json, std::string_view key) {
  return *json[key].As<std::uint64_t>();
}
bool Flag(const Json& json, std::string_view key) {
  const Json* const flag = json.Find(key);
  return flag != nullptr && *flag->As<bool>();
}
Json Steps(const Json& json, std::string_view key) {
  const Json* const steps = json.Find(key);
  return steps == nullptr ? Json(Json::List()) : *steps;
}

Staging StagingOf(const Json& json) {
  Staging staging;
  staging.machine = Text(json, "machine");
  staging.prepare = Steps(json, "prepare");
  for (const Json& word : json["run"])
    staging.words.push_back(*word.As<std::string>());
  staging.status = static_cast<int>(Number(json, "status"));
  return staging;
}

Explained ExplainedBy(const Json& json, std::string pattern) {
  Explained explained;
  explained.pattern = std::move(pattern);
  if (json.Find("run") != nullptr) explained.staging = StagingOf(json);
  const Json* const staged = json.Find("staged");
  explained.staged = staged == nullptr || *staged->As<bool>();
  return explained;
}

Decision RowOf(const Json& json) {
  Decision row;
  row.id = Text(json, "id");
  row.staging = StagingOf(json);
  row.line = Text(json, "line");
  row.stream = Text(json, "stream");
  row.touched = Flag(json, "touched");
  row.journal = Text(json, "journal");
  row.runs = Text(json, "runs");
  row.endpoints = Number(json, "endpoints");
  row.seconds = Number(json, "seconds");
  row.sequence = Text(json, "sequence");
  row.installerCode = static_cast<int>(Number(json, "installer"));
  row.then = Steps(json, "then");
  const Json& end = json["ends"];
  row.end = {Text(end, "runs"), Number(end, "endpoints"), Text(end, "journal")};
  row.newEndpoints = Flag(json, "newEndpoints");
  return row;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const GoodEnd& end) {
  return stream << "runs \"" << end.runs << "\", " << end.endpoints << " endpoints, journal "
                << end.journal;
}

const DecisionTable& DecisionTable::Get() {
  static const DecisionTable table;
  return table;
}

DecisionTable::DecisionTable() {
  const Json table = lab::ParseJson(lab::ReadHostFile(VORN_DECISIONS));
  names_ = table["names"];
  const Json::Object& names = *names_.As<Json::Object>();
  machines_ = WithNames(table["machines"], names);
  for (const Json& row : WithNames(table["rows"], names))
    rows_.push_back(RowOf(row));
  for (const Json& line : WithNames(table["lines"], names))
    lines_.push_back(ExplainedBy(line, Text(line, "line")));
  for (const Json& code : WithNames(table["codes"], names))
    codes_.push_back(ExplainedBy(code, "*error " + Text(code, "code") + "*"));
  for (const Json& seen : WithNames(table["observations"], names))
    observations_.push_back(
        ExplainedBy(seen, "*" + Text(seen, "in") + "=" + Text(seen, "reason") + "*"));
}

const Decision& DecisionTable::Row(const std::string& id) const {
  const auto row = std::find_if(rows_.begin(), rows_.end(),
                                [&id](const Decision& each) { return each.id == id; });
  if (row == rows_.end()) throw std::invalid_argument("no such row: " + id);
  return *row;
}

const Json& DecisionTable::StepsOf(const std::string& machine) const {
  return machines_[machine]["steps"];
}

std::string DecisionTable::Named(const std::string& name) const {
  return Text(names_, name);
}

}  // namespace vorn::tests

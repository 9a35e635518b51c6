#include "lab/json_text.h"

#include "lab/bad_input.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <type_traits>
#include <vector>

namespace vorn::lab {

namespace {

using LibraryJson = nlohmann::ordered_json;

constexpr std::size_t kLineLength = 110;
constexpr std::size_t kIndent = 2;

/// A text, a number or a word, as the library writes it.
std::string ScalarText(const Json& json) {
  return std::visit(
      [](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, Json::List> || std::is_same_v<T, Json::Object>) {
          return std::string();
        } else {
          return LibraryJson(value).dump();
        }
      },
      json.Get());
}

struct JsonEntry {
  std::string name;  // of a member, with its colon; empty in a list
  const Json& value;
};

/// What stands between the brackets of a list or an object.
std::vector<JsonEntry> EntriesOf(const Json& json) {
  std::vector<JsonEntry> entries;
  if (const auto* const list = json.As<Json::List>()) {
    for (const Json& value : *list)
      entries.push_back({{}, value});
  }
  if (const auto* const object = json.As<Json::Object>()) {
    for (const auto& [key, value] : *object)
      entries.push_back({ScalarText(key) + ": ", value});
  }
  return entries;
}

/// The brackets of a list or an object; empty for any other value.
std::string_view BracketsOf(const Json& json) {
  if (json.As<Json::List>() != nullptr) return "[]";
  return json.As<Json::Object>() != nullptr ? "{}" : "";
}

/// On one line, with a blank after commas and colons.
void AppendInline(const Json& json, std::string& text) {
  const std::string_view brackets = BracketsOf(json);
  if (brackets.empty()) {
    text += ScalarText(json);
    return;
  }
  text += brackets.front();
  bool first = true;
  for (const JsonEntry& entry : EntriesOf(json)) {
    text += (first ? "" : ", ") + entry.name;
    first = false;
    AppendInline(entry.value, text);
  }
  text += brackets.back();
}

/// Appends a value that starts after `indent` blanks and `lead` more characters.
void Append(const Json& json, std::size_t indent, std::size_t lead, std::string& text) {
  std::string line;
  AppendInline(json, line);
  const std::vector<JsonEntry> entries = EntriesOf(json);
  if (entries.empty() || indent + lead + line.size() <= kLineLength) {
    text += line;
    return;
  }
  const std::string inner(indent + kIndent, ' ');
  text += BracketsOf(json).front();
  bool first = true;
  for (const JsonEntry& entry : entries) {
    text += (first ? "\n" : ",\n") + inner + entry.name;
    first = false;
    Append(entry.value, inner.size(), entry.name.size(), text);
  }
  text += "\n" + std::string(indent, ' ') + BracketsOf(json).back();
}

/// Line and column, from 1, of the byte at `offset`.
std::string PlaceOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n') + 1;  // 0 when there is none
  return "line " + std::to_string(lines + 1) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

/// Refuses what the parser itself accepts: a key that appears twice, and nesting deep enough to
/// exhaust the stack of code that walks the value.
class StructureCheck {
 public:
  bool operator()(int depth, LibraryJson::parse_event_t event, LibraryJson& parsed) {
    if (depth > kMaxNesting) throw BadInput("values are nested too deeply");
    if (event == LibraryJson::parse_event_t::object_start) keys_.emplace_back();
    if (event == LibraryJson::parse_event_t::object_end) keys_.pop_back();
    if (event == LibraryJson::parse_event_t::key &&
        !keys_.back().insert(parsed.get_ref<const std::string&>()).second) {
      throw BadInput("the key " + parsed.dump() + " appears twice in one object");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> keys_;  // of the objects still open
};

Json FromLibrary(const LibraryJson& parsed) {
  using Kind = LibraryJson::value_t;
  switch (parsed.type()) {
    case Kind::boolean:
      return parsed.get<bool>();
    case Kind::number_unsigned:
      return parsed.get<std::uint64_t>();
    case Kind::number_integer:
      return Json(Json::Value(parsed.get<std::int64_t>()));
    case Kind::number_float:
      return Json(Json::Value(parsed.get<double>()));
    case Kind::string:
      return parsed.get<std::string>();
    case Kind::array: {
      Json::List list;
      for (const LibraryJson& value : parsed)
        list.push_back(FromLibrary(value));
      return list;
    }
    case Kind::object: {
      Json::Object object;
      for (const auto& [key, value] : parsed.items())
        object.emplace_back(key, FromLibrary(value));
      return object;
    }
    default:
      return nullptr;
  }
}

}  // namespace

std::string ToReadableText(const Json& json) {
  std::string text;
  Append(json, 0, 0, text);
  return text + "\n";
}

Json ParseJson(std::string_view text) {
  StructureCheck check;
  try {
    return FromLibrary(LibraryJson::parse(
        text, [&check](int depth, LibraryJson::parse_event_t event, LibraryJson& parsed) {
          return check(depth, event, parsed);
        }));
  } catch (const LibraryJson::parse_error& error) {
    throw BadInput("invalid JSON at " + PlaceOf(text, error.byte == 0 ? 0 : error.byte - 1));
  } catch (const LibraryJson::exception&) {
    throw BadInput("invalid JSON: a number is out of range");
  }
}

}  // namespace vorn::lab

#include "lab/json_text.h"

#include "lab/bad_input.h"

#include <algorithm>
#include <set>
#include <vector>

namespace vorn::lab {

namespace {

constexpr std::size_t kLineLength = 110;
constexpr std::size_t kIndent = 2;

/// On one line, with a blank behind commas and colons.
void AppendInline(const Json& json, std::string& text) {
  if (json.empty() || !json.is_structured()) {
    text += json.dump();
    return;
  }
  const bool isObject = json.is_object();
  text += isObject ? "{" : "[";
  bool first = true;
  for (const auto& [key, value] : json.items()) {
    if (!first) text += ", ";
    first = false;
    if (isObject) text += Json(key).dump() + ": ";
    AppendInline(value, text);
  }
  text += isObject ? "}" : "]";
}

/// Appends a value that starts behind `indent` blanks and `lead` more characters.
void Append(const Json& json, std::size_t indent, std::size_t lead, std::string& text) {
  std::string line;
  AppendInline(json, line);
  if (!json.is_structured() || json.empty() || indent + lead + line.size() <= kLineLength) {
    text += line;
    return;
  }
  const bool isObject = json.is_object();
  const std::string inner(indent + kIndent, ' ');
  text += isObject ? "{" : "[";
  bool first = true;
  for (const auto& [key, value] : json.items()) {
    text += first ? "\n" : ",\n";
    first = false;
    const std::string name = isObject ? Json(key).dump() + ": " : std::string();
    text += inner + name;
    Append(value, inner.size(), name.size(), text);
  }
  text += "\n" + std::string(indent, ' ') + (isObject ? "}" : "]");
}

/// Line and column, from 1, of the byte at `offset`.
std::string PlaceOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n') + 1;  // 0 when there is none
  return "line " + std::to_string(lines + 1) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

/// Refuses what the parser itself lets pass: a key that stands twice, and nesting that would use up
/// the stack of whoever walks the value.
class StructureCheck {
 public:
  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    if (depth > kMaxNesting) throw BadInput("values are nested too deeply");
    if (event == Json::parse_event_t::object_start) keys_.emplace_back();
    if (event == Json::parse_event_t::object_end) keys_.pop_back();
    if (event == Json::parse_event_t::key &&
        !keys_.back().insert(parsed.get_ref<const std::string&>()).second) {
      throw BadInput("the key " + parsed.dump() + " stands twice in one object");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> keys_;  // of the objects that are open
};

}  // namespace

std::string ToReadableText(const Json& json) {
  std::string text;
  Append(json, 0, 0, text);
  return text + "\n";
}

Json ParseJson(std::string_view text) {
  StructureCheck check;
  try {
    return Json::parse(text, [&check](int depth, Json::parse_event_t event, Json& parsed) {
      return check(depth, event, parsed);
    });
  } catch (const Json::parse_error& error) {
    throw BadInput("no valid JSON at " + PlaceOf(text, error.byte == 0 ? 0 : error.byte - 1));
  } catch (const Json::exception&) {
    throw BadInput("no valid JSON: a number is out of range");
  }
}

}  // namespace vorn::lab

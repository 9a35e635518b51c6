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

/// Whether a text stands in JSON as it is.
bool IsPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char unit) {
    return unit < 0x20 || unit > 0x7E || unit == '"' || unit == '\\';
  });
}

/// A text, a number or a word, as the library writes it.
void AppendScalar(const Json::Value& scalar, std::string& text) {
  std::visit(
      [&text](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::string>) {
          if (IsPlain(value)) {
            text += '"';
            text += value;
            text += '"';
            return;
          }
        }
        if constexpr (!std::is_same_v<T, Json::List> && !std::is_same_v<T, Json::Object>) {
          text += LibraryJson(value).dump();
        }
      },
      scalar);
}

/// The name of a member with its colon; returns how long it is.
std::size_t AppendName(const std::string& name, std::string& text) {
  const std::size_t start = text.size();
  AppendScalar(name, text);
  text += ": ";
  return text.size() - start;
}

/// The brackets of a list or an object; empty for any other value.
std::string_view BracketsOf(const Json& json) {
  if (json.As<Json::List>() != nullptr) return "[]";
  return json.As<Json::Object>() != nullptr ? "{}" : "";
}

bool HasEntries(const Json& json) {
  const auto* const list = json.As<Json::List>();
  const auto* const object = json.As<Json::Object>();
  return (list != nullptr && !list->empty()) || (object != nullptr && !object->empty());
}

/// Calls `visit` with the name (null in a list) and the value of each entry, until it returns
/// false.
template <class Visit>
bool ForEachEntry(const Json& json, Visit visit) {
  if (const auto* const list = json.As<Json::List>()) {
    return std::all_of(list->begin(), list->end(),
                       [&](const Json& value) { return visit(nullptr, value); });
  }
  const auto& object = *json.As<Json::Object>();
  return std::all_of(object.begin(), object.end(),
                     [&](const auto& member) { return visit(&member.first, member.second); });
}

/// On one line, with a blank after commas and colons. False, with a part of it, when the text
/// becomes longer than `limit`: a long value is given up at once.
bool AppendInline(const Json& json, std::size_t limit, std::string& text) {
  const std::string_view brackets = BracketsOf(json);
  if (brackets.empty()) {
    AppendScalar(json.Get(), text);
    return text.size() <= limit;
  }
  text += brackets.front();
  bool first = true;
  const bool fits = ForEachEntry(json, [&](const std::string* name, const Json& value) {
    if (!first) text += ", ";
    first = false;
    if (name != nullptr) AppendName(*name, text);
    return AppendInline(value, limit, text);
  });
  text += brackets.back();
  return fits && text.size() <= limit;
}

/// Appends a value that starts after `indent` blanks and `lead` more characters.
void Append(const Json& json, std::size_t indent, std::size_t lead, std::string& text) {
  const std::size_t start = text.size();
  const std::size_t room = kLineLength - std::min(kLineLength, indent + lead);
  const bool fits = AppendInline(json, start + room, text);
  if (fits || !HasEntries(json)) return;
  text.resize(start);
  const std::size_t inner = indent + kIndent;
  text += BracketsOf(json).front();
  bool first = true;
  ForEachEntry(json, [&](const std::string* name, const Json& value) {
    text += first ? "\n" : ",\n";
    first = false;
    text.append(inner, ' ');
    Append(value, inner, name == nullptr ? 0 : AppendName(*name, text), text);
    return true;
  });
  text += '\n';
  text.append(indent, ' ');
  text += BracketsOf(json).back();
}

/// Line and column, from 1, of the byte at `offset`.
std::string PlaceOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n') + 1;  // 0 when there is none
  return "line " + std::to_string(lines + 1) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

/// Puts a value together from what the parser reads. It refuses what the parser itself accepts: a
/// key that appears twice, and nesting deep enough to exhaust the stack of code that walks the
/// value.
class Builder : public nlohmann::json_sax<LibraryJson> {
 public:
  explicit Builder(std::string_view text) : text_(text) {}

  bool null() override { return Add(nullptr); }
  bool boolean(bool value) override { return Add(value); }
  bool number_integer(std::int64_t value) override { return Add(Json(Json::Value(value))); }
  bool number_unsigned(std::uint64_t value) override { return Add(value); }
  bool number_float(double value, const std::string&) override {
    return Add(Json(Json::Value(value)));
  }
  bool string(std::string& value) override { return Add(std::move(value)); }
  bool binary(LibraryJson::binary_t&) override { return false; }  // not in a text

  bool start_array(std::size_t) override { return Open(Json::List()); }
  bool end_array() override { return Close(); }
  bool start_object(std::size_t) override { return Open(Json::Object()); }
  bool end_object() override { return Close(); }
  bool key(std::string& name) override {
    CheckNesting();
    if (!open_.back().keys.insert(name).second) {
      throw BadInput("the key " + LibraryJson(name).dump() + " appears twice in one object");
    }
    open_.back().key = std::move(name);
    return true;
  }

  bool parse_error(std::size_t, const std::string&,
                   const nlohmann::detail::exception& error) override {
    const auto* const place = dynamic_cast<const LibraryJson::parse_error*>(&error);
    if (place == nullptr) throw BadInput("invalid JSON: a number is out of range");
    throw BadInput("invalid JSON at " + PlaceOf(text_, place->byte == 0 ? 0 : place->byte - 1));
  }

  Json Take() { return std::move(result_); }

 private:
  struct Container {
    Json value;
    std::set<std::string> keys;  // of an object
    std::string key;             // of the member that comes next
  };

  void CheckNesting() const {
    if (open_.size() > std::size_t{kMaxNesting}) throw BadInput("values are nested too deeply");
  }

  bool Open(Json value) {
    CheckNesting();
    open_.push_back({std::move(value), {}, {}});
    return true;
  }

  bool Close() {
    Json value = std::move(open_.back().value);
    open_.pop_back();
    return Put(std::move(value));
  }

  bool Add(Json value) {
    CheckNesting();
    return Put(std::move(value));
  }

  bool Put(Json value) {
    if (open_.empty()) {
      result_ = std::move(value);
    } else if (open_.back().value.As<Json::List>() != nullptr) {
      open_.back().value.push_back(std::move(value));
    } else {
      open_.back().value.AddMember(std::move(open_.back().key), std::move(value));
    }
    return true;
  }

  std::string_view text_;
  std::vector<Container> open_;
  Json result_;
};

}  // namespace

std::string ToLineText(const Json& json) {
  std::string text;
  AppendInline(json, std::string::npos, text);
  return text;
}

std::string ToReadableText(const Json& json) {
  std::string text;
  Append(json, 0, 0, text);
  return text + "\n";
}

Json ParseJson(std::string_view text) {
  Builder builder(text);
  LibraryJson::sax_parse(text, &builder);
  return builder.Take();
}

}  // namespace vorn::lab

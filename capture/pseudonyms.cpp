#include "capture/pseudonyms.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vorn::capture {

namespace {

constexpr std::u16string_view kUsersFolder = u"USERS";

/// Profiles that every machine has.
constexpr std::array<std::u16string_view, 4> kSharedProfiles = {u"PUBLIC", u"DEFAULT", u"ALL USERS",
                                                                u"DEFAULT USER"};

/// The first relative id that is given to an account; those below are the same everywhere.
constexpr std::size_t kFirstAccount = 1001;
constexpr std::size_t kMostSharedDigits = 3;

constexpr std::u16string_view kDomainPrefix = u"S-1-5-21-";
constexpr std::u16string_view kPersonalPrefixes[] = {kDomainPrefix, u"S-1-12-1-", u"S-1-5-5-"};

bool IsSeparator(char16_t unit) {
  return unit == u'\\' || unit == u'/';
}

bool IsWordUnit(char16_t unit) {
  return IsAsciiLetter(unit) || IsAsciiDigit(unit) || unit == u'_' || unit >= 0x80;
}

std::u16string Decimal(std::size_t number) {
  return ToUtf16(std::to_string(number));
}

/// Where the piece that starts at `from` ends.
std::size_t EndOfPiece(std::u16string_view path, std::size_t from) {
  const auto end =
      std::find_if(path.begin() + static_cast<std::ptrdiff_t>(from), path.end(), IsSeparator);
  return static_cast<std::size_t>(end - path.begin());
}

/// The user's name in a path whose first folder is the one of the profiles.
std::optional<std::u16string_view> UserIn(std::u16string_view path) {
  std::size_t from = path.size() > 1 && path[1] == u':' ? 2 : 0;
  if (from < path.size() && IsSeparator(path[from])) ++from;
  if (from > path.size()) return std::nullopt;
  const std::size_t end = EndOfPiece(path, from);
  if (end == path.size()) return std::nullopt;
  if (!EqualsIgnoringCase(path.substr(from, end - from), kUsersFolder)) return std::nullopt;
  const std::size_t userEnd = EndOfPiece(path, end + 1);
  const std::u16string_view user = path.substr(end + 1, userEnd - end - 1);
  const std::u16string upper = ToUpperAscii(user);
  const bool shared =
      std::find(kSharedProfiles.begin(), kSharedProfiles.end(), upper) != kSharedProfiles.end();
  if (user.empty() || shared) return std::nullopt;
  return user;
}

}  // namespace

void Pseudonyms::Learn(std::u16string_view path) {
  if (raw_) return;
  if (const auto user = UserIn(path)) {
    users_.try_emplace(ToUpperAscii(*user), u"user" + Decimal(users_.size() + 1));
  }
}

const std::u16string* Pseudonyms::Find(std::u16string_view name) const {
  const auto found = users_.find(ToUpperAscii(name));
  return found == users_.end() ? nullptr : &found->second;
}

std::u16string Pseudonyms::Path(std::u16string_view path) const {
  std::u16string changed;
  for (std::size_t from = 0; from <= path.size();) {
    const std::size_t end = EndOfPiece(path, from);
    const std::u16string_view piece = path.substr(from, end - from);
    const std::u16string* const pseudonym = Find(piece);
    changed += pseudonym == nullptr ? piece : std::u16string_view(*pseudonym);
    if (end < path.size()) changed.push_back(path[end]);
    from = end + 1;
  }
  return changed;
}

std::u16string Pseudonyms::Text(std::u16string_view text) const {
  std::u16string changed(text);
  for (const auto& [name, pseudonym] : users_) {
    std::size_t from = 0;
    // Letters beyond ASCII are compared as they are, as the program does everywhere.
    for (std::size_t found = ToUpperAscii(changed).find(name); found != std::u16string::npos;
         found = ToUpperAscii(changed).find(name, from)) {
      const std::size_t end = found + name.size();
      const bool word = (found == 0 || !IsWordUnit(changed[found - 1])) &&
                        (end == changed.size() || !IsWordUnit(changed[end]));
      if (word) changed.replace(found, name.size(), pseudonym);
      from = found + (word ? pseudonym.size() : 1);
    }
  }
  return changed;
}

std::u16string Pseudonyms::Sid(std::u16string_view sid) {
  const bool personal =
      std::any_of(std::begin(kPersonalPrefixes), std::end(kPersonalPrefixes),
                  [sid](std::u16string_view prefix) { return sid.starts_with(prefix); });
  if (raw_ || !personal) return std::u16string(sid);
  const std::size_t last = sid.rfind(u'-');
  const std::u16string_view relative = sid.substr(last + 1);
  const std::u16string authority(sid.substr(0, last));
  const std::size_t number =
      authorities_.try_emplace(authority, authorities_.size() + 1).first->second;
  // 500 is the administrator of every machine; larger ids are given in the order of creation.
  std::u16string account(relative);
  if (relative.size() > kMostSharedDigits) {
    account = Decimal(
        accounts_.try_emplace(std::u16string(sid), kFirstAccount + accounts_.size()).first->second);
  }
  return std::u16string(kDomainPrefix) + u"1000000000-0-" + Decimal(number) + u"-" + account;
}

}  // namespace vorn::capture

// The text form of security descriptors: what ConvertStringSecurityDescriptorToSecurityDescriptorW
// reads. Documented: the text has the grammar of the security descriptor definition language. The
// model knows the trustee names and rights that files and keys use.

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/security.h"
#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/security_model.h"
#include "platform/simulated/security_values.h"

#include <algorithm>
#include <cstdio>

namespace vorn::platform::simulated {

namespace {

template <class Value>
struct Word {
  std::u16string_view text;
  Value value;
};

constexpr Word<std::uint8_t> kAceTypes[] = {
    {u"A", ACCESS_ALLOWED_ACE_TYPE},          {u"D", ACCESS_DENIED_ACE_TYPE},
    {u"AU", SYSTEM_AUDIT_ACE_TYPE},           {u"OA", ACCESS_ALLOWED_OBJECT_ACE_TYPE},
    {u"OD", ACCESS_DENIED_OBJECT_ACE_TYPE},   {u"OU", SYSTEM_AUDIT_OBJECT_ACE_TYPE},
    {u"ML", SYSTEM_MANDATORY_LABEL_ACE_TYPE},
};

constexpr Word<std::uint8_t> kAceFlags[] = {
    {u"OI", OBJECT_INHERIT_ACE},
    {u"CI", CONTAINER_INHERIT_ACE},
    {u"NP", NO_PROPAGATE_INHERIT_ACE},
    {u"IO", INHERIT_ONLY_ACE},
    {u"ID", INHERITED_ACE},
    {u"SA", SUCCESSFUL_ACCESS_ACE_FLAG},
    {u"FA", FAILED_ACCESS_ACE_FLAG},
};

constexpr Word<std::uint32_t> kRights[] = {
    {u"FA", FILE_ALL_ACCESS},      {u"FR", FILE_GENERIC_READ}, {u"FW", FILE_GENERIC_WRITE},
    {u"FX", FILE_GENERIC_EXECUTE}, {u"GA", GENERIC_ALL},       {u"GR", GENERIC_READ},
    {u"GW", GENERIC_WRITE},        {u"GX", GENERIC_EXECUTE},   {u"SD", DELETE},
    {u"RC", READ_CONTROL},         {u"WD", WRITE_DAC},         {u"WO", WRITE_OWNER},
    {u"KA", 0x000F003F},           {u"KR", 0x00020019},        {u"KW", 0x00020006},
    {u"KX", 0x00020019},           {u"CC", 0x00000001},        {u"DC", 0x00000002},
    {u"LC", 0x00000004},           {u"SW", 0x00000008},        {u"RP", 0x00000010},
    {u"WP", 0x00000020},           {u"DT", 0x00000040},        {u"LO", 0x00000080},
    {u"CR", 0x00000100},           {u"NW", 0x00000001},        {u"NR", 0x00000002},
    {u"NX", 0x00000004},
};

constexpr Word<std::u16string_view> kTrustees[] = {
    {u"SY", kLocalSystem},    {u"BA", kAdministrators},     {u"BU", kUsers},
    {u"WD", kEveryone},       {u"AU", kAuthenticatedUsers}, {u"CO", u"S-1-3-0"},
    {u"CG", u"S-1-3-1"},      {u"OW", u"S-1-3-4"},          {u"AN", u"S-1-5-7"},
    {u"LS", u"S-1-5-19"},     {u"NS", u"S-1-5-20"},         {u"IU", u"S-1-5-4"},
    {u"NU", u"S-1-5-2"},      {u"SU", u"S-1-5-6"},          {u"PS", u"S-1-5-10"},
    {u"BG", u"S-1-5-32-546"}, {u"PU", u"S-1-5-32-547"},     {u"BO", u"S-1-5-32-551"},
    {u"LW", u"S-1-16-4096"},  {u"ME", u"S-1-16-8192"},      {u"HI", u"S-1-16-12288"},
    {u"SI", u"S-1-16-16384"}, {u"AC", u"S-1-15-2-1"},
};

template <class Value, std::size_t Count>
std::optional<Value> ValueOfWord(const Word<Value> (&words)[Count], std::u16string_view text) {
  for (const Word<Value>& word : words) {
    if (EqualsIgnoringCase(word.text, text)) return word.value;
  }
  return std::nullopt;
}

template <class Value, std::size_t Count>
std::u16string WordFor(const Word<Value> (&words)[Count], const Value& value) {
  for (const Word<Value>& word : words) {
    if (word.value == value) return std::u16string(word.text);
  }
  return {};
}

std::optional<std::uint32_t> HexNumber(std::u16string_view text) {
  const bool marked = text.size() > 2 && text[0] == u'0' && ToLowerAscii(text[1]) == u'x';
  constexpr std::size_t kMostDigits = 8;
  if (!marked || text.size() > 2 + kMostDigits) return std::nullopt;
  std::uint32_t value = 0;
  for (const char16_t unit : text.substr(2)) {
    const char16_t lower = ToLowerAscii(unit);
    const bool letter = lower >= u'a' && lower <= u'f';
    if (!IsAsciiDigit(unit) && !letter) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(letter ? lower - u'a' + 10 : unit - u'0');
  }
  return value;
}

/// A sequence of two-letter words, combined by or.
template <class Value, std::size_t Count>
std::optional<Value> Combined(const Word<Value> (&words)[Count], std::u16string_view text) {
  constexpr std::size_t kWord = 2;
  Value all = 0;
  for (; !text.empty(); text.remove_prefix(kWord)) {
    if (text.size() < kWord) return std::nullopt;
    const std::optional<Value> value = ValueOfWord(words, text.substr(0, kWord));
    if (!value) return std::nullopt;
    all = static_cast<Value>(all | *value);
  }
  return all;
}

/// A descriptor's text, read from left to right.
class Reader {
 public:
  explicit Reader(std::u16string_view text) : rest_(text) {}

  std::optional<SecurityRecord> Read() {
    record_.owner.clear();
    record_.daclPresent = false;
    while (!rest_.empty() && error_ == ERROR_SUCCESS)
      ReadPart();
    return error_ == ERROR_SUCCESS ? std::optional(record_) : std::nullopt;
  }

  std::uint32_t Error() const { return error_; }

 private:
  void Fail(std::uint32_t error) { error_ = error; }

  void ReadPart() {
    if (rest_.size() < 2 || rest_[1] != u':') return Fail(ERROR_INVALID_PARAMETER);
    const char16_t part = ToUpperAscii(rest_[0]);
    if (seen_.find(part) != std::u16string::npos) return Fail(ERROR_INVALID_PARAMETER);
    seen_ += part;
    rest_.remove_prefix(2);
    if (part == u'O') {
      record_.owner = ReadTrustee();
    } else if (part == u'G') {
      record_.group = ReadTrustee();
    } else if (part == u'D') {
      ReadDacl();
    } else if (part == u'S') {
      ReadAcl();  // checked only; the model has no audit list
    } else {
      Fail(ERROR_INVALID_PARAMETER);
    }
  }

  /// Where a part ends whose successor has its colon there: at the letter before it, if there is
  /// one.
  static std::size_t EndBefore(std::size_t colon) { return colon == 0 ? 0 : colon - 1; }

  /// A trustee ends where the next part begins.
  std::u16string ReadTrustee() {
    const std::size_t colon = rest_.find(u':');
    const std::size_t end = colon == std::u16string_view::npos ? rest_.size() : EndBefore(colon);
    std::u16string trustee = Trustee(rest_.substr(0, end));
    rest_.remove_prefix(end);
    return trustee;
  }

  std::u16string Trustee(std::u16string_view text) {
    const auto alias = ValueOfWord(kTrustees, text);
    if (alias) return std::u16string(*alias);
    if (IsSidText(text)) {
      const std::vector<std::uint8_t> sid = SidBytes(text);
      return SidText(reinterpret_cast<const SID*>(sid.data()));
    }
    Fail(ERROR_INVALID_SID);
    return {};
  }

  struct Acl {
    std::u16string flags;
    std::vector<AccessEntry> entries;
  };

  Acl ReadAcl() {
    Acl acl;
    const std::size_t open = rest_.find(u'(');
    const std::size_t colon = rest_.find(u':');
    const bool hasEntries = open < colon;
    const std::size_t flagsEnd = hasEntries                           ? open
                                 : colon == std::u16string_view::npos ? rest_.size()
                                                                      : EndBefore(colon);
    acl.flags = ToUpperAscii(rest_.substr(0, flagsEnd));
    rest_.remove_prefix(flagsEnd);
    while (rest_.starts_with(u'(') && error_ == ERROR_SUCCESS)
      acl.entries.push_back(ReadEntry());
    return acl;
  }

  void ReadDacl() {
    Acl acl = ReadAcl();
    record_.daclPresent = true;
    std::u16string_view flags = acl.flags;
    const auto take = [&flags](std::u16string_view word) {
      const bool starts = flags.starts_with(word);
      if (starts) flags.remove_prefix(word.size());
      return starts;
    };
    while (!flags.empty()) {
      if (take(u"NO_ACCESS_CONTROL")) {
        record_.daclPresent = false;
      } else if (take(u"AR")) {
        // A request for propagation; it has no effect in the model.
      } else if (take(u"AI")) {
        record_.daclAutoInherited = true;
      } else if (take(u"P")) {
        record_.daclProtected = true;
      } else {
        return Fail(ERROR_INVALID_PARAMETER);
      }
    }
    record_.entries = std::move(acl.entries);
  }

  AccessEntry ReadEntry() {
    const std::size_t close = rest_.find(u')');
    if (close == std::u16string_view::npos) {
      Fail(ERROR_INVALID_ACL);
      return {};
    }
    const std::vector<std::u16string_view> fields = Fields(rest_.substr(1, close - 1));
    rest_.remove_prefix(close + 1);
    constexpr std::size_t kFields = 6;  // type; flags; rights; object; inherited object; trustee
    if (fields.size() != kFields) {
      Fail(ERROR_INVALID_ACL);
      return {};
    }
    const auto type = ValueOfWord(kAceTypes, fields[0]);
    const auto flags = Combined(kAceFlags, fields[1]);
    auto mask = HexNumber(fields[2]);
    if (!mask) mask = Combined(kRights, fields[2]);
    if (!type || !flags || !mask) {
      Fail(ERROR_INVALID_ACL);
      return {};
    }
    return {*type, *flags, *mask, Trustee(fields[5])};
  }

  static std::vector<std::u16string_view> Fields(std::u16string_view text) {
    std::vector<std::u16string_view> fields;
    while (true) {
      const std::size_t end = text.find(u';');
      fields.push_back(text.substr(0, end));
      if (end == std::u16string_view::npos) return fields;
      text.remove_prefix(end + 1);
    }
  }

  std::u16string_view rest_;
  std::u16string seen_;
  SecurityRecord record_;
  std::uint32_t error_ = ERROR_SUCCESS;
};

std::u16string TrusteeText(const std::u16string& sid) {
  const std::u16string alias = WordFor(kTrustees, std::u16string_view(sid));
  return alias.empty() ? sid : alias;
}

std::u16string RightsText(std::uint32_t mask) {
  // Only complete sets have a name of their own; the letters for directory services would be
  // misleading.
  for (const Word<std::uint32_t>& word : kRights) {
    const bool forFiles = word.text.starts_with(u'F') || word.text.starts_with(u'G');
    if (forFiles && word.value == mask) return std::u16string(word.text);
  }
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", mask);
  return ToUtf16(text);
}

std::u16string EntryText(const AccessEntry& entry) {
  std::u16string flags;
  for (const Word<std::uint8_t>& word : kAceFlags) {
    if ((entry.flags & word.value) != 0) flags += word.text;
  }
  return u"(" + WordFor(kAceTypes, entry.type) + u";" + flags + u";" + RightsText(entry.mask) +
         u";;;" + TrusteeText(entry.sid) + u")";
}

}  // namespace

std::optional<SecurityRecord> ParseSddl(std::u16string_view text, std::uint32_t* error) {
  Reader reader(text);
  std::optional<SecurityRecord> record = reader.Read();
  if (!record && error != nullptr) *error = reader.Error();
  return record;
}

std::u16string ToSddl(const SecurityRecord& record) {
  std::u16string text;
  if (!record.owner.empty()) text += u"O:" + TrusteeText(record.owner);
  if (!record.group.empty()) text += u"G:" + TrusteeText(record.group);
  if (!record.daclPresent) return text;
  text += u"D:";
  if (record.daclProtected) text += u"P";
  if (record.daclAutoInherited) text += u"AI";
  for (const AccessEntry& entry : record.entries)
    text += EntryText(entry);
  return text;
}

}  // namespace vorn::platform::simulated

#include "platform/simulated/driver_image.h"

#include "base/text.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>

// Ours: the .sys of the model is a text that says what the driver reports and does.

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kCables = 10;
constexpr std::string_view kHexDigits = "0123456789abcdef";

// ------------------------------------------------------------------------------------------------
// Numbers and fields.

/// A decimal number, or a hexadecimal one after "0x"; nothing for any other text.
std::optional<std::uint64_t> ToNumber(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint32_t> ToWord(std::string_view text) {
  const auto number = ToNumber(text);
  if (!number || *number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

std::string ToHex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(value));
  return text;
}

/// The text before the next comma; it and the comma are removed from `rest`.
std::string_view TakeField(std::string_view& rest) {
  const std::size_t comma = rest.find(',');
  const std::string_view field = rest.substr(0, comma);
  rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
  return field;
}

// ------------------------------------------------------------------------------------------------
// Names and bytes as text. A name keeps every code unit: those that are not printable ASCII are
// written as \uXXXX.

std::string EscapeName(std::u16string_view name) {
  std::string text;
  for (const char16_t unit : name) {
    if (unit >= 0x20 && unit < 0x7F && unit != u'\\') {
      text += static_cast<char>(unit);
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
      text += escape;
    }
  }
  return text;
}

std::u16string UnescapeName(std::string_view text) {
  std::u16string name;
  while (!text.empty()) {
    const std::size_t escape = text.find("\\u");
    name += ToUtf16(text.substr(0, escape));
    if (escape == std::string_view::npos) break;
    text.remove_prefix(escape);
    const auto unit = text.size() >= 6 ? ToWord("0x" + std::string(text.substr(2, 4)))
                                       : std::optional<std::uint32_t>();
    if (unit) {
      name += static_cast<char16_t>(*unit);
      text.remove_prefix(6);
    } else {
      name += u'\\';
      text.remove_prefix(1);
    }
  }
  return name;
}

std::string ToHexText(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 15];
  }
  return text;
}

std::optional<Bytes> ToBytes(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Bytes bytes;
  for (; !text.empty(); text.remove_prefix(2)) {
    const auto value = ToWord("0x" + std::string(text.substr(0, 2)));
    if (!value) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(*value));
  }
  return bytes;
}

// ------------------------------------------------------------------------------------------------
// The plain settings: numbers and switches, by name.

struct NumberSetting {
  std::string_view name;
  std::uint32_t DriverImage::*member;
};
constexpr std::array kNumbers = {
    NumberSetting{"loadedVersion", &DriverImage::loadedVersion},
    NumberSetting{"revision", &DriverImage::revision},
    NumberSetting{"lifecycleAbi", &DriverImage::lifecycleAbi},
    NumberSetting{"sharedMemoryAbi", &DriverImage::sharedMemoryAbi},
    NumberSetting{"capabilities", &DriverImage::capabilities},
    NumberSetting{"statusBytes", &DriverImage::statusBytes},
    NumberSetting{"poolCount", &DriverImage::poolCount},
    NumberSetting{"poolBytes", &DriverImage::poolBytes},
    NumberSetting{"leaseBytes", &DriverImage::leaseBytes},
    NumberSetting{"startProblem", &DriverImage::startProblem},
};

struct SwitchSetting {
  std::string_view name;
  bool DriverImage::*member;
};
constexpr std::array kSwitches = {
    SwitchSetting{"refusesUnload", &DriverImage::refusesUnload},
    SwitchSetting{"needsRestart", &DriverImage::needsRestart},
    SwitchSetting{"registersControlInterface", &DriverImage::registersControlInterface},
    SwitchSetting{"registersAudioInterface", &DriverImage::registersAudioInterface},
};

void ReadPlainSetting(DriverImage& image, std::string_view name, std::string_view value) {
  const auto word = ToWord(value);
  for (const NumberSetting& setting : kNumbers) {
    if (setting.name == name && word) image.*setting.member = *word;
  }
  for (const SwitchSetting& setting : kSwitches) {
    if (setting.name == name && (value == "yes" || value == "no")) {
      image.*setting.member = value == "yes";
    }
  }
}

// ------------------------------------------------------------------------------------------------
// The settings that may appear more than once.

void ReadPoolLine(DriverImage& image, std::string_view value) {
  if (value == "none") {
    image.pool.clear();
    return;
  }
  const auto cable = ToWord(TakeField(value));
  const auto flow = ToWord(TakeField(value));
  if (cable && flow) image.pool.push_back({*cable, *flow, UnescapeName(value)});
}

void ReadRefusal(std::map<CableFlow, std::uint32_t>& refusals, std::string_view value) {
  const auto cable = ToWord(TakeField(value));
  const auto flow = ToWord(TakeField(value));
  const auto error = ToWord(value);
  if (cable && flow && error) refusals[{*cable, *flow}] = *error;
}

void ReadCodeSetting(DriverImage& image, std::string_view name, std::string_view value) {
  const auto code = ToWord(TakeField(value));
  if (!code) return;
  if (name == "failure") {
    if (const auto error = ToWord(value)) image.failures[*code] = *error;
  } else if (name == "delay") {
    if (const auto milliseconds = ToNumber(value)) image.delays[*code] = *milliseconds;
  } else if (const auto bytes = ToBytes(value)) {
    image.replies[*code] = *bytes;
  }
}

void ReadLine(DriverImage& image, std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return;
  const std::string_view name = line.substr(0, equals);
  const std::string_view value = line.substr(equals + 1);
  if (name == "version") {
    image = SoundImage(ToUtf16(value));
  } else if (name == "pool") {
    ReadPoolLine(image, value);
  } else if (name == "failure" || name == "delay" || name == "reply") {
    ReadCodeSetting(image, name, value);
  } else if (name == "refusesToHide") {
    ReadRefusal(image.refusesToHide, value);
  } else if (name == "refusesToShow") {
    ReadRefusal(image.refusesToShow, value);
  } else if (name == "startDelay") {
    if (const auto milliseconds = ToNumber(value)) image.startDelay = *milliseconds;
  } else {
    ReadPlainSetting(image, name, value);
  }
}

std::string RefusalLines(std::string_view name,
                         const std::map<CableFlow, std::uint32_t>& refusals) {
  std::string text;
  for (const auto& [cable, error] : refusals) {
    text += std::string(name) + '=' + std::to_string(cable.first) + ',' +
            std::to_string(cable.second) + ',' + std::to_string(error) + '\n';
  }
  return text;
}

std::string PoolLines(const std::vector<PoolEntry>& pool) {
  std::string text = "pool=none\n";
  for (const PoolEntry& entry : pool) {
    text += "pool=" + std::to_string(entry.cable) + ',' + std::to_string(entry.flow) + ',' +
            EscapeName(entry.name) + '\n';
  }
  return text;
}

/// All cables, the render flow first.
std::vector<PoolEntry> SoundPool() {
  std::vector<PoolEntry> pool;
  for (std::uint32_t flow = 0; flow < 2; ++flow) {
    for (std::uint32_t cable = 0; cable < kCables; ++cable) {
      pool.push_back({cable, flow,
                      u"VORN Cable " + ToUtf16(std::to_string(cable + 1)) +
                          (flow == 0 ? u" Render" : u" Capture")});
    }
  }
  return pool;
}

}  // namespace

DriverImage SoundImage(std::u16string_view version) {
  std::array<std::uint32_t, 4> parts = {};
  std::string text = ToUtf8(version);
  std::string_view rest = text;
  for (std::uint32_t& part : parts) {
    const std::size_t dot = rest.find('.');
    part = ToWord(rest.substr(0, dot)).value_or(0);
    rest.remove_prefix(dot == std::string_view::npos ? rest.size() : dot + 1);
  }
  DriverImage image;
  image.loadedVersion = (parts[0] & 0xFF) << 16 | (parts[1] & 0xFF) << 8 | (parts[2] & 0xFF);
  image.revision = parts[3];
  static const std::vector<PoolEntry> pool = SoundPool();
  image.pool = pool;
  return image;
}

std::string VersionText(const DriverImage& image) {
  const std::uint32_t version = image.loadedVersion;
  return std::to_string(version >> 16 & 0xFF) + '.' + std::to_string(version >> 8 & 0xFF) + '.' +
         std::to_string(version & 0xFF) + '.' + std::to_string(image.revision);
}

DriverImage ParseImage(const Bytes& content) {
  DriverImage image;
  const std::string text(content.begin(), content.end());
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    ReadLine(image, line);
  }
  return image;
}

std::string ToImageText(const DriverImage& image) {
  const std::string version = VersionText(image);
  const DriverImage sound = SoundImage(ToUtf16(version));
  std::string text = "version=" + version + '\n';
  for (const NumberSetting& setting : kNumbers) {
    const std::uint32_t value = image.*setting.member;
    if (value == sound.*setting.member) continue;
    text += std::string(setting.name) + '=' +
            (setting.member == &DriverImage::loadedVersion ? ToHex(value) : std::to_string(value)) +
            '\n';
  }
  for (const SwitchSetting& setting : kSwitches) {
    const bool value = image.*setting.member;
    if (value != sound.*setting.member) {
      text += std::string(setting.name) + (value ? "=yes\n" : "=no\n");
    }
  }
  if (image.startDelay != sound.startDelay) {
    text += "startDelay=" + std::to_string(image.startDelay) + '\n';
  }
  for (const auto& [code, error] : image.failures)
    text += "failure=" + ToHex(code) + ',' + std::to_string(error) + '\n';
  for (const auto& [code, milliseconds] : image.delays)
    text += "delay=" + ToHex(code) + ',' + std::to_string(milliseconds) + '\n';
  for (const auto& [code, bytes] : image.replies)
    text += "reply=" + ToHex(code) + ',' + ToHexText(bytes) + '\n';
  text += RefusalLines("refusesToHide", image.refusesToHide);
  text += RefusalLines("refusesToShow", image.refusesToShow);
  if (image.pool != sound.pool) text += PoolLines(image.pool);
  return text;
}

}  // namespace vorn::platform::simulated

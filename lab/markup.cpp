#include "lab/markup.h"

#include <cstdint>

namespace vorn::lab {

std::string Escaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char unit : text) {
    const bool control = static_cast<std::uint8_t>(unit) < 0x20 && unit != '\n' && unit != '\t';
    if (unit == '&') {
      escaped += "&amp;";
    } else if (unit == '<') {
      escaped += "&lt;";
    } else if (unit == '>') {
      escaped += "&gt;";
    } else if (unit == '"') {
      escaped += "&quot;";
    } else if (control) {
      escaped += "\xEF\xBF\xBD";
    } else {
      escaped += unit;
    }
  }
  return escaped;
}

std::string TimeText(unsigned long long milliseconds) {
  if (milliseconds > 0 && milliseconds < 1000) return std::to_string(milliseconds) + " ms";
  const bool wholeMinutes = milliseconds >= 120'000 && milliseconds % 60'000 == 0;
  if (milliseconds < 600'000 && !wholeMinutes) {
    const unsigned long long tenths = (milliseconds + 50) / 100;
    const std::string whole = std::to_string(tenths / 10);
    return tenths % 10 == 0 ? whole + " s" : whole + "." + std::to_string(tenths % 10) + " s";
  }
  const unsigned long long minutes = (milliseconds + 30'000) / 60'000;
  if (minutes < 60) return std::to_string(minutes) + " min";
  const std::string hours = std::to_string(minutes / 60) + " h";
  return minutes % 60 == 0 ? hours : hours + " " + std::to_string(minutes % 60) + " min";
}

std::string CountText(unsigned long long count) {
  std::string text = std::to_string(count);
  for (std::size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, 1, ',');
  }
  return text;
}

}  // namespace vorn::lab

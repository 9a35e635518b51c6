#include "lab/call_trace.h"

namespace vorn::lab {

namespace {

void AppendOnOneLine(std::string& text, const std::string& value) {
  for (const char unit : value) {
    if (unit == '\n') {
      text += "\\n";
    } else if (unit == '\r') {
      text += "\\r";
    } else if (unit == '\0') {
      text += "\\0";
    } else {
      text += unit;
    }
  }
}

}  // namespace

std::string TraceText(const std::vector<platform::simulated::CallRecord>& calls) {
  std::string text;
  for (const auto& call : calls) {
    text += std::to_string(call.tick) + " " + call.name + "(";
    bool first = true;
    for (const auto& [name, value] : call.arguments) {
      if (!first) text += ", ";
      first = false;
      text += name + "=";
      AppendOnOneLine(text, value);
    }
    text += ") = ";
    AppendOnOneLine(text, call.result);
    text += ", last error " + std::to_string(call.lastError) + "\n";
  }
  return text;
}

}  // namespace vorn::lab

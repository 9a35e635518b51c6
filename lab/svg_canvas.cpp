#include "lab/svg_canvas.h"

#include "lab/markup.h"

namespace vorn::lab {

std::string SvgAttribute(const char* name, int value) {
  return std::string(" ") + name + "=\"" + std::to_string(value) + "\"";
}

void SvgCanvas::Rect(std::string_view style, int x, int y, int width, int height,
                     const std::string& title) {
  if (height <= 0) return;
  Shape("<rect class=\"" + std::string(style) + "\"" + SvgAttribute("x", x) + SvgAttribute("y", y) +
            SvgAttribute("width", width) + SvgAttribute("height", height),
        "rect", title);
}

void SvgCanvas::Path(std::string_view style, const std::string& d, const std::string& title) {
  Shape("<path class=\"" + std::string(style) + "\" d=\"" + d + "\"", "path", title);
}

void SvgCanvas::Line(std::string_view style, int x1, int y1, int x2, int y2) {
  Shape("<line class=\"" + std::string(style) + "\"" + SvgAttribute("x1", x1) +
            SvgAttribute("y1", y1) + SvgAttribute("x2", x2) + SvgAttribute("y2", y2),
        "line", {});
}

void SvgCanvas::Text(std::string_view style, int x, int y, std::string_view text) {
  markup_ += "<text class=\"" + std::string(style) + "\"" + SvgAttribute("x", x) +
             SvgAttribute("y", y) + ">" + Escaped(text) + "</text>\n";
}

void SvgCanvas::TextUpwards(std::string_view style, int x, int y, std::string_view text) {
  markup_ += "<text class=\"" + std::string(style) + "\" transform=\"translate(" +
             std::to_string(x) + "," + std::to_string(y) + ") rotate(-90)\">" + Escaped(text) +
             "</text>\n";
}

void SvgCanvas::BeginGroup(const std::string& label) {
  markup_ += R"(<g role="group" aria-label=")" + Escaped(label) + "\">\n";
}

void SvgCanvas::EndGroup() {
  markup_ += "</g>\n";
}

void SvgCanvas::Shape(const std::string& begin, const char* name, const std::string& title) {
  if (title.empty()) {
    markup_ += begin + "/>\n";
  } else {
    markup_ += begin + "><title>" + Escaped(title) + "</title></" + name + ">\n";
  }
}

}  // namespace vorn::lab

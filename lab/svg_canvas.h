#pragma once

// SvgCanvas: the shapes and texts of a picture, written down as SVG.

#include <string>
#include <string_view>

namespace vorn::lab {

/// An attribute with the space before it.
std::string SvgAttribute(const char* name, int value);

/// The markup of a picture as it grows. Lengths are pixels; a style is a class of the picture's
/// style sheet; a title is what a browser shows under the pointer.
class SvgCanvas {
 public:
  /// Draws nothing when the height is not positive.
  void Rect(std::string_view style, int x, int y, int width, int height,
            const std::string& title = {});

  /// `d` is the path in the notation of SVG.
  void Path(std::string_view style, const std::string& d, const std::string& title = {});

  void Line(std::string_view style, int x1, int y1, int x2, int y2);

  void Text(std::string_view style, int x, int y, std::string_view text);

  /// A text that reads upwards from there.
  void TextUpwards(std::string_view style, int x, int y, std::string_view text);

  /// What follows up to EndGroup belongs together under that label.
  void BeginGroup(const std::string& label);
  void EndGroup();

  const std::string& Markup() const { return markup_; }

 private:
  void Shape(const std::string& begin, const char* name, const std::string& title);

  std::string markup_;
};

}  // namespace vorn::lab

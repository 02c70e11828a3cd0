#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "appkit/rtf/RTFStyle.h"

inline namespace telvo {

class NSColor;
class NSDictionary;
class NSFont;

namespace appkit {

// Writes one styled text as an RTF document. The text must outlive it and not change meanwhile.
class RTFWriter {
 public:
  explicit RTFWriter(const NSAttributedString& text) : text_(text) {}

  // Called once; see NSRTFFromAttributedString().
  std::string document();

 private:
  void writeText();
  void writeParagraph(NSRange range);
  void writeRun(const Ref<NSDictionary>& attributes, std::u16string_view units);

  // The control words for a run, and what they are too coarse for.
  struct Words {
    std::string common;
    std::string exact;
  };
  Words wordsFor(const Ref<NSDictionary>& attributes, std::u16string_view units);
  void addFont(Words& words, const Ref<NSFont>& font, std::u16string_view units);
  void addColor(Words& words, const Ref<NSColor>& color, std::string_view word, std::u16string_view exactName);

  std::size_t fontNumber(const Ref<NSFont>& font);
  std::size_t colorNumber(const NSColor& color);

  const NSAttributedString& text_;
  std::u16string units_;
  std::string body_;
  std::string fontTable_;
  std::string colorTable_;
  std::unordered_map<std::u16string, std::size_t> fontNumbers_;    // by name in the font table
  std::unordered_map<const NSFont*, std::size_t> numbersOfFonts_;  // of those seen already
  std::unordered_map<std::uint32_t, std::size_t> colorNumbers_;    // by red, green and blue in one number
  NSInteger alignment_ = noAttribute;
};

}  // namespace appkit

}  // namespace telvo

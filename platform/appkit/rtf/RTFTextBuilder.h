#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "appkit/NSColor.h"
#include "appkit/rtf/RTFStyle.h"

inline namespace telvo {

namespace appkit {

// What the character styles of a document refer to.
struct RTFResources {
  struct Font {
    std::u16string name;
    int codePage = 0;  // 0: the document's
  };
  std::map<std::int32_t, Font> fonts;  // by number in the font table
  std::vector<Ref<NSColor>> palette;   // nil: the default colour
  std::vector<id> links;
};

// Collects the text of a document and makes the styled text of it.
class RTFTextBuilder {
 public:
  void append(std::u16string_view units, const RTFCharacterStyle& style);
  // Sets the alignment (NSTextAlignment or noAttribute) of all text since the last paragraph ended.
  void endParagraph(NSInteger alignment);
  // Turns a tab that ends the text into a line end; false when none does.
  bool replaceLastTabByLineEnd();

  // The last paragraph may be open; it has this alignment.
  Ref<NSAttributedString> styledText(const RTFResources& resources, NSInteger lastAlignment);

 private:
  struct Run {
    std::size_t location;
    RTFCharacterStyle style;
  };
  struct Paragraph {
    std::size_t end;
    NSInteger alignment;
  };

  std::u16string text_;
  std::vector<Run> runs_;
  std::vector<Paragraph> paragraphs_;
};

}  // namespace appkit

}  // namespace telvo

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "appkit/rtf/RTFCodePages.h"
#include "appkit/rtf/RTFTextBuilder.h"
#include "appkit/rtf/RTFTokenizer.h"

namespace appkit {

// Reads one RTF document. The bytes must outlive it.
class RTFReader {
 public:
  explicit RTFReader(std::string_view bytes);

  // Called once; see NSAttributedStringFromRTF().
  Ref<NSAttributedString> read();

 private:
  // What the text of a group is for.
  enum class Destination : std::uint8_t {
    Text,
    Skipped,
    FontTable,
    ColorTable,
    Instruction,
    Alternatives,
    ExactValues
  };

  // What a group inherits from the one around it.
  struct State {
    RTFCharacterStyle character;
    NSInteger alignment = noAttribute;
    std::int32_t fallbackLength = 1;  // of \u
    std::int32_t fieldLink = -1;
    Destination destination = Destination::Text;
    bool hidden = false;
    bool deleted = false;
  };

  struct Handler;
  static const std::unordered_map<std::string_view, Handler>& handlers();

  bool readHeader();
  void process(const RTFToken& token);
  bool isFallback(const RTFToken& token) const;
  void beginGroup();
  void endGroup();
  void text(std::string_view bytes);
  void symbol(char character);
  void word(const RTFToken& token);

  void beginDestination(Destination destination);
  void finishFont();
  void finishColor();
  void finishInstruction();
  void finishExactValues();
  void applyExactValue(std::u16string_view name, std::u16string_view value);

  // One for each handler that takes more than a table entry.
  void fontNumber(const RTFToken& token);
  void fontCharset(const RTFToken& token);
  void colorComponent(double RTFReader::*component, const RTFToken& token);
  void unicode(const RTFToken& token);
  void shift(const RTFToken& token, NSInteger direction);
  void plain();
  void endOfParagraph();
  void endOfTableRow();

  std::int32_t paletteIndex(const RTFToken& token) const;
  void flush();
  void append(std::u16string_view units);
  void append(char16_t unit) { append(std::u16string_view(&unit, 1)); }
  State& state() { return states_.back(); }
  bool isLeftOut() { return state().hidden || state().deleted; }

  RTFTokenizer tokenizer_;
  RTFDecoder decoder_;
  RTFResources resources_;
  RTFTextBuilder builder_;
  std::vector<State> states_;
  NSInteger lastAlignment_ = noAttribute;
  bool failed_ = false;

  std::string bytes_;                // of text, still to be decoded
  std::int64_t fallbackToSkip_ = 0;  // characters that stand for the last \u in readers that do not know it
  bool starred_ = false;             // the group's destination may be ignored
  int codePage_ = 0;                 // the document's
  std::int32_t defaultFont_ = -1;

  std::int32_t fontNumber_ = -1;  // of the font table's entry being read
  RTFResources::Font font_;
  std::size_t colorTable_ = 0;  // where it begins in the palette
  std::size_t colorCount_ = 0;
  bool hasColor_ = false;
  double red_ = 0;
  double green_ = 0;
  double blue_ = 0;
  std::u16string instruction_;
  std::u16string exactValues_;
};

}  // namespace appkit

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "appkit/rtf/RTFCodePages.h"
#include "appkit/rtf/RTFGroupState.h"
#include "appkit/rtf/RTFScript.h"
#include "appkit/rtf/RTFTextBuilder.h"
#include "appkit/rtf/RTFTokenizer.h"

inline namespace telvo {

namespace appkit {

// Reads one RTF document. The bytes must outlive it.
class RTFReader {
 public:
  explicit RTFReader(std::string_view bytes);

  // Called once; see NSAttributedStringFromRTF().
  Ref<NSAttributedString> read();

 private:
  using State = RTFGroupState;
  using Destination = RTFDestination;

  // What a control word does, in the destinations whose bits are set.
  struct Word {
    std::string_view name;
    unsigned destinations = 0;
    bool isDestination = false;  // so that an asterisk before it does not make it one to be ignored
    void (RTFReader::*run)(const RTFToken& token, NSInteger argument) = nullptr;
    NSInteger argument = 0;  // what tells apart the words that share a function
  };
  struct Words;
  static const Word* wordNamed(std::string_view name);

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

  // One or several control words each. The argument is what stands in the table for the word.
  void openDestination(const RTFToken& token, NSInteger destination);
  void character(const RTFToken& token, NSInteger unit);
  void unicode(const RTFToken& token, NSInteger);
  void unicodeFallback(const RTFToken& token, NSInteger);
  void codePage(const RTFToken& token, NSInteger page);
  void ansiCodePage(const RTFToken& token, NSInteger);
  void defaultFont(const RTFToken& token, NSInteger);
  void tableFontCharset(const RTFToken& token, NSInteger);
  void tableFontCodePage(const RTFToken& token, NSInteger);
  void red(const RTFToken& token, NSInteger);
  void green(const RTFToken& token, NSInteger);
  void blue(const RTFToken& token, NSInteger);
  void runKind(const RTFToken& token, NSInteger kind);
  void font(const RTFToken& token, NSInteger);
  void size(const RTFToken& token, NSInteger);
  void sizeInThousandths(const RTFToken& token, NSInteger);
  void bold(const RTFToken& token, NSInteger);
  void italic(const RTFToken& token, NSInteger);
  void associatedFont(const RTFToken& token, NSInteger);
  void associatedSize(const RTFToken& token, NSInteger);
  void associatedBold(const RTFToken& token, NSInteger);
  void associatedItalic(const RTFToken& token, NSInteger);
  void hidden(const RTFToken& token, NSInteger);
  void deleted(const RTFToken& token, NSInteger);
  void color(const RTFToken& token, NSInteger);
  void background(const RTFToken& token, NSInteger);
  void underline(const RTFToken& token, NSInteger style);
  void strikethrough(const RTFToken& token, NSInteger style);
  void superscript(const RTFToken& token, NSInteger direction);
  void shift(const RTFToken& token, NSInteger direction);
  void plain(const RTFToken& token, NSInteger);
  void alignment(const RTFToken& token, NSInteger alignment);
  void endOfParagraph(const RTFToken& token, NSInteger);
  void endOfTableRow(const RTFToken& token, NSInteger);
  void field(const RTFToken& token, NSInteger);
  void fieldResult(const RTFToken& token, NSInteger);

  double colorComponent(const RTFToken& token);
  RTFScriptStyle* associatedStyle();
  RTFScriptStyle* styleOfRunKind();
  RTFCharacterStyle styleFor(RTFScript script) const;
  void setSizeForAllScripts(double points);
  void appendText(std::u16string_view units);
  std::int32_t fontOfBytes() const;
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

  std::optional<RTFScript> script_;  // of the text before in the same group and paragraph
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

}  // namespace telvo

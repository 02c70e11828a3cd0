#pragma once

#include <cstdint>
#include <optional>

#include "appkit/rtf/RTFStyle.h"

inline namespace telvo {

// What a group of an RTF document inherits from the one around it.
namespace appkit {

// What the text of a group is for.
enum class RTFDestination : std::uint8_t {
  Text,
  Skipped,
  FontTable,
  ColorTable,
  Instruction,
  Alternatives,
  ExactValues
};

// The text that the following words are about: \ltrch, \rtlch, \loch, \hich, \dbch.
enum class RTFRunKind : std::uint8_t { Unsaid, LeftToRight, RightToLeft, LowANSI, HighANSI, DoubleByte };

// The font of one kind of script, as far as it differs from that of all others.
struct RTFScriptStyle {
  bool isGiven = false;
  std::int32_t font = -1;
  double size = 0;
  std::optional<bool> bold;
  std::optional<bool> italic;
};

struct RTFGroupState {
  RTFCharacterStyle character;
  RTFScriptStyle eastAsian;
  RTFScriptStyle complex;
  NSInteger alignment = noAttribute;
  std::int32_t fallbackLength = 1;  // of \u
  std::int32_t fieldLink = -1;
  RTFRunKind runKind = RTFRunKind::Unsaid;
  RTFDestination destination = RTFDestination::Text;
  bool hidden = false;
  bool deleted = false;
};

}  // namespace appkit

}  // namespace telvo

#pragma once

#include <functional>
#include <vector>

#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSString;

enum NSAttributedStringEnumerationOptions : NSUInteger {
  NSAttributedStringEnumerationReverse = 1U << 1U,
  // Ranges may then be shorter than they could be, which is faster.
  NSAttributedStringEnumerationLongestEffectiveRangeNotRequired = 1U << 20U,
};

// Text whose characters carry attributes: values by name, each for a run of UTF-16 units. What the names of styled text
// mean is told by appkit/NSAttributedString+AppKit.h. Immutable and safe on any thread that may use its attribute
// values. Indexes and ranges out of bounds raise NSRangeException; nil texts and attributes count as empty ones.
class NSAttributedString : public NSObject {
  NS_OBJECT(NSAttributedString, NSObject)

 public:
  explicit NSAttributedString(const Ref<NSString>& string = nil, const Ref<NSDictionary>& attributes = nil);
  explicit NSAttributedString(const Ref<NSAttributedString>& other);
  ~NSAttributedString() override;

  NSUInteger length() const;
  virtual Ref<NSString> string() const;  // a mutable one's text as it is now

  // The attributes of one character, never nil. The range, when asked for, is a run around the index in which they all
  // stay the same; "longest" ranges are as long as they can be within the limit.
  Ref<NSDictionary> attributesAtIndex_effectiveRange(NSUInteger index, NSRange* range = nullptr) const;
  Ref<NSDictionary> attributesAtIndex_longestEffectiveRange_inRange(NSUInteger index, NSRange* range,
                                                                    NSRange limit) const;
  // One attribute of one character; nil when it has none of that name, and the range is then the run without it.
  id attribute_atIndex_effectiveRange(const Ref<NSString>& name, NSUInteger index, NSRange* range = nullptr) const;
  id attribute_atIndex_longestEffectiveRange_inRange(const Ref<NSString>& name, NSUInteger index, NSRange* range,
                                                     NSRange limit) const;

  // Calls the block once per run in the range, runs without the attribute included (the value is then nil). The block
  // may change the attributes of the run it was given, and ends the enumeration by setting *stop.
  using AttributeBlock = std::function<void(const id& value, NSRange range, bool* stop)>;
  void enumerateAttribute_inRange_options_usingBlock(const Ref<NSString>& name, NSRange range, NSUInteger options,
                                                     const AttributeBlock& block) const;
  using AttributesBlock = std::function<void(const Ref<NSDictionary>& attributes, NSRange range, bool* stop)>;
  void enumerateAttributesInRange_options_usingBlock(NSRange range, NSUInteger options,
                                                     const AttributesBlock& block) const;

  Ref<NSAttributedString> attributedSubstringFromRange(NSRange range) const;
  bool isEqualToAttributedString(const Ref<NSAttributedString>& other) const;

  // The text of each run followed by its attributes in braces.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }

 protected:
  struct Run {
    NSUInteger location;  // reaches to the next run's, or to the end of the text
    Ref<NSDictionary> attributes;
  };

  std::size_t runIndexAt(NSUInteger index) const;
  NSRange rangeOfRun(std::size_t run) const;
  void checkIndex(NSUInteger index) const;
  void checkRange(NSRange range) const;

  Ref<NSString> string_;
  std::vector<Run> runs_;  // by location, the first at 0; empty when the text is

 private:
  friend class NSMutableAttributedString;  // reads the runs of the texts that it takes in
  // Extends over the neighbouring runs within the limit that are the same.
  using SameRun = std::function<bool(const Run& run)>;
  NSRange rangeAround(std::size_t run, NSRange limit, const SameRun& same) const;
  // Looks at the run around the index within the limit, answers its range and may set *stop.
  using Visit = std::function<NSRange(NSUInteger index, NSRange limit, bool* stop)>;
  void visitRuns(NSRange range, NSUInteger options, const Visit& visit) const;
};

// Styled text that can be changed in place. One thread at a time.
class NSMutableAttributedString : public NSAttributedString {
  NS_OBJECT(NSMutableAttributedString, NSAttributedString)

 public:
  explicit NSMutableAttributedString(const Ref<NSString>& string = nil, const Ref<NSDictionary>& attributes = nil);
  explicit NSMutableAttributedString(const Ref<NSAttributedString>& other);

  Ref<NSString> string() const override;

  // The new text takes over the attributes of the first character that it replaces; text that replaces none, those of
  // the character before it, or at the very beginning those of the character behind it.
  void replaceCharactersInRange_withString(NSRange range, const Ref<NSString>& string);
  void deleteCharactersInRange(NSRange range);

  void setAttributes_range(const Ref<NSDictionary>& attributes, NSRange range);
  void addAttribute_value_range(const Ref<NSString>& name, const id& value, NSRange range);
  void addAttributes_range(const Ref<NSDictionary>& attributes, NSRange range);
  void removeAttribute_range(const Ref<NSString>& name, NSRange range);

  // Text that is inserted keeps its own attributes and takes over none.
  void appendAttributedString(const Ref<NSAttributedString>& other);
  void insertAttributedString_atIndex(const Ref<NSAttributedString>& other, NSUInteger index);
  void replaceCharactersInRange_withAttributedString(NSRange range, const Ref<NSAttributedString>& other);
  void setAttributedString(const Ref<NSAttributedString>& other);

  // Between the two, neighbouring runs that have become equal are not joined, which makes a series of changes fast; the
  // outermost endEditing() joins them. Nests.
  void beginEditing();
  void endEditing();

  id copy() const override;

 private:
  using Change = std::function<Ref<NSDictionary>(const Ref<NSDictionary>& attributes)>;

  std::size_t splitAt(NSUInteger location);
  void changeAttributes(NSRange range, const Change& change);
  void replace(NSRange range, const Ref<NSString>& string, std::vector<Run> runs);
  void joinRuns(std::size_t first, std::size_t last);

  NSUInteger editing_ = 0;
};

TELVO_NAMESPACE_END
